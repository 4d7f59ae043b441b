// The unit's updates end to end: the Update menu of the main window on the
// real serial link to the simulated unit, whose update side checks what the
// engines send.
#include "link/ComThread.h"
#include "panel/InhibitPing.h"
#include "panel/UpdateController.h"
#include "panel/view/UpdatePanel.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"
#include "update/MicroImage.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

namespace {

using testsupport::readFile;
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
// open panel with `file`.
struct UpdateApp {
    explicit UpdateApp(SimulatedUnit& unit) : sim(unit), app(unit.ptyPath()) {
        panel()->setFileChooser([this](const QString& title, const QString&) {
            // As a user takes a moment: the settings area has come back by now.
            if (title.contains(QLatin1String("Microcontroller")) && !sim.isSilent()) {
                waitFor([this] { return sim.commandLines().contains(QStringLiteral("A 1")); });
                QTest::qWait(100);
            }
            return file;
        });
    }
    PanelController& controller() { return app.controller(); }
    UpdatePanel* panel() { return app.window.updatePanel(); }
    QString label() { return app.find<QLabel>("labelUpdate")->text(); }
    bool finished() { return !controller().updates().isRunning() && !finals.isEmpty(); }
    void record() {
        QObject::connect(&controller().updates(), &UpdateController::finished,
                         [this](const QString& m) { finals << m; });
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

// With QZ62_UPDATE_SHOTS=dir, pictures of the window for a person to look at.
void shoot(QWidget& window, const char* name) {
    const QString dir = qEnvironmentVariable("QZ62_UPDATE_SHOTS");
    if (dir.isEmpty())
        return;
    window.resize(1000, 760);
    QDir().mkpath(dir);
    window.grab().save(QDir(dir).filePath(QString::fromLatin1(name) + ".png"));
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

// Bytes 0, 1, ... 15.
QByteArray counting() {
    QByteArray bytes;
    for (int i = 0; i < 16; ++i)
        bytes += char(i);
    return bytes;
}

// A small good program: one record at 0x8000 and the end record.
QByteArray smallProgram() {
    return (s1(0x8000, counting()) + "\nS9030000FC\n").toLatin1();
}

} // namespace

TEST(UpdateEndToEnd, MicroUpdateKeepsTheUnitsSettingsAndSendsTheImage) {
    UnitData data;

    // A program over the whole upper half, one row below it, erased rows and
    // a half-erased one, written by srec_cat as an upper-case .S19.
    QByteArray program = randomBytes(0x8010, 62);
    program.replace(0x10 + 0x100, 0x40, QByteArray(0x40, char(0xff)));
    program.replace(0x10 + 0x200, 8, QByteArray(8, char(0xff)));
    program.replace(0x10 + 0x7000, 0x100, QByteArray(0x100, char(0xff)));
    const QString bin = data.path("program.bin");
    const QString s19 = data.path("program.S19");
    ASSERT_TRUE(writeFile(bin, program));
    ASSERT_EQ(spawn({"srec_cat", bin, "-binary", "-offset", "0x7ff0", "-o", s19}), 0);

    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    u.record();
    ASSERT_TRUE(startUpSent(sim));
    u.file = s19;

    u.panel()->updateMicroAction()->trigger();
    if (waitFor([&] { return u.label().startsWith("micro download 4"); }))
        shoot(u.app.window, "update-running");
    ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs)) << u.label().toStdString();

    // What the unit must have been sent: the program from 0x8000 with the
    // unit's own settings (0x30 bytes at 0xfc00) over it, erased rows left out.
    QByteArray image = program.mid(0x10);
    image.replace(0xfc00 - 0x8000, 0x30, sim.settingsArea().left(0x30));
    QStringList expected;
    for (int offset = 0; offset < image.size(); offset += 16) {
        const QByteArray row = image.mid(offset, 16);
        if (row != QByteArray(16, char(0xff)))
            expected << s1(std::uint32_t(0x8000 + offset), row);
    }
    expected << QStringLiteral("S9030000FC");
    EXPECT_EQ(u.finals, QStringList{"success!"});
    EXPECT_EQ(u.label(), "success!");
    EXPECT_EQ(u.app.alerts.asked.size(), 1);
    EXPECT_TRUE(u.app.alerts.shown.isEmpty()) << u.app.alerts.shown.join('\n').toStdString();
    EXPECT_EQ(sim.bootLoaderBytes(), data.loader);
    const QStringList sent = sim.bootRecords();
    EXPECT_EQ(sent.size(), expected.size());
    EXPECT_EQ(sent, expected);
    u.expectLinkBack();
    shoot(u.app.window, "update-done");
}

enum class Run { Micro, Firmware };
enum class Unit { Answers, Silent, Unplugged }; // after start-up
const struct FailureCase {
    const char* name;
    Run run;
    SimBootLoader::Faults faults;
    Unit unit;
    const char* message;
} kFailureCases[] = {
    {"loader byte 10 echoed wrongly",
     Run::Micro,
     {.wrongEchoAt = 10},
     Unit::Answers,
     "preload failed"},
    {"erase not acknowledged",
     Run::Micro,
     {.noEraseAck = true},
     Unit::Answers,
     "FLASH erase failed, FLASH corrupted!"},
    {"record 3 refused",
     Run::Micro,
     {.nakRecordAt = 3},
     Unit::Answers,
     "update failed, FLASH corrupted!"},
    {"silent unit, the user aborts",
     Run::Micro,
     {},
     Unit::Silent,
     "operation aborted, cycle power and try again"},
    {"unplugged while the loader goes out", Run::Micro, {}, Unit::Unplugged, "preload failed"},
    {"firmware erase fails",
     Run::Firmware,
     {.noReady = true},
     Unit::Answers,
     "flash erase failed, try again"},
    {"transmission 1 echoed damaged",
     Run::Firmware,
     {.badEchoAt = 1},
     Unit::Answers,
     "echo failed, try again"},
    {"silent unit: no answer to the firmware start",
     Run::Firmware,
     {},
     Unit::Silent,
     "flash erase failed, try again"},
};

TEST(UpdateEndToEnd, EachFailureEndsWithItsMessageAndTheLinkComesBack) {
    UnitData data;
    const QString s19 = data.path("p.s19");
    ASSERT_TRUE(writeFile(s19, smallProgram()));
    const QString mcs = data.path("f.mcs");
    QByteArray lines;
    for (int i = 0; i < 30; ++i)
        lines += ":" + QByteArray(99, char('A' + i % 6)) + "\r\n";
    ASSERT_TRUE(writeFile(mcs, lines + ":00000001FF\r\n"));

    for (const FailureCase& c : kFailureCases) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        sim.setBootFaults(c.faults);
        UpdateApp u(sim);
        u.record();
        ASSERT_TRUE(startUpSent(sim));
        sim.setSilent(c.unit == Unit::Silent);
        if (c.unit == Unit::Unplugged)
            sim.setWireBaud(38400); // slow enough to pull the plug in the middle
        u.file = c.run == Run::Micro ? s19 : mcs;
        if (c.run == Run::Micro)
            u.panel()->updateMicroAction()->trigger();
        else
            u.panel()->updateFirmwareAction()->trigger();
        ASSERT_TRUE(u.controller().updates().isRunning());
        EXPECT_TRUE(u.panel()->abortButton()->isVisibleTo(&u.app.window));
        if (c.unit == Unit::Silent && c.run == Run::Micro) {
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
        EXPECT_EQ(u.label(), c.message);
        if (c.unit == Unit::Unplugged) // the link has its port back and finds it gone
            EXPECT_TRUE(waitFor(
                [&] { return u.controller().linkState() == PanelController::LinkState::Lost; }));
        else
            u.expectLinkBack();
    }
}

TEST(UpdateEndToEnd, FirmwareGoesOutInTransmissionsOfWholeLines) {
    // 600-character lines one per transmission, 100-character lines ten
    // (1000 packed plus 100 more is not below 1022); the end record joins the
    // last transmission.
    const struct {
        int length;
        int count;
        QList<int> perTransmission;
    } cases[] = {{600, 4, {1, 1, 1, 2}}, {100, 25, {10, 10, 6}}, {1021, 2, {1, 1, 1}}};
    UnitData data;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        QStringList lines;
        for (int i = 0; i < c.count; ++i)
            lines << ":" + QString(c.length - 1, QChar(u'0' + i % 10));
        lines << ":00000001FF";
        const QString mcs = data.path(QStringLiteral("fw%1.MCS").arg(c.length));
        ASSERT_TRUE(writeFile(mcs, lines.join("\r\n").toLatin1() + "\r\n"));
        QList<QByteArray> expected;
        qsizetype next = 0;
        for (int n : c.perTransmission) {
            expected << lines.mid(next, n).join(QString()).toLatin1();
            next += n;
        }

        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        UpdateApp u(sim);
        u.record();
        ASSERT_TRUE(startUpSent(sim));
        u.file = mcs;
        u.panel()->updateFirmwareAction()->trigger();
        ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs))
            << u.label().toStdString();
        EXPECT_EQ(u.finals, QStringList{"success!"});
        EXPECT_EQ(sim.firmwareTransmissions(), expected);
        u.expectLinkBack();
    }
}

enum class Action { Micro, Firmware, DefaultFirmware, DefaultMicro };

QAction* menuAction(UpdatePanel& panel, Action action) {
    switch (action) {
    case Action::Micro:
        return panel.updateMicroAction();
    case Action::Firmware:
        return panel.updateFirmwareAction();
    case Action::DefaultFirmware:
        return panel.defaultFirmwareAction();
    case Action::DefaultMicro:
        break;
    }
    return panel.defaultMicroAction();
}

TEST(UpdateEndToEnd, BadInputSaysWhyAndSendsNothing) {
    UnitData data;
    const QByteArray good = smallProgram();
    QByteArray damaged = good;
    damaged[s1(0x8000, counting()).size() - 1] ^= 1; // the checksum's last digit
    const QByteArray overlong = ":00\r\n:" + QByteArray(1500, 'A') + "\r\n";
    QFile huge(data.path("huge.s19"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(100 * 1024 * 1024));
    huge.close();
    QDir().mkpath(data.path("empty"));
    QDir().mkpath(data.path("short"));
    writeFile(data.path("short/loader.bin"), QByteArray(771, 'x'));

    const struct {
        const char* file;
        QByteArray content; // written unless empty
        Action action;
        const char* unitData; // subfolder of the unit's data, or none
        QString message;
    } cases[] = {
        {"p.hex", good, Action::Micro, nullptr, "select a file with .s19 extension"},
        {"f.bin", ":00000001FF\n", Action::Firmware, nullptr, "select a file with .mcs extension"},
        {"gone.s19", {}, Action::Micro, nullptr, "problem opening file, try again"},
        {"bad.s19", damaged, Action::Micro, nullptr,
         "Line 1 of bad.s19 is not a valid S-record (1 such lines)"},
        {"odd.s19", "S10480000\n" + good, Action::Micro, nullptr,
         "Line 1 of odd.s19 is not a valid S-record"},
        {"garbage.s19", randomBytes(4096, 9), Action::Micro, nullptr,
         "garbage.s19 is not a text file"},
        {"huge.s19", {}, Action::Micro, nullptr, "huge.s19 is 104857600 bytes, more than"},
        {"long.mcs", overlong, Action::Firmware, nullptr,
         "Line 2 of long.mcs is 1501 characters long"},
        {"p.s19", good, Action::Micro, "empty",
         "The unit's file loader.bin is missing. It comes with the unit's firmware: put it in "},
        {"p.s19", good, Action::Micro, "short", "the unit's loader is 772 bytes"},
        {"", {}, Action::DefaultFirmware, "empty", "The unit's file c192b.mcs is missing"},
        {"", {}, Action::DefaultMicro, "empty", "The unit's file c192b.sx is missing"},
    };

    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    u.record();
    ASSERT_TRUE(startUpSent(sim));
    UpdateController& updates = u.controller().updates();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message.toStdString());
        u.app.alerts.shown.clear();
        if (c.unitData)
            qputenv("QZ62_UNIT_DATA", data.path(c.unitData).toLocal8Bit());
        u.file = data.path(c.file);
        if (!c.content.isEmpty()) {
            ASSERT_TRUE(writeFile(u.file, c.content));
        }
        menuAction(*u.panel(), c.action)->trigger();
        qputenv("QZ62_UNIT_DATA", data.dir.path().toLocal8Bit());
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        const QString shown = u.app.alerts.shown.first();
        EXPECT_TRUE(shown.contains(c.message)) << shown.toStdString();
        // A missing file of the unit's says where it belongs.
        const bool missing = shown.contains(QLatin1String("is missing"));
        EXPECT_EQ(shown.contains(QDir::toNativeSeparators(data.path("empty"))), missing);
        EXPECT_FALSE(updates.isRunning());
    }
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
    EXPECT_TRUE(sim.bootRecords().isEmpty());
    EXPECT_TRUE(sim.firmwareTransmissions().isEmpty());
    EXPECT_FALSE(withoutPings(sim.commandLines()).contains("u 0"));
    u.expectLinkBack();
}

namespace {
// A network link that takes every string (the real one is a TCP stream).
struct TakingNetwork : NetworkSender {
    int sendStringToNetwork(const QString& s) override {
        sent << s;
        return connected ? 0 : -1;
    }
    int sendBytesToNetwork(const QByteArray&) override { return connected ? 0 : -1; }
    bool isOpen() const override { return connected; }
    QStringList sent;
    bool connected = true;
};
} // namespace

TEST(UpdateEndToEnd, NetworkUpdatesSendTheTextAfterUZero) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("fonts.mcs"), ":10000000\r\n:20000000\r\n:00000001FF\r\n"));
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    ASSERT_TRUE(startUpSent(sim));
    UpdateController& updates = u.controller().updates();
    StatusParser& parser = u.controller().parser();

    // No network link: nothing is sent, nothing is asked, the keep-alive runs.
    EXPECT_FALSE(u.panel()->defaultFontsAction()->isEnabled() == false);
    u.panel()->defaultFontsAction()->trigger();
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    EXPECT_TRUE(u.app.alerts.shown.isEmpty());
    EXPECT_FALSE(inhibitPing.load());

    TakingNetwork network;
    u.controller().comThread()->setNetworkSender(&network);
    u.panel()->defaultFontsAction()->trigger();
    EXPECT_EQ(u.app.alerts.asked.size(), 1);
    EXPECT_EQ(network.sent, QStringList({" u 0", ":10000000\n:20000000\n:00000001FF\n"}));
    EXPECT_EQ(parser.progressMaxCount(), 4);
    EXPECT_TRUE(inhibitPing.load());
    // The unit's count turns into a percentage of the lines: 50 of 200 is 25.
    network.sent.clear();
    QString text;
    for (int i = 0; i < 199; ++i)
        text += ":00\r\n";
    EXPECT_EQ(updates.sendUpdateToTarget(text), 0);
    parser.processRxString(QStringLiteral("u 50"));
    EXPECT_EQ(parser.progress().value, 25);
    parser.processRxString(QStringLiteral("u 0"));
    EXPECT_FALSE(inhibitPing.load());

    // Cancelled: nothing goes out.
    network.sent.clear();
    u.app.alerts.answerOk = false;
    u.panel()->defaultFontsAction()->trigger();
    EXPECT_TRUE(network.sent.isEmpty());
    u.controller().comThread()->setNetworkSender(nullptr);
}

TEST(MicroImage, KeepsTheSettingsOnlyWhenEveryRowCameBack) {
    const QString fileRow = s1(0xfc00, counting());
    const QStringList file = {fileRow, "S9030000FC"};
    QByteArray unit(256, char(0xff));
    for (int i = 0; i < 0x30; ++i)
        unit[i] = char(0x40 + i);
    const QString unitRow = s1(0xfc00, unit.left(16));
    const struct {
        const char* name;
        unsigned address, size;
        int missingRow; // set to 0xff, -1 none
        bool kept;
    } cases[] = {
        {"all rows and the one after", 0xfc00, 0x20, -1, true},
        {"a row never read", 0xfc00, 0x20, 1, false},
        {"the row after the area never read", 0xfc00, 0x30, -1, false},
        {"no area reported", 0xfc00, 0, -1, false},
        {"area elsewhere", 0xfd00, 0x20, -1, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SettingsArea area{unit, c.address, c.size};
        if (c.missingRow >= 0)
            area.bytes.replace(c.missingRow * 16, 16, QByteArray(16, char(0xff)));
        const MicroImage image = prepareMicroImage(file, area);
        EXPECT_EQ(image.settingsKept, c.kept);
        QStringList expected{c.kept ? unitRow : fileRow};
        if (c.kept)
            expected << s1(0xfc10, unit.mid(16, 16));
        expected << "S9030000FC";
        EXPECT_EQ(image.records, expected);
    }
}
