#include "CliCommands.h"
#include "Version.h"

#include <QCoreApplication>
#include <cstdio>
#include <map>

namespace cli {
int fail(const QString& message) {
    std::fprintf(stderr, "qz62ctl: %s\n", message.toLocal8Bit().constData());
    return 2;
}
} // namespace cli

namespace {
bool asksForHelp(const QStringList& args) {
    return args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"));
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty()) {
        std::fputs(cli::usageOf(QString()), stderr);
        return 2;
    }
    const QString command = args.takeFirst();
    if (command == QLatin1String("--version")) {
        std::printf("qz62ctl %s\n", qz62::kAppVersion);
        return 0;
    }
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(cli::usageOf(QString()), stdout);
        return 0;
    }
    const std::map<QString, int (*)(const QStringList&)> commands = {
        {QStringLiteral("probe"), cli::probe},
        {QStringLiteral("send"), cli::send},
        {QStringLiteral("import"), cli::import},
        {QStringLiteral("tc"), cli::tc},
        {QStringLiteral("export-midi"), cli::exportMidi},
        {QStringLiteral("dump-midi"), cli::dumpMidi},
        {QStringLiteral("srec"), cli::srec},
        {QStringLiteral("update"), cli::update},
        {QStringLiteral("midi-ports"), cli::midiPorts},
        {QStringLiteral("mtc"), cli::mtc},
    };
    const auto it = commands.find(command);
    if (it == commands.end()) {
        std::fputs(cli::usageOf(QString()), stderr);
        return cli::fail(QStringLiteral("unknown command '%1'").arg(command));
    }
    if (asksForHelp(args)) {
        std::fputs(cli::usageOf(command), stdout);
        return 0;
    }
    return it->second(args);
}
