#include "CliCommands.h"
#include "Version.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

namespace {
void usage() {
    std::fputs("usage: qz62ctl COMMAND [ARGS]\n"
               "  probe [--port PATH]                 find the unit\n"
               "  send [--port PATH] COMMAND...       send commands, print the replies\n"
               "  import FILE... [-o SHEET.txt] [--map id=1,in=2,...]\n"
               "                                      cue lists into a cue sheet\n"
               "  export-csv SHEET.txt [-o FILE.csv]  cue sheet as CSV\n"
               "  print SHEET.txt -o FILE.pdf [--paper a4|letter]\n"
               "                                      cue sheet as a printed PDF table\n"
               "  export-midi SHEET.txt -o CUES.mid   cue sheet as a MIDI file\n"
               "  dump-midi FILE.mid                  log a MIDI file's chunks and events\n"
               "  tc frames|timecode|subtract|compare ...\n"
               "  srec check|image FILE.s19\n"
               "  midi-ports                          list MIDI sources and destinations\n"
               "  mtc --out PORT [--start TC] [--rate 24|25|29.97df|30] [--seconds S]\n"
               "                                      play MIDI Time Code in real time\n"
               "  --version\n",
               stderr);
}
} // namespace

namespace cli {
int fail(const QString& message) {
    std::fprintf(stderr, "qz62ctl: %s\n", message.toLocal8Bit().constData());
    return 2;
}
} // namespace cli

int main(int argc, char** argv) {
    // Printing lays out text with the fonts of a GUI application; it needs
    // no display, so it runs on the offscreen platform.
    const bool printing = argc > 1 && std::strcmp(argv[1], "print") == 0;
    if (printing)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> app;
    if (printing)
        app = std::make_unique<QGuiApplication>(argc, argv);
    else
        app = std::make_unique<QCoreApplication>(argc, argv);
    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty()) {
        usage();
        return 2;
    }
    const QString command = args.takeFirst();
    if (command == QLatin1String("--version")) {
        std::printf("qz62ctl %s\n", qz62::kAppVersion);
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
        {QStringLiteral("midi-ports"), cli::midiPorts},
        {QStringLiteral("mtc"), cli::mtc},
        {QStringLiteral("export-csv"), cli::exportCsv},
        {QStringLiteral("print"), cli::print},
    };
    const auto it = commands.find(command);
    if (it == commands.end()) {
        usage();
        return cli::fail(QStringLiteral("unknown command '%1'").arg(command));
    }
    return it->second(args);
}
