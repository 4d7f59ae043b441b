#include "cues/CueMidiExport.h"

#include "cues/CueText.h"

#include <QFile>
#include <cmath>

namespace cuemidi {

QList<MidiTrack::Cue> cues(const QList<CueItem>& rows, bool textIncluded, bool cueIdIncluded) {
    QList<MidiTrack::Cue> out;
    out.reserve(rows.size());
    for (const CueItem& row : rows) {
        const QString id = row.cueId.trimmed();
        const QString in = row.getCueIn();
        out.append({in, cuetext::build(row, cueIdIncluded, textIncluded),
                    (id.isEmpty() ? QString() : id + QLatin1String(" at ")) + in});
    }
    return out;
}

namespace {

// Identifier and text back from a unit text, as cuetext::build joined them.
void splitUnitText(const QString& unitText, const CueSheetSettings& settings, CueItem& row) {
    if (settings.cueId && !settings.text) {
        row.cueId = unitText;
        return;
    }
    const qsizetype escape = settings.cueId ? unitText.indexOf(QLatin1String("\\n")) : -1;
    if (escape < 0) {
        row.cueText = unitText;
        return;
    }
    row.cueId = unitText.left(escape);
    row.cueText = unitText.mid(escape + 2);
}

QString rateName(int tcType) {
    static const char* const kNames[] = {"24 fps", "25 fps", "29.97 fps drop", "30 fps"};
    return QLatin1String(kNames[tcType & 3]);
}

} // namespace

std::optional<FileRows> rowsFromCues(const MidiFileReader::FileCues& cues,
                                     const CueSheetSettings& settings, QString* error) {
    FileRows result;
    std::optional<QString> start = MidiTrack::startTimecode(cues.start);
    result.startFromFile = start.has_value();
    if (!start)
        start = MidiTrack::startTimecode(settings.start);
    if (!start) {
        if (error)
            *error = QStringLiteral("the file names no start and the sheet's start \"%1\" is not "
                                    "a timecode (HH:MM:SS:FF)")
                         .arg(settings.start);
        return std::nullopt;
    }
    result.start = *start;
    result.tcType = cues.smpteRate >= 0 ? cues.smpteRate : qBound(0, settings.tctype, 3);
    result.pulldown = cues.pulldown;

    const TcCalculator tcc;
    const int rate = TcCalculator::frameRate(result.tcType);
    const int startFrames = tcc.tcToBinary(result.start, result.tcType);
    const int day = TcCalculator::framesPerDay(result.tcType);
    result.rows.reserve(cues.cues.size());
    for (const MidiFileReader::FileCue& cue : cues.cues) {
        // Whole frames: a cue the export wrote lands on its frame exactly.
        const double frames = std::fmod(std::round(cue.seconds * rate), double(day));
        CueItem row = CueItem::blank();
        row.cueIn = tcc.framesToTc(startFrames + int(frames), result.tcType);
        splitUnitText(cue.text, settings, row);
        result.rows.append(row);
    }
    return result;
}

std::optional<FileRows> readRows(MidiFileReader& reader, const QByteArray& fileBytes,
                                 const CueSheetSettings& settings, QString* error) {
    const MidiFileReader::ReadReport report = reader.importMidi(fileBytes);
    if (report.verdict == MidiFileReader::ReadVerdict::NotMidi) {
        if (error)
            *error = report.problem;
        return std::nullopt;
    }
    std::optional<FileRows> rows = rowsFromCues(reader.fileCues(), settings, error);
    if (rows && report.verdict == MidiFileReader::ReadVerdict::Damaged)
        rows->damage = report.problem;
    return rows;
}

std::optional<FileRows> rowsFromFile(const QString& path, const CueSheetSettings& settings,
                                     QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return std::nullopt;
    }
    MidiFileReader reader;
    reader.setLogging(false);
    return readRows(reader, file.readAll(), settings, error);
}

QString importNote(const FileRows& rows) {
    const qsizetype n = rows.rows.size();
    QString note = (n == 1 ? QStringLiteral("1 cue") : QStringLiteral("%1 cues").arg(n)) +
                   QStringLiteral(", counted from %1 at %2").arg(rows.start, rateName(rows.tcType));
    if (rows.pulldown)
        note += QStringLiteral(", pulldown");
    if (!rows.startFromFile)
        note += QStringLiteral(" (the file names no start: the sheet's was taken)");
    if (!rows.damage.isEmpty())
        note += QStringLiteral("; the file is damaged, the cues after the damage are missing: ") +
                rows.damage;
    return note;
}

} // namespace cuemidi
