#pragma once

#include <QString>
#include <cstdint>

// One string drawn on a PDF page, with the text position in force when it was
// drawn (the translation of the last text matrix; -1 when none was set yet),
// in drawing order. The PDF text scanner fills a list of these; the cue sheet
// layouts are recognised from them.
struct PDFStringTableItem {
    std::int64_t x = 0;
    std::int64_t y = 0;
    QString text;

    friend bool operator==(const PDFStringTableItem&, const PDFStringTableItem&) = default;
};
