// qz62ctl import and tc: cue lists into cue sheets, timecode arithmetic.
#include "CliCommands.h"
#include "CliSupport.h"
#include "base/OutputFile.h"
#include "cues/CueListImporter.h"
#include "cues/CueMidiExport.h"
#include "cues/CueNotes.h"
#include "cues/CueSheet.h"
#include "cues/CueText.h"
#include "cues/PdfCueReader.h"
#include "cues/TextFileReader.h"
#include "timecode/TcCalculator.h"

#include <QFileInfo>
#include <cstdio>
#include <optional>

namespace {

// The header values given on the command line; the others come from the
// sheets read, or are a new cue window's defaults.
struct GivenSettings {
    std::optional<bool> duplicate, midnight, text, cueId, pulldown;
    std::optional<QString> start;
    std::optional<int> tctype;

    void applyTo(CueSheetSettings& s) const {
        s.duplicate = duplicate.value_or(s.duplicate);
        s.midnight = midnight.value_or(s.midnight);
        s.text = text.value_or(s.text);
        s.cueId = cueId.value_or(s.cueId);
        s.pulldown = pulldown.value_or(s.pulldown);
        s.start = start.value_or(s.start);
        s.tctype = tctype.value_or(s.tctype);
    }
};

struct ImportOptions {
    QStringList files;
    QString outputPath;
    GivenSettings settings;
    bool sort = false;
};

// The exit status when the arguments end the command (help, a mistake);
// nothing when the import goes ahead.
std::optional<int> parseImportOptions(const QStringList& args, ImportOptions& options) {
    using cli::fail;
    const TcCalculator tcc;
    GivenSettings& settings = options.settings;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        QString value;
        if (arg == QLatin1String("-o")) {
            if (!cli::takeValue(args, i, &options.outputPath) || options.outputPath.isEmpty())
                return fail(QStringLiteral("import: -o needs a file name"));
        } else if (arg == QLatin1String("--tctype")) {
            if (!cli::takeValue(args, i, &value))
                return fail(QStringLiteral("import: --tctype needs a value"));
            int type = 0;
            if (!cli::parseTcType(value, &type))
                return fail(QStringLiteral("import: bad --tctype '%1' (0 to 3)").arg(value));
            settings.tctype = type;
        } else if (arg == QLatin1String("--start")) {
            if (!cli::takeValue(args, i, &value))
                return fail(QStringLiteral("import: --start needs a timecode"));
            if (!tcc.isTc(value))
                return fail(QStringLiteral("import: bad --start '%1' (HH:MM:SS:FF)").arg(value));
            settings.start = value;
        } else if (cli::takeSwitch(arg, "text", settings.text) ||
                   cli::takeSwitch(arg, "cue-id", settings.cueId) ||
                   cli::takeSwitch(arg, "pulldown", settings.pulldown) ||
                   cli::takeSwitch(arg, "duplicates", settings.duplicate) ||
                   cli::takeSwitch(arg, "midnight", settings.midnight)) {
            continue;
        } else if (arg == QLatin1String("--sort")) {
            options.sort = true;
        } else if (arg.startsWith(u'-') && arg.size() > 1) {
            return fail(QStringLiteral("import: unknown option '%1'").arg(arg));
        } else {
            options.files.append(arg);
        }
    }
    if (options.files.isEmpty()) {
        std::fputs(cli::usageOf(QStringLiteral("import")), stderr);
        return fail(QStringLiteral("import: no input files"));
    }
    return std::nullopt;
}

// Says what a PDF or MIDI file gave, as the cue window does.
void note(const QString& path, const QString& what) {
    if (!what.isEmpty())
        cli::warn(QStringLiteral("import: %1: %2").arg(path, what));
}

// One input file's rows into the importer: a PDF cue sheet, a MIDI file or
// a text cue list read as the cue window opens a sheet (header lines
// included). The error that ends the import, or nothing.
std::optional<QString> importFile(const QString& path, CueSheet& sheet, CueListImporter& importer,
                                  PdfCueReader& pdfReader) {
    if (!QFileInfo(path).isFile())
        return QStringLiteral("import: %1: no such file").arg(path);
    const int before = sheet.count();
    if (CueListImporter::isPdf(path)) {
        if (!pdfReader.importPdf(path, importer))
            return QStringLiteral("import: %1: %2")
                .arg(path, QLatin1String(CueListImporter::kUnreadablePdfNote));
        note(path, pdfReader.summary(sheet.count() - before));
    } else if (CueListImporter::isMidi(path)) {
        QString error;
        const std::optional<cuemidi::FileRows> read =
            cuemidi::rowsFromFile(path, sheet.settings(), &error);
        if (!read)
            return QStringLiteral("import: %1: %2").arg(path, error);
        for (const CueItem& row : read->rows)
            importer.addRow(row);
        note(path, cuemidi::importNote(*read));
    } else {
        const auto text = TextFileReader::read(path);
        if (!text)
            return QStringLiteral("import: %1: %2")
                .arg(path, QLatin1String(TextFileReader::kUnreadableNote));
        if (text->windows1252)
            note(path, QLatin1String(TextFileReader::kWindows1252Note));
        importer.cueTableFromString(text->text);
    }
    const CueSheetSettings& settings = sheet.settings();
    note(path, cuetext::substitutionNote(sheet.rows().mid(before), settings.cueId, settings.text));
    return std::nullopt;
}

} // namespace

namespace cli {

int import(const QStringList& args) {
    ImportOptions options;
    if (const std::optional<int> status = parseImportOptions(args, options))
        return *status;
    // Every file is read before anything is written, so a bad one leaves no
    // half-made sheet behind.
    CueSheet sheet;
    CueListImporter importer(sheet);
    PdfCueReader pdfReader;
    // The PDF scanner's report must not mix with a sheet on standard output,
    // wherever the sheet goes.
    pdfReader.setLogSink([](const QByteArray& text) { std::fputs(text.constData(), stderr); });
    for (const QString& path : options.files) {
        if (const std::optional<QString> error = importFile(path, sheet, importer, pdfReader))
            return fail(*error);
    }
    options.settings.applyTo(sheet.settings());
    if (const QString warning = sheet.inTimeSpanWarning(); !warning.isEmpty())
        warn(QStringLiteral("import: ") + warning);
    if (options.sort) {
        if (const int removed = sheet.OnSort(); removed > 0)
            warn(QStringLiteral("import: ") + cuenotes::duplicatesRemoved(removed));
    }
    const QString output = sheet.stringFromCueTable();

    if (options.outputPath.isEmpty()) {
        writeStdout(output.toUtf8());
        return 0;
    }
    QString error;
    if (!OutputFile::write(options.outputPath, output.toUtf8(), &error))
        return fail(QStringLiteral("import: cannot write %1: %2").arg(options.outputPath, error));
    return 0;
}

int tc(const QStringList& args) {
    const TcCalculator tcc;
    int type = 3;
    QStringList words;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        QString value;
        if (arg == QLatin1String("--type")) {
            if (!takeValue(args, i, &value))
                return fail(QStringLiteral("tc: --type needs a value"));
            if (!parseTcType(value, &type))
                return fail(QStringLiteral("tc: bad --type '%1' (0 to 3)").arg(value));
        } else if (arg.startsWith(QLatin1String("--"))) {
            return fail(QStringLiteral("tc: unknown option '%1'").arg(arg));
        } else {
            words.append(arg); // "-5" is a frame count, not an option
        }
    }
    if (words.isEmpty()) {
        std::fputs(usageOf(QStringLiteral("tc")), stderr);
        return fail(QStringLiteral("tc: missing command"));
    }
    const QString command = words.takeFirst();
    auto checkTc = [&](const QString& text) { return tcc.isTc(text); };
    auto badTc = [](const QString& text) {
        return fail(QStringLiteral("tc: bad timecode '%1' (HH:MM:SS:FF)").arg(text));
    };
    auto wrongCount = [&](int expected) {
        std::fputs(usageOf(QStringLiteral("tc")), stderr);
        return fail(QStringLiteral("tc %1: expects %2 argument(s)").arg(command).arg(expected));
    };

    if (command == QLatin1String("frames")) {
        if (words.size() != 1)
            return wrongCount(1);
        if (!checkTc(words[0]))
            return badTc(words[0]);
        std::printf("%d\n", tcc.tcToBinary(words[0], type));
    } else if (command == QLatin1String("timecode")) {
        if (words.size() != 1)
            return wrongCount(1);
        bool ok = false;
        const int frames = words[0].toInt(&ok);
        if (!ok)
            return fail(QStringLiteral("tc: bad frame count '%1'").arg(words[0]));
        std::printf("%s\n", qPrintable(tcc.binaryToTc(frames, type)));
    } else if (command == QLatin1String("subtract") || command == QLatin1String("compare")) {
        if (words.size() != 2)
            return wrongCount(2);
        for (const QString& word : words) {
            if (!checkTc(word))
                return badTc(word);
        }
        if (command == QLatin1String("subtract"))
            std::printf("%s\n", qPrintable(tcc.subtractTc(words[1], words[0], type)));
        else
            std::printf("%d\n", tcc.compareTc(words[0], words[1], type));
    } else {
        std::fputs(usageOf(QStringLiteral("tc")), stderr);
        return fail(QStringLiteral("tc: unknown command '%1'").arg(command));
    }
    return 0;
}

} // namespace cli
