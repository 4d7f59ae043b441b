#include "cues/CueSheetText.h"

#include "timecode/TCFormatter.h"

namespace sheettext {

namespace {

constexpr int kFieldCount = 5;
const QString kNoTime = QStringLiteral("---");

// A time field as the writer puts it: the display form of itself.
bool isShownTime(const QString& field) {
    return field == kNoTime || TCFormatter::stringForObjectValue(field) == field;
}

QString storedTime(const QString& field) {
    return field == kNoTime ? QString() : field;
}

} // namespace

bool isLineBreak(QChar c) {
    const char16_t u = c.unicode();
    return u == u'\n' || u == u'\r' || u == 0x0b || u == 0x0c || u == 0x85 || u == 0x2028 ||
           u == 0x2029;
}

QStringList splitLines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isLineBreak(text[i])) {
            lines.append(text.mid(start, i - start));
            start = i + 1;
        }
    }
    lines.append(text.mid(start));
    return lines;
}

QString cleanCell(const QString& text) {
    QString clean = text;
    for (QChar& c : clean) {
        if (c == u'\t' || isLineBreak(c))
            c = u' ';
    }
    return clean;
}

QString oneLine(const QString& text) {
    QString line = text;
    for (QChar& c : line) {
        if (isLineBreak(c))
            c = u' ';
    }
    return line;
}

bool isHeaderLine(const QString& line) {
    if (!line.startsWith(u';'))
        return false;
    const QString trimmed = line.trimmed();
    const qsizetype tab = trimmed.indexOf(u'\t');
    if (tab < 0)
        return false;
    const QStringView key = QStringView(trimmed).left(tab);
    for (const char* known : kHeaderKeys) {
        if (key == QLatin1String(known))
            return true;
    }
    return false;
}

std::optional<CueItem> rowFromLine(const QString& line) {
    const QStringList fields = line.split(u'\t');
    if (fields.size() != kFieldCount || !isShownTime(fields[1]) || !isShownTime(fields[2]))
        return std::nullopt;
    return CueItem{fields[0], storedTime(fields[1]), storedTime(fields[2]), fields[3], fields[4]};
}

QString lineForRow(const CueItem& item) {
    QString id = cleanCell(item.cueId);
    while (id.endsWith(u' '))
        id.chop(1);
    QString line;
    line.reserve(id.size() + item.cueText.size() + item.cueNotes.size() + 28);
    line += id;
    line += u'\t';
    line += item.getCueIn();
    line += u'\t';
    line += item.getCueOut();
    line += u'\t';
    line += cleanCell(item.cueText);
    line += u'\t';
    line += cleanCell(item.cueNotes);
    return line;
}

} // namespace sheettext
