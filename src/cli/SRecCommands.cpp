// qz62ctl srec check|image FILE.s19
#include "CliCommands.h"
#include "CliSupport.h"

#include "update/SRecord.h"

#include <algorithm>
#include <cstdio>

namespace {

// One verdict per non-blank line; 0 when every line is a good record.
int check(const QString& path, const QStringList& lines) {
    if (std::all_of(lines.begin(), lines.end(),
                    [](const QString& line) { return line.trimmed().isEmpty(); }))
        return cli::fail(QStringLiteral("srec: '%1' holds no records").arg(path));
    bool allOk = true;
    SRecord record;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty())
            continue;
        const char* verdict = "ok";
        switch (record.parse(line)) {
        case SRecord::ParseResult::Ok:
            break;
        case SRecord::ParseResult::Refused:
            verdict = "refused";
            allOk = false;
            break;
        case SRecord::ParseResult::ChecksumError:
            verdict = "checksum error";
            allOk = false;
            break;
        }
        std::printf("line %lld: %s\n", static_cast<long long>(i + 1), verdict);
    }
    return allOk ? 0 : 1;
}

// The records sent for the file; the unit gets nothing useful from a file
// without S1 data, and lines that are not records are named.
int image(const QString& path, const QStringList& lines) {
    SRecord::ImageStats stats;
    const QStringList records = SRecord::updateImage(lines, &stats);
    if (stats.dataRecords == 0)
        return cli::fail(QStringLiteral("srec: '%1' holds no S1 data records").arg(path));
    for (const QString& record : records)
        std::printf("%s\n", record.toLatin1().constData());
    std::fflush(stdout);
    if (stats.unreadLines.isEmpty())
        return 0;
    QStringList numbers;
    for (const int line : stats.unreadLines)
        numbers << QString::number(line);
    cli::warn(QStringLiteral("srec: '%1': line(s) %2 are not valid records and were skipped")
                  .arg(path, numbers.join(QLatin1String(", "))));
    return 1;
}

} // namespace

namespace cli {

int srec(const QStringList& args) {
    if (args.size() != 2)
        return fail(QStringLiteral("srec: usage: srec check|image FILE.s19"));
    const QString& action = args.at(0);
    if (action != QLatin1String("check") && action != QLatin1String("image"))
        return fail(QStringLiteral("srec: unknown action '%1'").arg(action));
    const auto bytes = readFile(args.at(1));
    if (!bytes)
        return fail(QStringLiteral("srec: cannot read '%1'").arg(args.at(1)));
    const QStringList lines = QString::fromUtf8(*bytes).split(QLatin1Char('\n'));
    return action == QLatin1String("check") ? check(args.at(1), lines) : image(args.at(1), lines);
}

} // namespace cli
