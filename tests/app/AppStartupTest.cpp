#include "app/AppStartup.h"
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "cues/CueDocument.h"
#include "cues/view/CueWindow.h"
#include "midi/MidiPorts.h"
#include "midi/view/MidiView.h"
#include "support/AlertsAndWaiting.h"
#include "support/FilesAndTools.h"
#include "support/JackServer.h"

#include <QAction>
#include <QDir>
#include <QMenu>
#include <QStatusBar>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

using testsupport::RecordingAlerts;
using testsupport::Scratch;
using testsupport::waitFor;

namespace {

const QByteArray kSheet = ";duplicate\t1\n;midnight\t0\n;text\t1\n;cueId\t1\n;pulldown\t0\n"
                          ";start\t01:00:00:00\n;tctype\t3\n"
                          "1M1\t01:00:05:12\t01:00:09:00\tMain title\thold\n"
                          "1M2\t01:01:10:00\t---\tDoor slams\t\n";

QStringList titles(const CueWindows& cues) {
    QStringList t;
    for (CueWindow* w : cues.windows())
        t << QStringLiteral("%1:%2")
                 .arg(w->document()->displayName())
                 .arg(w->document()->rows().size());
    return t;
}

// Brings the application up as main() does, but hidden: the toolkit paints a
// shown window partly on its own thread pool, which the thread checker cannot
// follow (the toolkit is not built for it). Hidden, the cue windows stay
// hidden too; everything else is as on the screen.
void startHidden(AppStartup& app) {
    ASSERT_FALSE(app.handOverToRunning());
    ASSERT_TRUE(app.start()) << app.message().toStdString();
    app.window()->hide();
}

QString instanceName() {
    return QStringLiteral("test-%1").arg(::getpid());
}

// The recovery copies under a folder, in every run's folder.
QStringList recoveryCopies(const QString& folder) {
    QStringList copies;
    const QFileInfoList runs =
        QDir(folder).entryInfoList({QStringLiteral("run-*")}, QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QFileInfo& run : runs) {
        for (const QString& name :
             QDir(run.absoluteFilePath()).entryList({QStringLiteral("*.txt")}, QDir::Files))
            copies << run.absoluteFilePath() + u'/' + name;
    }
    return copies;
}

} // namespace

// A stage's start-up line: the sheets open, a cue list becomes an untitled
// sheet with the command line's header options, a missing file is reported
// and the rest still opens, and the named MIDI source is awaited until it
// appears and then connected and ticked in the Input menu.
TEST(AppStartup, OpensSheetsAndWaitsForTheNamedSource) {
    Scratch scratch;
    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";
    RecordingAlerts alerts;
    const QString sheet = scratch.write(QStringLiteral("reel1.txt"), kSheet);
    const QString list =
        scratch.write(QStringLiteral("spotting.csv"), "2M1 01:02:03:04 01:02:09:00 Car arrives\n");
    const QString missing = scratch.dir.filePath(QStringLiteral("reel9.txt"));

    AppStartup app;
    ASSERT_EQ(app.parse({QStringLiteral("qz62"), QStringLiteral("--simulator"),
                         QStringLiteral("--instance"), instanceName(), QStringLiteral("--midi-in"),
                         QStringLiteral("PLAYER"), QStringLiteral("--tctype"), QStringLiteral("1"),
                         QStringLiteral("--start"), QStringLiteral("09:59:50:00"),
                         QStringLiteral("--no-cue-id"), sheet, missing, list}),
              AppStartup::Parse::Run)
        << app.message().toStdString();
    ASSERT_NO_FATAL_FAILURE(startHidden(app));
    MainWindow& window = *app.window();
    CueWindows& cues = *window.cueWindows();

    ASSERT_TRUE(waitFor([&] { return cues.windows().size() == 2; }, 5000))
        << titles(cues).join(u' ').toStdString();
    EXPECT_EQ(titles(cues),
              (QStringList{QStringLiteral("reel1.txt:2"), QStringLiteral("Untitled:1")}));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_TRUE(alerts.shown[0].contains(QStringLiteral("reel9.txt")))
        << alerts.shown[0].toStdString();
    // The opened sheet keeps its own header; the new one takes the command line's.
    const CueSheetSettings opened = cues.windows()[0]->document()->settings();
    const CueSheetSettings fresh = cues.windows()[1]->document()->settings();
    EXPECT_EQ(opened.tctype, 3);
    EXPECT_EQ(fresh.tctype, 1);
    EXPECT_EQ(fresh.start, QStringLiteral("09:59:50:00"));
    EXPECT_FALSE(fresh.cueId);

    MidiController* midi = window.midiView()->controller();
    EXPECT_TRUE(waitFor([&] {
        return window.statusBar()->currentMessage().contains(
            QStringLiteral("\u201cPLAYER\u201d not found"));
    })) << window.statusBar()->currentMessage().toStdString();
    EXPECT_FALSE(midi->sourceConnected());

    auto player = MidiPorts::createSystem(QStringLiteral("player"));
    ASSERT_TRUE(player->connectDestination(QString()));
    ASSERT_TRUE(waitFor([&] { return midi->sourceConnected(); }, 5000));
    EXPECT_TRUE(midi->source().startsWith(QStringLiteral("player")))
        << midi->source().toStdString();
    const auto* input = window.findChild<QMenu*>(QStringLiteral("menuMidiInput"));
    ASSERT_NE(input, nullptr);
    QStringList ticked;
    for (const QAction* a : input->actions()) {
        if (a->isChecked())
            ticked << a->text();
    }
    EXPECT_EQ(ticked, QStringList{midi->source()});
    app.shutDown();
}

// A second start with the same instance name gives its file to the running
// application and ends at once.
TEST(AppStartup, SecondStartHandsItsFilesToTheRunningApplication) {
    Scratch scratch;
    RecordingAlerts alerts;
    const QString sheet = scratch.write(QStringLiteral("reel2.txt"), kSheet);
    AppStartup app;
    ASSERT_EQ(app.parse({QStringLiteral("qz62"), QStringLiteral("--simulator"),
                         QStringLiteral("--instance"), instanceName()}),
              AppStartup::Parse::Run);
    ASSERT_NO_FATAL_FAILURE(startHidden(app));

    const pid_t second = jacktest::spawn(QStringLiteral(QZ62_BINARY_DIR "/src/app/qz62"),
                                         {QStringLiteral("--instance"), instanceName(), sheet});
    ASSERT_GT(second, 0);
    int status = -1;
    ASSERT_TRUE(waitFor([&] { return (status = jacktest::exitStatus(second)) >= 0; }, 20000));
    EXPECT_EQ(status, 0);
    ASSERT_TRUE(waitFor([&] { return app.window()->cueWindows()->windows().size() == 1; }, 5000));
    EXPECT_EQ(titles(*app.window()->cueWindows()), QStringList{QStringLiteral("reel2.txt:2")});
    EXPECT_TRUE(alerts.shown.isEmpty()) << alerts.shown.join(u'\n').toStdString();
    app.shutDown();
}

// The program killed while a sheet is modified: its copy, written a few
// seconds after the change, is offered at the next start and restored into a
// window of its own, still modified; the killed run's copy goes.
TEST(AppStartup, ASheetBeingEditedWhenKilledIsOfferedAtTheNextStart) {
    Scratch scratch;
    RecordingAlerts alerts;
    const QString list =
        scratch.write(QStringLiteral("spotting.csv"), "2M1 01:02:03:04 01:02:09:00 Car arrives\n");
    // The list opens as an untitled sheet holding its row: modified. The
    // killed program is only here to leave its copy behind; it paints its
    // windows, and Qt hands large image conversions to its own thread pool,
    // whose locks the thread checker cannot see in a Qt not built for it. A
    // report from there must not stop the program before the copy is written.
    const QByteArray checkerOptions = qgetenv("TSAN_OPTIONS");
    qputenv("TSAN_OPTIONS", checkerOptions + ":halt_on_error=0");
    const pid_t killed =
        jacktest::spawn(QStringLiteral(QZ62_BINARY_DIR "/src/app/qz62"),
                        {QStringLiteral("--simulator"), QStringLiteral("--instance"),
                         instanceName() + QStringLiteral("-killed"), list});
    if (checkerOptions.isEmpty())
        qunsetenv("TSAN_OPTIONS");
    else
        qputenv("TSAN_OPTIONS", checkerOptions);
    ASSERT_GT(killed, 0);
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/qz62/recovery");
    const bool copied = waitFor([&] { return !recoveryCopies(folder).isEmpty(); }, 30000);
    ::kill(killed, SIGKILL);
    jacktest::waitExit(killed, std::chrono::seconds(5));
    ASSERT_TRUE(copied);
    const QStringList left = recoveryCopies(folder);

    // The next start is the same program: its data folder.
    const QString testName = QCoreApplication::applicationName();
    QCoreApplication::setApplicationName(QStringLiteral("qz62"));
    AppStartup app;
    ASSERT_EQ(app.parse({QStringLiteral("qz62"), QStringLiteral("--simulator"),
                         QStringLiteral("--instance"), instanceName()}),
              AppStartup::Parse::Run);
    ASSERT_NO_FATAL_FAILURE(startHidden(app));
    CueWindows& cues = *app.window()->cueWindows();
    QStringList offered;
    cues.setRestoreQuestion([&](QWidget*, const CueRecovery::Orphan& copy) {
        offered << QStringLiteral("%1:%2").arg(copy.name).arg(copy.rows);
        return CueWindows::RestoreAnswer::Restore;
    });
    EXPECT_TRUE(waitFor([&] { return cues.windows().size() == 1; }, 5000));
    EXPECT_EQ(offered, QStringList{QStringLiteral("Untitled:1")});
    EXPECT_EQ(titles(cues), QStringList{QStringLiteral("Untitled:1")});
    if (!cues.windows().isEmpty()) {
        const CueDocument& doc = *cues.windows()[0]->document();
        EXPECT_TRUE(doc.isModified());
        EXPECT_EQ(doc.rows()[0].cueText, QStringLiteral("Car arrives"));
    }
    for (const QString& copy : left)
        EXPECT_FALSE(QFile::exists(copy)) << copy.toStdString();
    EXPECT_TRUE(alerts.shown.isEmpty()) << alerts.shown.join(u'\n').toStdString();
    app.shutDown();
    QCoreApplication::setApplicationName(testName);
}
