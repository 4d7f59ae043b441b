#include "cues/CueNotes.h"

#include "cues/CueText.h"

namespace cuenotes {

QStringList exportNotes(const MidiTrack::ExportReport& report) {
    QStringList notes;
    for (const MidiTrack::ExportReport::Substitution& s : report.substitutions)
        notes << QStringLiteral("cue %1: the unit cannot show %2: written as \u201c?\u201d")
                     .arg(s.cue, cuetext::quotedCharacters(s.characters));
    if (report.movedCues > 0)
        notes << QStringLiteral("%1 cue(s) placed later than their time: before the start or "
                                "before the cue ahead of them")
                     .arg(report.movedCues);
    if (report.shortenedNotes > 0)
        notes << QStringLiteral("%1 note end(s) written early, at the next cue")
                     .arg(report.shortenedNotes);
    return notes;
}

QString duplicatesRemoved(int count) {
    return count == 1 ? QStringLiteral("1 duplicate cue removed")
                      : QStringLiteral("%1 duplicate cues removed").arg(count);
}

QString rowName(int index, const CueItem& item) {
    const QString id = item.cueId.trimmed();
    return id.isEmpty() ? QStringLiteral("row %1").arg(index + 1)
                        : QStringLiteral("row %1 (%2)").arg(index + 1).arg(id);
}

QString sentence(const QString& note) {
    if (note.isEmpty())
        return note;
    return note.left(1).toUpper() + note.mid(1);
}

} // namespace cuenotes
