// The unit's updates end to end: the Update menu of the main window on the
// real serial and network links to the simulated unit, whose update side
// checks what the engines send.
#include "link/ComThread.h"
#include "panel/InhibitPing.h"
#include "panel/UpdateController.h"
#include "panel/view/NetworkPanel.h"
#include "panel/view/UpdatePanel.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QToolTip>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

namespace {

using testsupport::waitFor;
using testsupport::writeFile;

constexpr int kUpdateWaitMs = 60000;

QByteArray randomBytes(int count, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(count, '\0');
    for (char& b : bytes)
        b = char(random.bounded(256));
    return bytes;
}

// The unit's data folder for this test, with a loader made for the simulated unit.
struct UnitData {
    UnitData() {
        qputenv("QZ62_UNIT_DATA", dir.path().toLocal8Bit());
        loader = randomBytes(MicroUpdateThread::kLoaderBytes, 772);
        writeFile(path("loader.bin"), loader);
    }
    ~UnitData() { qunsetenv("QZ62_UNIT_DATA"); }
    QString path(const QString& name) const { return dir.filePath(name); }
    QTemporaryDir dir;
    QByteArray loader;
};

// The application on a started simulated unit, its Update menu answering the
// open panel with `file` after running `beforeChoosing`.
struct UpdateApp {
    explicit UpdateApp(SimulatedUnit& unit, const QString& networkHost = QString())
        : sim(unit), app(unit.ptyPath(), kQuietTickMs, networkHost) {
        panel()->setFileChooser([this](const QString& title, const QString&) {
            chosen << title;
            if (beforeChoosing)
                beforeChoosing();
            return file;
        });
        QObject::connect(&controller().updates(), &UpdateController::finished,
                         [this](const QString& m) { finals << m; });
    }
    PanelController& controller() { return app.controller(); }
    UpdateController& updates() { return controller().updates(); }
    UpdatePanel* panel() { return app.window.updatePanel(); }
    QString label() { return app.find<QLabel>("labelUpdate")->text(); }
    bool progressShown() { return app.find<QWidget>("labelUpdate")->isVisibleTo(&app.window); }
    bool finished() { return !updates().isRunning() && !finals.isEmpty(); }
    // The user picks the file once the unit's settings are in.
    void chooseAfterTheSettings() {
        beforeChoosing = [this] {
            EXPECT_TRUE(waitFor([this] { return sim.commandLines().contains("A 1"); }));
        };
    }
    // The link has its port back at 38400 baud, runs, and the keep-alive is on.
    void expectLinkBack() {
        ComThread* link = controller().comThread();
        EXPECT_EQ(link->getBaud(), 38400);
        EXPECT_TRUE(link->isRunning());
        EXPECT_FALSE(inhibitPing.load());
        EXPECT_FALSE(panel()->abortButton()->isVisibleTo(&app.window));
    }
    SimulatedUnit& sim;
    App app;
    QString file;
    std::function<void()> beforeChoosing;
    QStringList chosen; // titles of the open panels shown
    QStringList finals;
};

// Runs a program and returns its exit status (-1 when it did not run). Not
// through QProcess, whose start confuses the thread checker's view of locks
// in a process that already has threads.
int spawn(const QStringList& args) {
    std::vector<QByteArray> bytes;
    for (const QString& a : args)
        bytes.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
        return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// srec_cat's S-records of bytes placed at address (extra: its options).
QByteArray srecCat(const UnitData& data, const QByteArray& bytes, unsigned address,
                   const QStringList& extra = {}) {
    const QString bin = data.path("srec-in.bin");
    const QString out = data.path("srec-out.s19");
    EXPECT_TRUE(writeFile(bin, bytes));
    EXPECT_EQ(spawn(QStringList{"srec_cat", bin, "-binary", "-offset",
                                QStringLiteral("0x%1").arg(address, 0, 16), "-o", out} +
                    extra),
              0);
    return testsupport::readFile(out);
}

// With QZ62_UPDATE_SHOTS=dir, pictures of the window for a person to look at.
void shoot(QWidget& window, const char* name) {
    const QString dir = qEnvironmentVariable("QZ62_UPDATE_SHOTS");
    if (dir.isEmpty())
        return;
    window.resize(1000, 760);
    QDir().mkpath(dir);
    window.grab().save(QDir(dir).filePath(QString::fromLatin1(name) + ".png"));
}

// The same for the Update menu as it drops down, and the tooltip of its
// firmware item beside it.
void shootMenu(QWidget& window, QAction* item) {
    const QString dir = qEnvironmentVariable("QZ62_UPDATE_SHOTS");
    auto* menu = window.findChild<QMenu*>(QStringLiteral("menuUpdate"));
    if (dir.isEmpty() || !menu)
        return;
    QDir().mkpath(dir);
    menu->popup(QPoint(0, 0));
    QToolTip::showText(menu->actionGeometry(item).topRight(), item->toolTip(), menu);
    QImage picture(900, menu->sizeHint().height() + 40, QImage::Format_ARGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    menu->render(&painter);
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->inherits("QTipLabel") && w->isVisible())
            w->render(&painter, QPoint(menu->sizeHint().width() + 8, 8));
    painter.end();
    picture.save(QDir(dir).filePath(QStringLiteral("update-menu.png")));
    QToolTip::hideText();
    menu->hide();
}

// S1 text of 16 bytes, built here independently of SRecord.
QString s1(std::uint32_t address, const QByteArray& data) {
    QByteArray body =
        QByteArray(1, char(data.size() + 3)) + char(address >> 8) + char(address) + data;
    unsigned sum = 0;
    for (char b : body)
        sum += uchar(b);
    body += char(~sum & 0xff);
    return QStringLiteral("S1") + QString::fromLatin1(body.toHex().toUpper());
}

// A small good program: one record at 0x8000 and the end record.
QByteArray smallProgram() {
    return (s1(0x8000, QByteArray::fromHex("000102030405060708090a0b0c0d0e0f")) + "\nS9030000FC\n")
        .toLatin1();
}

// The records the unit must receive for a program from 0x8000: the unit's
// own settings (size bytes at 0xfc00) over it, erased rows left out.
QStringList expectedRecords(const QByteArray& program, const QByteArray& settings) {
    QByteArray image = program;
    image.replace(0xfc00 - 0x8000, settings.size(), settings);
    QStringList records;
    for (int offset = 0; offset < image.size(); offset += 16) {
        const QByteArray row = image.mid(offset, 16);
        if (row != QByteArray(16, char(0xff)))
            records << s1(std::uint32_t(0x8000 + offset), row);
    }
    return records << QStringLiteral("S9030000FC");
}

} // namespace

TEST(UpdateEndToEnd, MicroUpdateKeepsEveryRowOfTheUnitsSettings) {
    UnitData data;
    // A program over the whole upper half with erased rows and a half-erased
    // one, written by srec_cat; one copy as an upper-case .S19 with blank
    // lines and an end-of-file character at its end.
    QByteArray program = randomBytes(0x8000, 62);
    program.replace(0x100, 0x40, QByteArray(0x40, char(0xff)));
    program.replace(0x200, 8, QByteArray(8, char(0xff)));
    program.replace(0x7000, 0x100, QByteArray(0x100, char(0xff)));
    const QByteArray s19 = srecCat(data, program, 0x8000);
    ASSERT_TRUE(writeFile(data.path("program.S19"), s19 + "\r\n\r\n \t\r\n\x1a"));
    ASSERT_TRUE(writeFile(data.path("plain.s19"), s19));

    // The unit's size, the rows it is asked for; the row after the settings
    // reads all 0xff, as on a unit whose FLASH past them is erased.
    const struct {
        int size;
        const char* file;
        QStringList rows;
    } cases[] = {{0x30, "program.S19", {"j fc00", "j fc10", "j fc20"}},
                 {0x40, "plain.s19", {"j fc00", "j fc10", "j fc20", "j fc30"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        sim.setSettingsSize(c.size);
        UpdateApp u(sim);
        ASSERT_TRUE(startUpSent(sim));
        sim.clearRecord();
        u.file = data.path(c.file);

        u.panel()->updateMicroAction()->trigger();
        if (waitFor([&] { return u.label().startsWith("micro download 4"); }))
            shoot(u.app.window, "update-running");
        ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs))
            << u.label().toStdString();

        const QStringList sent = QStringList{"k"} + c.rows + QStringList{"A 1", "L"};
        EXPECT_EQ(withoutPings(sim.commandLines()), sent);
        EXPECT_EQ(u.finals, QStringList{"success!"});
        EXPECT_EQ(u.label(), "success!");
        EXPECT_EQ(u.app.find<QProgressBar>("progressBarUpdate")->value(), 100);
        ASSERT_EQ(u.app.alerts.asked.size(), 1);
        EXPECT_TRUE(u.app.alerts.asked.first().contains(
            QStringLiteral("settings (%1 bytes at fc00) are kept").arg(c.size)));
        EXPECT_TRUE(u.app.alerts.shown.isEmpty()) << u.app.alerts.shown.join('\n').toStdString();
        EXPECT_EQ(sim.bootLoaderBytes(), data.loader);
        EXPECT_EQ(sim.bootRecords(), expectedRecords(program, sim.settingsArea().left(c.size)));
        u.expectLinkBack();
        shoot(u.app.window, "update-done");
    }
}

TEST(UpdateEndToEnd, MicroUpdateReadsTheSerialUnitWhileTheNetworkLinkIsOpen) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    SimulatedUnit sim;
    ASSERT_NE(sim.listenTcp(), 0);
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim, QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort()));
    ASSERT_TRUE(waitFor([&] { return u.updates().hasNetworkLink(); }));
    ASSERT_TRUE(waitFor([&] { return sim.commandLines().count("t") == 2; })); // both start-ups
    sim.clearRecord();
    u.file = data.path("p.s19");
    u.panel()->updateMicroAction()->trigger();
    ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs)) << u.label().toStdString();
    EXPECT_EQ(u.finals, QStringList{"success!"});
    for (const SimProtocol::Command& c : sim.commands())
        EXPECT_EQ(c.channel, SimProtocol::kSerialChannel) << c.line.toStdString();
    EXPECT_EQ(sim.bootRecords().size(), 5); // the program, three rows of settings, the end
}

namespace {
enum class Unit { Answers, SilentOnceRead, Unplugged };
const struct FailureCase {
    const char* name;
    SimBootLoader::Faults faults;
    Unit unit;
    const char* message;
    const char* nextStep;
} kFailureCases[] = {
    {"loader byte 10 echoed wrongly",
     {.wrongEchoAt = 10},
     Unit::Answers,
     "preload failed",
     "program is unchanged"},
    {"erase not acknowledged",
     {.noEraseAck = true},
     Unit::Answers,
     "FLASH erase failed, FLASH corrupted!",
     "may be erased"},
    {"record 3 refused",
     {.nakRecordAt = 3},
     Unit::Answers,
     "update failed, FLASH corrupted!",
     "part of the new program"},
    {"silent unit, the user aborts",
     {},
     Unit::SilentOnceRead,
     "operation aborted, cycle power and try again",
     "may have no working program"},
    {"unplugged while the loader goes out",
     {},
     Unit::Unplugged,
     "preload failed",
     "connection went away"},
};
} // namespace

TEST(UpdateEndToEnd, AFailureStaysInSightAndTheLinkWaitsForConnect) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    for (const FailureCase& c : kFailureCases) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        sim.setBootFaults(c.faults);
        UpdateApp u(sim);
        ASSERT_TRUE(startUpSent(sim));
        u.chooseAfterTheSettings();
        if (c.unit == Unit::SilentOnceRead)
            u.beforeChoosing = [&, read = u.beforeChoosing] {
                read();
                sim.setSilent(true);
            };
        if (c.unit == Unit::Unplugged)
            sim.setWireBaud(38400); // slow enough to pull the plug in the middle
        u.file = data.path("p.s19");
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(u.updates().isRunning());
        EXPECT_TRUE(u.panel()->abortButton()->isVisibleTo(&u.app.window));
        if (c.unit == Unit::SilentOnceRead) {
            ASSERT_TRUE(waitFor([&] { return u.label() == "initializing update, stand by..."; }));
            u.panel()->abortButton()->click();
        }
        if (c.unit == Unit::Unplugged) {
            ASSERT_TRUE(waitFor([&] { return u.label().startsWith("micro preload 2"); }));
            sim.unplug();
        }
        ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs))
            << u.label().toStdString();
        EXPECT_EQ(u.finals, QStringList{c.message});

        // The failure stays on the Unit tab, an alert says what to do next,
        // and the banner asks for a power cycle.
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        EXPECT_TRUE(
            u.app.alerts.shown.first().startsWith(QStringLiteral("Update failed: ") + c.message));
        EXPECT_TRUE(u.app.alerts.shown.first().contains(QLatin1String(c.nextStep)));
        for (int tick = 0; tick < 2 * PanelController::kPingTicks; ++tick)
            u.controller().timer_service();
        EXPECT_TRUE(u.progressShown());
        EXPECT_EQ(u.label(), c.message);
        EXPECT_EQ(u.controller().linkState(), PanelController::LinkState::UpdateFailed);
        EXPECT_EQ(u.app.window.panel()->linkStateText(),
                  "Update failed: power-cycle the unit, then Connect");
        if (c.unit == Unit::Answers)
            shoot(u.app.window, "update-failed");
        // Nothing, not even a ping, goes into the unit's loader.
        EXPECT_FALSE(u.controller().comThread()->isRunning());
        EXPECT_EQ(u.controller().unansweredPings(), 0);
        EXPECT_FALSE(inhibitPing.load());
        EXPECT_FALSE(u.panel()->abortButton()->isVisibleTo(&u.app.window));

        // Power cycled: Connect finds the unit and the failure goes.
        sim.setSilent(false);
        sim.powerCycle();
        EXPECT_EQ(u.controller().reconnect(), c.unit != Unit::Unplugged);
        u.controller().timer_service();
        EXPECT_FALSE(u.progressShown());
        if (c.unit != Unit::Unplugged)
            u.expectLinkBack();
    }
}

TEST(UpdateEndToEnd, MicroRefusalsSayWhyBeforeAnythingReachesTheLoader) {
    UnitData data;
    const QByteArray good = smallProgram();
    QByteArray damaged = good;
    damaged[good.indexOf('\n') - 1] ^= 1; // the checksum's last digit
    QFile huge(data.path("huge.s19"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(100 * 1024 * 1024));
    huge.close();
    QDir().mkpath(data.path("empty"));
    QDir().mkpath(data.path("short"));
    writeFile(data.path("short/loader.bin"), QByteArray(771, 'x'));
    const QByteArray program = randomBytes(0x100, 7);

    const struct {
        const char* file;
        QByteArray content;   // written unless empty
        const char* unitData; // subfolder of the unit's data, or none
        int unreadableRow;    // a settings row the unit answers damaged, or -1
        QString message;
    } cases[] = {
        {"p.hex", good, nullptr, -1, "select a file with .s19 extension"},
        {"gone.s19", {}, nullptr, -1, "problem opening file, try again"},
        {"bad.s19", damaged, nullptr, -1,
         "Line 1 of bad.s19 is not a valid S-record (1 such lines)"},
        {"garbage.s19", randomBytes(4096, 9), nullptr, -1, "garbage.s19 is not a text file"},
        {"huge.s19", {}, nullptr, -1, "huge.s19 is 104857600 bytes, more than"},
        {"wide.s19", srecCat(data, program, 0x8000, {"-Address_Length=3"}), nullptr, -1,
         "wide.s19 holds no program for the unit: no S1 data between 8000 and fc00"},
        {"settings.s19", srecCat(data, program.left(0x40), 0xfc00), nullptr, -1,
         "settings.s19 holds no program"},
        {"low.s19", srecCat(data, program, 0x1000), nullptr, -1, "low.s19 holds no program"},
        {"p.s19", good, "empty", -1,
         "The unit's file loader.bin is missing. It comes with the unit's firmware: put it in "},
        {"p.s19", good, "short", -1, "the unit's loader is 772 bytes"},
        {"p.s19", good, nullptr, 0xfc10, "no good answer to \"j fc10\""},
    };

    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    ASSERT_TRUE(startUpSent(sim));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message.toStdString());
        u.app.alerts.shown.clear();
        u.finals.clear();
        sim.clearRecord();
        sim.setUnreadableRow(c.unreadableRow);
        if (c.unitData)
            qputenv("QZ62_UNIT_DATA", data.path(c.unitData).toLocal8Bit());
        u.file = data.path(c.file);
        if (!c.content.isEmpty()) {
            ASSERT_TRUE(writeFile(u.file, c.content));
        }
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(waitFor([&] { return !u.finals.isEmpty() && !u.updates().isRunning(); },
                            2 * UpdateController::kSettingsWaitMs));
        qputenv("QZ62_UNIT_DATA", data.dir.path().toLocal8Bit());
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        const QString shown = u.app.alerts.shown.first();
        EXPECT_TRUE(shown.contains(c.message)) << shown.toStdString();
        EXPECT_TRUE(shown.endsWith("Nothing was sent.") || shown.contains("select a file") ||
                    shown.contains("problem opening"))
            << shown.toStdString();
        // A missing file of the unit's says where it belongs.
        const bool missing = shown.contains(QLatin1String("is missing"));
        EXPECT_EQ(shown.contains(QDir::toNativeSeparators(data.path("empty"))), missing);
        // The settings are read while the file is chosen, "A 1" after them;
        // settings that did not all come back keep even that from the unit.
        if (c.unreadableRow < 0)
            EXPECT_TRUE(waitFor([&] { return sim.commandLines().contains("A 1"); }));
        else
            EXPECT_FALSE(sim.commandLines().contains("A 1"));
    }
    sim.setUnreadableRow(-1);
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
    EXPECT_TRUE(sim.bootRecords().isEmpty());
    u.expectLinkBack();
}

TEST(UpdateEndToEnd, MicroUpdateNeedsAUnitThatAnswersOnTheSerialPort) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    const struct {
        const char* name;
        bool unitThere;
        QString message;
    } cases[] = {
        {"no unit on the serial port", false, "No unit is connected on a USB-serial port"},
        {"the unit says nothing to \"k\"", true, "no answer to \"k\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        if (!c.unitThere)
            sim.setFailIdentification(true);
        UpdateApp u(sim);
        ASSERT_TRUE(waitFor(
            [&] { return u.controller().linkState() != PanelController::LinkState::Idle; }));
        sim.setSilent(c.unitThere);
        u.file = data.path("p.s19");
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(waitFor([&] { return !u.finals.isEmpty() && !u.updates().isRunning(); },
                            2 * UpdateController::kSettingsWaitMs));
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        EXPECT_TRUE(u.app.alerts.shown.first().contains(c.message))
            << u.app.alerts.shown.first().toStdString();
        // Without a unit the file is not even asked for.
        EXPECT_EQ(u.chosen.size(), c.unitThere ? 1 : 0);
        EXPECT_TRUE(u.app.alerts.asked.isEmpty());
        EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
    }
}

namespace {
QAction* networkAction(UpdatePanel& panel, int i) {
    QAction* const actions[] = {panel.defaultMicroAction(), panel.updateFirmwareAction(),
                                panel.defaultFirmwareAction(), panel.defaultFontsAction()};
    return actions[i];
}
} // namespace

TEST(UpdateEndToEnd, FirmwareAndFontsNeedTheNetworkLinkAndSayWhy) {
    UnitData data;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    ASSERT_TRUE(startUpSent(sim));
    for (int i = 0; i < 4; ++i) {
        QAction* action = networkAction(*u.panel(), i);
        SCOPED_TRACE(action->text().toStdString());
        EXPECT_FALSE(action->isEnabled());
        EXPECT_TRUE(action->toolTip().startsWith("Needs the network link"));
        action->trigger(); // a disabled item does nothing
    }
    EXPECT_TRUE(u.panel()->updateMicroAction()->isEnabled());
    shootMenu(u.app.window, u.panel()->updateFirmwareAction());
    EXPECT_TRUE(u.chosen.isEmpty());
    EXPECT_TRUE(u.app.alerts.shown.isEmpty());
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    // Asked for all the same (a stale menu), the update says what it needs.
    EXPECT_FALSE(u.updates().defaultFontUpdate());
    ASSERT_EQ(u.app.alerts.shown.size(), 1);
    EXPECT_TRUE(u.app.alerts.shown.first().startsWith("No network link is open"));
    EXPECT_FALSE(inhibitPing.load());
    EXPECT_FALSE(withoutPings(sim.commandLines()).contains("u 0"));
}

TEST(UpdateEndToEnd, FirmwareGoesToTheNetworkProxyAfterAOne) {
    UnitData data;
    // 250 lines, one of them longer than the serial engine could take.
    QByteArray image;
    for (int i = 0; i < 248; ++i)
        image += ":10000000000102030405060708090A0B0C0D0E0F00\r\n";
    image += ":" + QByteArray(1500, 'A') + "\r\n:00000001FF\r\n";
    ASSERT_TRUE(writeFile(data.path("f.MCS"), image));
    ASSERT_TRUE(writeFile(data.path("f.bin"), image));

    SimulatedUnit sim;
    ASSERT_NE(sim.listenTcp(), 0);
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim, QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort()));
    ASSERT_TRUE(waitFor([&] { return networkAction(*u.panel(), 1)->isEnabled(); }));
    EXPECT_FALSE(networkAction(*u.panel(), 1)->toolTip().startsWith("Needs"));
    ASSERT_TRUE(waitFor([&] { return sim.commandLines().count("t") == 2; }));
    sim.clearRecord();

    // "A 1" reaches the unit before the file is chosen, even when none is.
    u.beforeChoosing = [&] {
        EXPECT_TRUE(waitFor([&] { return sim.commandLines().contains("A 1"); }));
    };
    u.file.clear();
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.chosen.size(), 1);
    u.file = data.path("f.bin");
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.app.alerts.shown.value(0), "select a file with .mcs extension");
    u.app.alerts.answerOk = false;
    u.file = data.path("f.MCS");
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.app.alerts.asked.size(), 1);
    EXPECT_EQ(sim.networkUpdatesDone(), 0);

    u.app.alerts.answerOk = true;
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_TRUE(inhibitPing.load());
    ASSERT_TRUE(waitFor([&] { return sim.networkUpdatesDone() == 1; }, kUpdateWaitMs));
    EXPECT_EQ(sim.networkUpdateRecords(), 250);
    // The unit's "u 0" ends it: the alert of the Part, and the keep-alive again.
    ASSERT_TRUE(waitFor([&] { return !inhibitPing.load(); }));
    EXPECT_EQ(u.app.alerts.shown.last(),
              "close the GUI, wait for QZ62A reset to finish, restart GUI");
    for (const SimProtocol::Command& c : sim.commands())
        EXPECT_NE(c.channel, SimProtocol::kSerialChannel) << c.line.toStdString();
}
