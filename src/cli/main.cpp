#include "CliCommands.h"
#include "Version.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

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
    // Printing lays out text with the fonts of a GUI application; it needs
    // no display, so it runs on the offscreen platform.
    bool printing = argc > 1 && std::strcmp(argv[1], "print") == 0;
    for (int i = 2; i < argc; ++i)
        printing =
            printing && std::strcmp(argv[i], "--help") != 0 && std::strcmp(argv[i], "-h") != 0;
    if (printing)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> app;
    if (printing)
        app = std::make_unique<QGuiApplication>(argc, argv);
    else
        app = std::make_unique<QCoreApplication>(argc, argv);
    QStringList args = QCoreApplication::arguments().mid(1);
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
        {QStringLiteral("export-csv"), cli::exportCsv},
        {QStringLiteral("print"), cli::print},
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
