#include "cues/CueSheetPrinter.h"

#include "base/OutputFile.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QLocale>
#include <QObject>
#include <QPageLayout>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>
#include <algorithm>
#include <vector>

namespace {

constexpr int kColumns = 5;
// Shares of the page's width: identifier, in, out, text, notes.
constexpr double kShares[kColumns] = {0.12, 0.14, 0.14, 0.38, 0.22};
constexpr double kBodyPoints = 9.5;
constexpr double kTitlePoints = 13;

QString timeCell(const QString& stored) {
    const QString shown = TCFormatter::stringForObjectValue(stored);
    return shown == QLatin1String("---") ? QString() : shown;
}

QStringList cellsOf(const CueItem& item) {
    QString id = item.cueId;
    while (!id.isEmpty() && id.back().isSpace())
        id.chop(1);
    return {id.simplified(), timeCell(item.cueIn), timeCell(item.cueOut), item.cueText.simplified(),
            item.cueNotes.simplified()};
}

// Words of a cell in lines that fit the width (a word wider than the width
// is cut where it must be).
QStringList wrapped(const QString& text, const QFontMetricsF& metrics, double width) {
    QStringList lines;
    QString line;
    for (QString word : text.split(u' ', Qt::SkipEmptyParts)) {
        const QString joined = line.isEmpty() ? word : line + u' ' + word;
        if (metrics.horizontalAdvance(joined) <= width) {
            line = joined;
            continue;
        }
        if (!line.isEmpty())
            lines << line;
        while (metrics.horizontalAdvance(word) > width && word.size() > 1) {
            qsizetype fit = word.size() - 1;
            while (fit > 1 && metrics.horizontalAdvance(word.left(fit)) > width)
                --fit;
            lines << word.left(fit);
            word = word.mid(fit);
        }
        line = word;
    }
    if (!line.isEmpty())
        lines << line;
    return lines;
}

struct Layout {
    QRectF page;
    double x[kColumns + 1] = {};
    double lineHeight = 0;
    double bodyTop = 0;
    QFont body;
    QFont bold;
    QFont title;
};

struct PrintedRow {
    std::vector<QStringList> cells;
    int lines = 1;
};

void drawHead(QPainter& p, const Layout& l, const QString& title, int page, int pages) {
    p.setFont(l.title);
    const QFontMetricsF titleMetrics(l.title, p.device());
    p.drawText(QPointF(l.page.left(), l.page.top() + titleMetrics.ascent()), title);
    p.setFont(l.body);
    const QString number = QObject::tr("Page %1 of %2").arg(page).arg(pages);
    const QFontMetricsF metrics(l.body, p.device());
    p.drawText(QPointF(l.page.right() - metrics.horizontalAdvance(number),
                       l.page.top() + titleMetrics.ascent()),
               number);
    p.setFont(l.bold);
    const QStringList heads = {QObject::tr("Cue"), QObject::tr("In"), QObject::tr("Out"),
                               QObject::tr("Text"), QObject::tr("Notes")};
    const double y = l.bodyTop - l.lineHeight * 0.6;
    for (int c = 0; c < kColumns; ++c)
        p.drawText(QPointF(l.x[c], y), heads[c]);
    p.drawLine(QPointF(l.page.left(), y + l.lineHeight * 0.3),
               QPointF(l.page.right(), y + l.lineHeight * 0.3));
}

Layout layoutFor(QPagedPaintDevice& device) {
    Layout l;
    const double dpi = device.logicalDpiY();
    const QMarginsF margins(36, 36, 36, 36); // points
    const double scale = dpi / 72.0;
    l.page = QRectF(margins.left() * scale, margins.top() * scale,
                    device.width() - (margins.left() + margins.right()) * scale,
                    device.height() - (margins.top() + margins.bottom()) * scale);
    l.body = QFont(QStringLiteral("DejaVu Sans"));
    l.body.setPointSizeF(kBodyPoints);
    l.bold = l.body;
    l.bold.setBold(true);
    l.title = l.bold;
    l.title.setPointSizeF(kTitlePoints);
    const QFontMetricsF metrics(l.body, &device);
    l.lineHeight = metrics.lineSpacing() * 1.15;
    l.x[0] = l.page.left();
    for (int c = 0; c < kColumns; ++c)
        l.x[c + 1] = l.x[c] + kShares[c] * l.page.width();
    l.bodyTop =
        l.page.top() + QFontMetricsF(l.title, &device).lineSpacing() * 1.4 + l.lineHeight * 1.6;
    return l;
}

// Rows split into pages: the index of each page's first row.
std::vector<int> paginate(const std::vector<PrintedRow>& rows, const Layout& l) {
    std::vector<int> starts = {0};
    double y = l.bodyTop;
    for (int r = 0; r < int(rows.size()); ++r) {
        const double height = rows[size_t(r)].lines * l.lineHeight + l.lineHeight * 0.35;
        if (y + height > l.page.bottom() && r > starts.back()) {
            starts.push_back(r);
            y = l.bodyTop;
        }
        y += height;
    }
    return starts;
}

} // namespace

namespace cueprint {

Paper paperForLocale() {
    const QLocale::Territory t = QLocale().territory();
    return t == QLocale::UnitedStates || t == QLocale::Canada ? Paper::Letter : Paper::A4;
}

int paint(QPagedPaintDevice& device, const QString& title, const QList<CueItem>& rows) {
    QPainter p(&device);
    const Layout l = layoutFor(device);
    const QFontMetricsF metrics(l.body, &device);
    std::vector<PrintedRow> printed;
    printed.reserve(size_t(rows.size()));
    for (const CueItem& item : rows) {
        PrintedRow row;
        const QStringList cells = cellsOf(item);
        for (int c = 0; c < kColumns; ++c) {
            row.cells.push_back(
                wrapped(cells[c], metrics, l.x[c + 1] - l.x[c] - l.lineHeight * 0.4));
            row.lines = std::max(row.lines, int(row.cells.back().size()));
        }
        printed.push_back(std::move(row));
    }
    const std::vector<int> starts = paginate(printed, l);
    const int pages = int(starts.size());
    for (int page = 0; page < pages; ++page) {
        if (page > 0)
            device.newPage();
        drawHead(p, l, title, page + 1, pages);
        p.setFont(l.body);
        double y = l.bodyTop + metrics.ascent();
        const int end = page + 1 < pages ? starts[size_t(page) + 1] : int(printed.size());
        for (int r = starts[size_t(page)]; r < end; ++r) {
            const PrintedRow& row = printed[size_t(r)];
            for (int c = 0; c < kColumns; ++c) {
                for (int i = 0; i < row.cells[size_t(c)].size(); ++i)
                    p.drawText(QPointF(l.x[c], y + i * l.lineHeight), row.cells[size_t(c)][i]);
            }
            y += row.lines * l.lineHeight + l.lineHeight * 0.35;
        }
    }
    return pages;
}

bool writePdf(const QString& path, const QString& title, const QList<CueItem>& rows, Paper paper,
              QString* error, int* pages) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    int count = 0;
    {
        QPdfWriter writer(&buffer);
        writer.setTitle(title);
        writer.setCreator(QStringLiteral("qz62"));
        writer.setResolution(300);
        writer.setPageSize(QPageSize(paper == Paper::Letter ? QPageSize::Letter : QPageSize::A4));
        writer.setPageMargins(QMarginsF(0, 0, 0, 0));
        count = paint(writer, title, rows);
    }
    if (pages)
        *pages = count;
    return OutputFile::write(path, buffer.data(), error);
}

} // namespace cueprint
