#include "cues/CueListTools.h"

#include "cues/CueSheetText.h"
#include "cues/ListTimes.h"
#include "timecode/TcCalculator.h"

#include <QRegularExpression>

namespace {

QList<int> rowsToChange(const QList<CueItem>& rows, const QList<int>& which) {
    if (!which.isEmpty())
        return which;
    QList<int> all;
    for (int r = 0; r < rows.size(); ++r)
        all << r;
    return all;
}

} // namespace

namespace cuelisttools {

std::optional<int> parseOffset(const QString& text, int tctype) {
    QString rest = text.trimmed();
    int sign = 1;
    if (rest.startsWith(u'-') || rest.startsWith(u'+')) {
        sign = rest.startsWith(u'-') ? -1 : 1;
        rest = rest.mid(1).trimmed();
    }
    const std::optional<QString> time = listtime::read(rest, tctype);
    if (!time)
        return std::nullopt;
    const TcCalculator tcc;
    const std::optional<int> frames =
        tcc.framesIfTc(TCFormatter::stringForObjectValue(*time), tctype);
    if (!frames ||
        !TcCalculator::problemAtRate(TCFormatter::stringForObjectValue(*time), tctype).isEmpty())
        return std::nullopt;
    return sign * *frames;
}

int offsetTimes(QList<CueItem>& rows, const QList<int>& which, int frames, int tctype) {
    const TcCalculator tcc;
    int notMoved = 0;
    for (int r : rowsToChange(rows, which)) {
        if (r < 0 || r >= rows.size())
            continue;
        for (QString* time : {&rows[r].cueIn, &rows[r].cueOut}) {
            const QString shown = TCFormatter::stringForObjectValue(*time);
            if (shown == QLatin1String("---"))
                continue;
            const std::optional<int> at = tcc.framesIfTc(shown, tctype);
            if (!at || !TcCalculator::problemAtRate(shown, tctype).isEmpty()) {
                ++notMoved;
                continue;
            }
            const int day = TcCalculator::framesPerDay(tctype);
            *time = tcc.framesToTc(((*at + frames) % day + day) % day, tctype);
        }
    }
    return notMoved;
}

std::optional<Numbering> parseNumbering(const QString& text) {
    static const QRegularExpression pattern(
        QStringLiteral("^(.*?)(\\d{1,9})(?:\\s+([+-]?\\d{1,6}))?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    Numbering n;
    n.prefix = match.captured(1);
    n.start = match.captured(2).toInt();
    n.step = match.captured(3).isEmpty() ? 1 : match.captured(3).toInt();
    return n;
}

void renumber(QList<CueItem>& rows, const QList<int>& which, const Numbering& numbering) {
    qint64 number = numbering.start;
    for (int r : rowsToChange(rows, which)) {
        if (r < 0 || r >= rows.size())
            continue;
        rows[r].cueId = sheettext::cleanCell(numbering.prefix) + QString::number(number);
        number += numbering.step;
    }
}

int replaceText(QList<CueItem>& rows, const QList<int>& which, const QString& find,
                const QString& replacement, Qt::CaseSensitivity cs) {
    if (find.isEmpty())
        return 0;
    const QString clean = sheettext::cleanCell(replacement);
    int count = 0;
    for (int r : rowsToChange(rows, which)) {
        if (r < 0 || r >= rows.size())
            continue;
        for (QString* field : {&rows[r].cueId, &rows[r].cueText, &rows[r].cueNotes}) {
            const int found = int(field->count(find, cs));
            if (found > 0) {
                field->replace(find, clean, cs);
                count += found;
            }
        }
    }
    return count;
}

} // namespace cuelisttools
