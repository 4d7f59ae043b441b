// The cue document's list tools: each a change of many rows as one step.
#include "cues/CueDocument.h"

#include "cues/CueListTools.h"

#include <cstdlib>

void CueDocument::offsetTimes(const QList<int>& rowList, int frames) {
    QList<CueItem> after = rows();
    const int notMoved = cuelisttools::offsetTimes(after, rowList, frames, settings().tctype);
    replaceRows(after, tr("Offset Times"));
    const QString sign = frames < 0 ? QStringLiteral("-") : QStringLiteral("+");
    QString text = tr("%1 moved by %2%3.")
                       .arg(rowList.isEmpty()     ? tr("Every cue")
                            : rowList.size() == 1 ? tr("1 cue")
                                                  : tr("%1 cues").arg(rowList.size()),
                            sign, m_sheet.tcc().framesToTc(std::abs(frames), settings().tctype));
    if (notMoved > 0)
        text += u' ' + tr("%1 time(s) that do not exist at %2 were left as they were.")
                           .arg(notMoved)
                           .arg(TcCalculator::rateName(settings().tctype));
    emit message(text);
}

void CueDocument::renumber(const QList<int>& rowList, const cuelisttools::Numbering& numbering) {
    QList<CueItem> after = rows();
    cuelisttools::renumber(after, rowList, numbering);
    replaceRows(after, tr("Renumber"));
}

int CueDocument::replaceText(const QString& find, const QString& replacement,
                             Qt::CaseSensitivity cs) {
    QList<CueItem> after = rows();
    const int count = cuelisttools::replaceText(after, {}, find, replacement, cs);
    replaceRows(after, tr("Replace"));
    emit message(count == 0   ? tr("\u201c%1\u201d was not found.").arg(find)
                 : count == 1 ? tr("1 occurrence replaced.")
                              : tr("%1 occurrences replaced.").arg(count));
    return count;
}
