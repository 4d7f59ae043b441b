// The generic PDF layout: the drawn strings as lines of a page, and the cues
// in those lines.
#include "cues/CueListImporter.h"
#include "cues/PdfCueReader.h"

#include "base/PosixRegex.h"
#include "timecode/TcCalculator.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <vector>

namespace {

constexpr qsizetype kTcLength = 11;
// Without a font size the strings count as drawn at this size.
constexpr double kDefaultSize = 12;
// A continuation line lies at most this many font sizes below the line above.
constexpr double kMaxLineGap = 2.0;

double sizeOf(double size) {
    return size > 0 ? size : kDefaultSize;
}

// How far apart two baselines may be and still be one line: cells of a row
// that are set a little higher or lower (another font size, centred).
double baselineTolerance(double size) {
    return std::max(2.0, 0.3 * sizeOf(size));
}

// The character at which the first timecode of the text starts; -1 when none.
qsizetype timecodeAt(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    int start = 0;
    if (!TcCalculator::timecodePattern(true).search(utf8, 0, &start, nullptr))
        return -1;
    return QString::fromUtf8(utf8.left(start)).size();
}

// Blanks, tabs, line breaks and dashes at both ends go, as the row importer
// trims a line's text.
QString trimmedCell(const QString& text) {
    auto trim = [](QChar c) { return c == u'-' || c.isSpace(); };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && trim(text[begin]))
        ++begin;
    while (end > begin && trim(text[end - 1]))
        --end;
    return text.mid(begin, end - begin);
}

struct Line {
    int page = 0;
    double y = 0;
    double size = 0;
    std::vector<PDFStringTableItem> items; // left to right
};

// Strings drawn one after another without a new position (a font change
// within a run of text) start at the same place: they are one string.
QList<PDFStringTableItem> runsOf(const QList<PDFStringTableItem>& items) {
    QList<PDFStringTableItem> runs;
    for (const PDFStringTableItem& item : items) {
        if (!runs.isEmpty() && runs.last().page == item.page && runs.last().x == item.x &&
            runs.last().y == item.y)
            runs.last().text += item.text;
        else
            runs.append(item);
    }
    return runs;
}

// The strings grouped by baseline, top to bottom and page after page.
std::vector<Line> linesOf(const QList<PDFStringTableItem>& drawn) {
    const QList<PDFStringTableItem> items = runsOf(drawn);
    std::vector<int> order(size_t(items.size()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&items](int a, int b) {
        const PDFStringTableItem& p = items[a];
        const PDFStringTableItem& q = items[b];
        return p.page != q.page ? p.page < q.page : p.y > q.y;
    });
    std::vector<Line> lines;
    for (int index : order) {
        const PDFStringTableItem& item = items[index];
        if (lines.empty() || lines.back().page != item.page ||
            double(lines.back().y - item.y) > baselineTolerance(lines.back().size))
            lines.push_back({item.page, double(item.y), item.size, {}});
        lines.back().items.push_back(item);
    }
    for (Line& line : lines) {
        std::stable_sort(line.items.begin(), line.items.end(),
                         [](const auto& a, const auto& b) { return a.x < b.x; });
    }
    return lines;
}

// A cue read from a line, and where its columns start for the lines that
// continue it.
struct OpenCue {
    CueItem row;
    std::int64_t inX = 0;
    std::optional<std::int64_t> notesX; // none: everything continues the text
    const Line* last = nullptr;         // the line the next continuation must be right below
};

QString joined(const std::vector<PDFStringTableItem>& items, size_t from, size_t to) {
    QStringList cells;
    for (size_t i = from; i < to && i < items.size(); ++i) {
        const QString cell = trimmedCell(items[i].text);
        if (!cell.isEmpty())
            cells << cell;
    }
    return cells.join(u' ');
}

// A table row: the cells left of the in time are the identifier, a cell
// holding only a timecode right after it the out time, the next cell the
// text and the cells after that the notes.
OpenCue tableRow(const Line& line, size_t in, qsizetype inAt, const QString& out) {
    const auto& items = line.items;
    OpenCue cue;
    cue.row = CueItem::blank();
    cue.inX = items[in].x;
    QStringList id = {joined(items, 0, in), trimmedCell(items[in].text.left(inAt))};
    id.removeAll(QString());
    cue.row.cueId = id.join(u' ');
    cue.row.cueIn = items[in].text.mid(inAt, kTcLength);
    cue.row.cueOut = out;
    size_t next = in + 1;
    if (out.isEmpty() && next < items.size()) {
        const QString cell = trimmedCell(items[next].text);
        if (cell.size() == kTcLength && timecodeAt(cell) == 0) {
            cue.row.cueOut = cell;
            ++next;
        }
    }
    cue.row.cueText = joined(items, next, next + 1);
    cue.row.cueNotes = joined(items, next + 1, items.size());
    if (next + 1 < items.size())
        cue.notesX = items[next + 1].x;
    return cue;
}

// The cue a line holds, if any.
std::optional<OpenCue> cueOf(const Line& line) {
    const auto& items = line.items;
    size_t in = 0;
    qsizetype inAt = -1;
    for (; in < items.size() && inAt < 0; ++in)
        inAt = timecodeAt(items[in].text);
    if (inAt < 0)
        return std::nullopt;
    --in;
    // An out time may follow in the same string.
    QString rest = trimmedCell(items[in].text.mid(inAt + kTcLength));
    QString out;
    if (timecodeAt(rest) == 0) {
        out = rest.left(kTcLength);
        rest = trimmedCell(rest.mid(kTcLength));
    }
    if (items.size() > 1 && rest.isEmpty())
        return tableRow(line, in, inAt, out);
    // A line drawn as one string, or whose timecode string goes on with its
    // text: the strings make one text line, a piece of the text run joined
    // as it is, a string standing apart (a cell after the text) after a tab,
    // which starts the notes.
    QString text;
    for (const PDFStringTableItem& item : items) {
        const bool apart = !text.isEmpty() && !item.text.isEmpty() && !text.back().isSpace() &&
                           !item.text.front().isSpace();
        text += (apart ? QStringLiteral("\t") : QString()) + item.text;
    }
    std::optional<CueItem> row = CueListImporter::cueItemFromLine(text);
    if (!row)
        return std::nullopt;
    OpenCue cue;
    cue.row = *row;
    cue.inX = items[in].x;
    return cue;
}

bool continues(const OpenCue& cue, const Line& line) {
    const Line& above = *cue.last;
    if (line.page != above.page)
        return false;
    const double size = sizeOf(std::max(line.size, above.size));
    return above.y - line.y <= kMaxLineGap * size &&
           double(line.items.front().x) > double(cue.inX) + baselineTolerance(size);
}

void appendTo(QString& field, const QString& more) {
    if (more.isEmpty())
        return;
    field += (field.isEmpty() ? QString() : QStringLiteral(" ")) + more;
}

void continueWith(OpenCue& cue, const Line& line) {
    const double tolerance = baselineTolerance(line.size);
    for (const PDFStringTableItem& item : line.items) {
        const bool notes = cue.notesX && double(item.x) >= double(*cue.notesX) - tolerance;
        appendTo(notes ? cue.row.cueNotes : cue.row.cueText, trimmedCell(item.text));
    }
    cue.last = &line;
}

} // namespace

void PdfCueReader::pdfTextToCueTable(const QList<PDFStringTableItem>& items,
                                     CueListImporter& importer) {
    const std::vector<Line> lines = linesOf(items);
    OpenCue open;
    bool isOpen = false;
    auto finish = [&] {
        if (isOpen)
            importer.addRow(open.row);
        isOpen = false;
    };
    for (const Line& line : lines) {
        if (std::optional<OpenCue> cue = cueOf(line)) {
            finish();
            open = std::move(*cue);
            open.last = &line;
            isOpen = true;
        } else if (isOpen && continues(open, line)) {
            continueWith(open, line);
        } else {
            finish(); // what comes after a skipped line is not right below the cue
        }
    }
    finish();
}
