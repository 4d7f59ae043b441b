#include "cues/CueMidiExport.h"

#include "cues/CueText.h"

namespace cuemidi {

QList<MidiTrack::Cue> cues(const QList<CueItem>& rows, bool textIncluded, bool cueIdIncluded) {
    QList<MidiTrack::Cue> out;
    out.reserve(rows.size());
    for (const CueItem& row : rows) {
        const QString id = row.cueId.trimmed();
        const QString in = row.getCueIn();
        out.append({in, cuetext::build(row, cueIdIncluded, textIncluded, false),
                    (id.isEmpty() ? QString() : id + QLatin1String(" at ")) + in});
    }
    return out;
}

} // namespace cuemidi
