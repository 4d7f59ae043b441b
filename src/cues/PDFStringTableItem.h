#pragma once

#include <QString>

// One piece of text drawn on a PDF page, where it was drawn (page space,
// origin at the bottom left), in drawing order. The PDF text scanner fills a
// list of these; the cue sheet layouts are recognised from them.
struct PDFStringTableItem {
    double x = 0.0;
    double y = 0.0;
    QString text;

    friend bool operator==(const PDFStringTableItem&, const PDFStringTableItem&) = default;
};
