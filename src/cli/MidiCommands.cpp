// qz62ctl export-midi SHEET.txt -o CUES.mid [options] and dump-midi FILE.mid
#include "CliCommands.h"
#include "CliSupport.h"

#include "cues/CueMidiExport.h"
#include "cues/CueNotes.h"
#include "cues/CueSheet.h"
#include "cues/TextFileReader.h"
#include "midi/MidiFileReader.h"
#include "midi/MidiTrack.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace {

struct ExportOptions {
    QString sheetPath;
    QString outPath;
    std::optional<double> offsetSeconds;
    std::optional<QString> start;
    std::optional<int> tcType;
    std::optional<bool> text;
    std::optional<bool> cueId;
    std::optional<bool> pulldown;
};

// Longest offset taken: a day, either way.
constexpr double kMaxOffsetSeconds = 86400.0;

// Parses the arguments; an error message when they do not make sense.
std::optional<QString> parseExportOptions(const QStringList& args, ExportOptions& options) {
    const TcCalculator tcc;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (cli::takeSwitch(arg, "text", options.text) ||
            cli::takeSwitch(arg, "cue-id", options.cueId) ||
            cli::takeSwitch(arg, "pulldown", options.pulldown))
            continue;
        const bool takesValue = arg == QLatin1String("-o") || arg == QLatin1String("--offset") ||
                                arg == QLatin1String("--start") || arg == QLatin1String("--tctype");
        if (takesValue) {
            if (i + 1 >= args.size())
                return QStringLiteral("export-midi: %1 needs a value").arg(arg);
            const QString value = args.at(++i);
            if (arg == QLatin1String("-o")) {
                options.outPath = value;
            } else if (arg == QLatin1String("--offset")) {
                bool ok = false;
                const double seconds = value.toDouble(&ok);
                if (!ok || !std::isfinite(seconds) || std::fabs(seconds) > kMaxOffsetSeconds)
                    return QStringLiteral("export-midi: bad offset '%1' (seconds, at most a day)")
                        .arg(value);
                options.offsetSeconds = seconds;
            } else if (arg == QLatin1String("--start")) {
                if (!tcc.isTc(value))
                    return QStringLiteral("export-midi: bad start '%1' (HH:MM:SS:FF)").arg(value);
                options.start = value;
            } else {
                int type = 0;
                if (!cli::parseTcType(value, &type))
                    return QStringLiteral("export-midi: bad tctype '%1' (0 to 3)").arg(value);
                options.tcType = type;
            }
            continue;
        }
        if (arg.startsWith(QLatin1Char('-')) && arg.size() > 1)
            return QStringLiteral("export-midi: unknown option '%1'").arg(arg);
        if (!options.sheetPath.isEmpty())
            return QStringLiteral("export-midi: more than one sheet ('%1')").arg(arg);
        options.sheetPath = arg;
    }
    if (options.sheetPath.isEmpty())
        return QStringLiteral("export-midi: usage: export-midi SHEET.txt -o CUES.mid");
    if (options.outPath.isEmpty())
        return QStringLiteral("export-midi: no output file (-o CUES.mid)");
    return std::nullopt;
}

} // namespace

namespace cli {

int exportMidi(const QStringList& args) {
    ExportOptions options;
    if (const auto error = parseExportOptions(args, options))
        return fail(*error);
    const auto text = TextFileReader::read(options.sheetPath);
    if (!text)
        return fail(QStringLiteral("export-midi: cannot read '%1'").arg(options.sheetPath));
    if (text->windows1252)
        warn(QStringLiteral("export-midi: '%1': %2")
                 .arg(options.sheetPath, QLatin1String(TextFileReader::kWindows1252Note)));

    CueSheet sheet;
    sheet.cueTableFromString(text->text);
    // The cue window sorts before it exports, so the sheet's duplicate and
    // midnight settings apply.
    sheet.OnSort();
    const CueSheetSettings& settings = sheet.settings();
    const int tcType = options.tcType.value_or(settings.tctype);
    if (tcType < 0 || tcType > 3)
        return fail(QStringLiteral("export-midi: '%1': tctype %2 is not 0 to 3")
                        .arg(options.sheetPath)
                        .arg(tcType));
    if (sheet.count() == 0)
        return fail(QStringLiteral("export-midi: '%1' holds no cues").arg(options.sheetPath));
    const QString start = options.start.value_or(settings.start);
    if (!MidiTrack::startTimecode(start))
        return fail(QStringLiteral("export-midi: '%1': the start '%2' is not a timecode "
                                   "(HH:MM:SS:FF); give one with --start")
                        .arg(options.sheetPath, start));
    if (const QString warning = sheet.inTimeSpanWarning(); !warning.isEmpty())
        warn(QStringLiteral("export-midi: ") + warning);

    // The export's log line goes out only with a written file, so a failure
    // prints nothing but its one-line error.
    MidiTrack track;
    QByteArray log;
    track.setLogSink([&log](const QByteArray& text) { log += text; });
    QString error;
    if (!cuemidi::onExportMidi(track, options.outPath, sheet.rows(), start, tcType,
                               options.offsetSeconds.value_or(sheet.offset()),
                               options.text.value_or(settings.text),
                               options.pulldown.value_or(settings.pulldown),
                               options.cueId.value_or(settings.cueId), &error))
        return fail(
            QStringLiteral("export-midi: cannot write '%1': %2").arg(options.outPath, error));
    for (const QString& note : cuenotes::exportNotes(track.lastExportReport()))
        warn(QStringLiteral("export-midi: ") + note);
    // The log must not land in the file when the file is standard output.
    if (isStandardOutput(options.outPath))
        std::fputs(log.constData(), stderr);
    else
        writeStdout(log);
    return 0;
}

int dumpMidi(const QStringList& args) {
    if (args.size() != 1 || args.at(0).startsWith(QLatin1Char('-')))
        return fail(QStringLiteral("dump-midi: usage: dump-midi FILE.mid"));
    const auto bytes = readFile(args.at(0));
    if (!bytes)
        return fail(QStringLiteral("dump-midi: cannot read '%1'").arg(args.at(0)));
    // The listing is the command's output, written as it comes.
    MidiFileReader reader;
    reader.setLogSink([](const QByteArray& text) {
        std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    });
    const MidiFileReader::ReadReport report = reader.importMidi(*bytes);
    std::fflush(stdout);
    if (report.verdict == MidiFileReader::ReadVerdict::Complete)
        return 0;
    const QString message = QStringLiteral("dump-midi: '%1': %2").arg(args.at(0), report.problem);
    if (report.verdict == MidiFileReader::ReadVerdict::NotMidi)
        return fail(message);
    warn(message);
    return 1;
}

} // namespace cli
