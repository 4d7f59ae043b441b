// qz62ctl import and tc: cue lists into cue sheets, timecode arithmetic.
#include "CliCommands.h"
#include "CliSupport.h"
#include "base/OutputFile.h"
#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "cues/PdfCueReader.h"
#include "cues/TextFileReader.h"
#include "timecode/TcCalculator.h"

#include <QFileInfo>
#include <cstdio>
#include <optional>

namespace {

struct ImportOptions {
    QStringList files;
    QString outputPath;
    CueSheetSettings settings; // a new cue window's defaults
    bool sort = false;
};

// The exit status when the arguments end the command (help, a mistake);
// nothing when the import goes ahead.
std::optional<int> parseImportOptions(const QStringList& args, ImportOptions& options) {
    using cli::fail;
    const TcCalculator tcc;
    CueSheetSettings& settings = options.settings;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        QString value;
        if (arg == QLatin1String("-o")) {
            if (!cli::takeValue(args, i, &options.outputPath) || options.outputPath.isEmpty())
                return fail(QStringLiteral("import: -o needs a file name"));
        } else if (arg == QLatin1String("--tctype")) {
            if (!cli::takeValue(args, i, &value))
                return fail(QStringLiteral("import: --tctype needs a value"));
            if (!cli::parseTcType(value, &settings.tctype))
                return fail(QStringLiteral("import: bad --tctype '%1' (0 to 3)").arg(value));
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

// One input file's rows into the importer: a PDF cue sheet or a text cue
// list. The error that ends the import, or nothing.
std::optional<QString> importFile(const QString& path, CueListImporter& importer,
                                  PdfCueReader& pdfReader) {
    if (!QFileInfo(path).isFile())
        return QStringLiteral("import: %1: no such file").arg(path);
    if (QFileInfo(path).suffix().compare(QLatin1String("pdf"), Qt::CaseInsensitive) == 0) {
        if (!pdfReader.importPdf(path, importer))
            return QStringLiteral("import: %1: cannot be read as a PDF document").arg(path);
        if (const QString note = pdfReader.unreadPagesNote(); !note.isEmpty())
            cli::warn(QStringLiteral("import: %1: %2").arg(path, note));
        return std::nullopt;
    }
    const auto text = TextFileReader::read(path);
    if (!text)
        return QStringLiteral("import: %1: cannot be read").arg(path);
    if (text->windows1252)
        cli::warn(
            QStringLiteral("import: %1: not UTF-8 or UTF-16, read as Windows-1252").arg(path));
    importer.paste(text->text);
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
    sheet.settings() = options.settings;
    CueListImporter importer(sheet);
    PdfCueReader pdfReader;
    // The PDF scanner's report must not mix with a sheet on standard output,
    // wherever the sheet goes.
    pdfReader.setLogSink([](const QByteArray& text) { std::fputs(text.constData(), stderr); });
    for (const QString& path : options.files) {
        if (const std::optional<QString> error = importFile(path, importer, pdfReader))
            return fail(*error);
    }
    if (const QString warning = sheet.inTimeSpanWarning(); !warning.isEmpty())
        warn(QStringLiteral("import: ") + warning);
    if (options.sort)
        sheet.OnSort();
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
