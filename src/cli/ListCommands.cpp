// qz62ctl export-csv and print: a cue sheet as CSV and on paper (PDF).
#include "CliCommands.h"
#include "CliSupport.h"

#include "base/OutputFile.h"
#include "cues/CueSheet.h"
#include "cues/CueSheetPrinter.h"
#include "cues/DelimitedText.h"
#include "cues/TextFileReader.h"

#include <QFileInfo>
#include <cstdio>
#include <optional>

namespace {

struct SheetArgs {
    QString sheetPath;
    QString outPath;
    QString paper;
    QString title;
};

// The exit status when the arguments end the command; nothing otherwise.
std::optional<int> parseSheetArgs(const char* command, const QStringList& args, SheetArgs& parsed) {
    const char* usage = cli::usageOf(QLatin1String(command));
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        QString* value = arg == QLatin1String("-o")        ? &parsed.outPath
                         : arg == QLatin1String("--paper") ? &parsed.paper
                         : arg == QLatin1String("--title") ? &parsed.title
                                                           : nullptr;
        if (arg == QLatin1String("-h") || arg == QLatin1String("--help")) {
            std::fputs(usage, stdout);
            return 0;
        } else if (value && (command[0] == 'p' || arg == QLatin1String("-o"))) {
            if (!cli::takeValue(args, i, value) || value->isEmpty())
                return cli::fail(QStringLiteral("%1: %2 needs a value").arg(command, arg));
        } else if (arg.startsWith(u'-') && arg.size() > 1) {
            return cli::fail(QStringLiteral("%1: unknown option '%2'").arg(command, arg));
        } else if (!parsed.sheetPath.isEmpty()) {
            return cli::fail(QStringLiteral("%1: more than one sheet ('%2')").arg(command, arg));
        } else {
            parsed.sheetPath = arg;
        }
    }
    if (parsed.sheetPath.isEmpty()) {
        std::fputs(usage, stderr);
        return cli::fail(QStringLiteral("%1: no sheet").arg(command));
    }
    return std::nullopt;
}

std::optional<CueSheet> readSheet(const char* command, const QString& path) {
    const auto text = TextFileReader::read(path);
    if (!text) {
        cli::fail(QStringLiteral("%1: %2: %3")
                      .arg(command, path, QLatin1String(TextFileReader::kUnreadableNote)));
        return std::nullopt;
    }
    CueSheet sheet;
    sheet.cueTableFromString(text->text);
    return sheet;
}

} // namespace

namespace cli {

int exportCsv(const QStringList& args) {
    SheetArgs parsed;
    if (const std::optional<int> status = parseSheetArgs("export-csv", args, parsed))
        return *status;
    const std::optional<CueSheet> sheet = readSheet("export-csv", parsed.sheetPath);
    if (!sheet)
        return 2;
    const QByteArray csv = delimited::csvForRows(sheet->rows());
    if (parsed.outPath.isEmpty()) {
        writeStdout(csv);
        return 0;
    }
    QString error;
    if (!OutputFile::write(parsed.outPath, csv, &error))
        return fail(QStringLiteral("export-csv: cannot write %1: %2").arg(parsed.outPath, error));
    return 0;
}

int print(const QStringList& args) {
    SheetArgs parsed;
    if (const std::optional<int> status = parseSheetArgs("print", args, parsed))
        return *status;
    if (parsed.outPath.isEmpty())
        return fail(QStringLiteral("print: no output file (-o FILE.pdf)"));
    cueprint::Paper paper = cueprint::paperForLocale();
    if (parsed.paper.compare(QLatin1String("a4"), Qt::CaseInsensitive) == 0)
        paper = cueprint::Paper::A4;
    else if (parsed.paper.compare(QLatin1String("letter"), Qt::CaseInsensitive) == 0)
        paper = cueprint::Paper::Letter;
    else if (!parsed.paper.isEmpty())
        return fail(QStringLiteral("print: bad --paper '%1' (a4 or letter)").arg(parsed.paper));
    const std::optional<CueSheet> sheet = readSheet("print", parsed.sheetPath);
    if (!sheet)
        return 2;
    const QString title =
        parsed.title.isEmpty() ? QFileInfo(parsed.sheetPath).fileName() : parsed.title;
    QString error;
    if (!cueprint::writePdf(parsed.outPath, title, sheet->rows(), paper, &error))
        return fail(QStringLiteral("print: cannot write %1: %2").arg(parsed.outPath, error));
    return 0;
}

} // namespace cli
