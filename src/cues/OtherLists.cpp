#include "cues/OtherLists.h"

#include "cues/CueSheetText.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace {

QString withoutMarkup(const QString& line) {
    static const QRegularExpression tags(QStringLiteral("<[^<>]*>|\\{\\\\[^{}]*\\}"));
    QString clean = line;
    clean.remove(tags);
    return clean.trimmed();
}

bool allDigits(const QString& text) {
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

bool isMarkerHeading(const QString& line) {
    QString letters = line;
    letters.remove(u' ');
    letters.remove(u'\t');
    return letters == QLatin1String("MARKERSLISTING");
}

} // namespace

namespace otherlists {

bool isSubRip(const QString& path) {
    return QFileInfo(path).suffix().compare(QLatin1String("srt"), Qt::CaseInsensitive) == 0;
}

listtime::ListRows readSubRip(const QString& text, int tctype) {
    listtime::ListRows read;
    const QStringList lines = text.split(QRegularExpression(QStringLiteral("\r\n|\r|\n")));
    int number = 0;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        const qsizetype arrow = line.indexOf(QLatin1String("-->"));
        if (arrow < 0)
            continue;
        ++number;
        const QString previous = i > 0 ? lines[i - 1].trimmed() : QString();
        QStringList words;
        for (++i; i < lines.size() && !lines[i].trimmed().isEmpty(); ++i)
            words << withoutMarkup(lines[i]);
        words.removeAll(QString());
        const std::optional<QString> in = listtime::read(line.left(arrow), tctype);
        if (!in) {
            ++read.skipped;
            continue;
        }
        CueItem item = CueItem::blank();
        item.cueId = allDigits(previous) ? previous : QString::number(number);
        item.cueIn = *in;
        const QString outField = line.mid(arrow + 3).trimmed().section(u' ', 0, 0);
        if (const std::optional<QString> out = listtime::read(outField, tctype))
            item.cueOut = *out;
        else if (!outField.isEmpty())
            ++read.outsDropped;
        item.cueText = sheettext::cleanCell(words.join(u' '));
        read.rows.append(item);
    }
    return read;
}

bool hasMarkerList(const QString& text) {
    const QStringList lines = sheettext::splitLines(text);
    return std::any_of(lines.begin(), lines.end(), isMarkerHeading);
}

listtime::ListRows readMarkerList(const QString& text, int tctype) {
    listtime::ListRows read;
    const QStringList lines = text.split(QRegularExpression(QStringLiteral("\r\n|\r|\n")));
    qsizetype i = 0;
    while (i < lines.size() && !isMarkerHeading(lines[i]))
        ++i;
    for (++i; i < lines.size() && lines[i].trimmed().isEmpty(); ++i) {
    }
    if (i >= lines.size())
        return read;
    QStringList header = lines[i].split(u'\t');
    for (QString& name : header)
        name = name.trimmed().toUpper();
    const qsizetype number = header.indexOf(QLatin1String("#"));
    const qsizetype location = header.indexOf(QLatin1String("LOCATION"));
    const qsizetype name = header.indexOf(QLatin1String("NAME"));
    const qsizetype comments = header.indexOf(QLatin1String("COMMENTS"));
    if (location < 0)
        return read;
    for (++i; i < lines.size() && !lines[i].trimmed().isEmpty(); ++i) {
        const QStringList fields = lines[i].split(u'\t');
        auto field = [&](qsizetype column) {
            return column >= 0 ? fields.value(column).trimmed() : QString();
        };
        const std::optional<QString> in = listtime::read(field(location), tctype);
        if (!in) {
            ++read.skipped;
            continue;
        }
        CueItem item = CueItem::blank();
        item.cueId = field(number);
        item.cueIn = *in;
        item.cueText = field(name);
        item.cueNotes = field(comments);
        read.rows.append(item);
    }
    return read;
}

} // namespace otherlists
