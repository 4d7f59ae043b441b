// qz62ctl srec check|image FILE.s19
#include "CliCommands.h"
#include "CliSupport.h"

#include "update/SRecord.h"

#include <cstdio>

namespace {

// One verdict per non-blank line; 0 when every line is a good record.
int check(const QStringList& lines) {
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

int image(const QStringList& lines) {
    for (const QString& record : SRecord::updateImage(lines))
        std::printf("%s\n", record.toLatin1().constData());
    return 0;
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
    return action == QLatin1String("check") ? check(lines) : image(lines);
}

} // namespace cli
