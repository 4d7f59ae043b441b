#pragma once

#include <QString>
#include <cstdint>

// One string drawn on a PDF page: where it starts on its page (points from
// the bottom left, whole numbers) and the size it is drawn at, in drawing
// order, pages one after another. The PDF text scanner fills a list of these;
// the cue sheet layouts are recognised from them.
struct PDFStringTableItem {
    std::int64_t x = 0;
    std::int64_t y = 0;
    QString text;
    int page = 1;
    double size = 0; // the font's size on the page; 0 when no font was set

    friend bool operator==(const PDFStringTableItem&, const PDFStringTableItem&) = default;
};
