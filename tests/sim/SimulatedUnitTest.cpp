#include "sim/SimulatedUnit.h"
#include "protocol/Coding78.h"
#include "sim/SimProtocol.h"
#include "support/LinkTestSupport.h"

#include <QTcpSocket>
#include <condition_variable>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mutex>
#include <termios.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

using Clock = SimProtocol::Clock;

// What the unit sends back for one command line (echo, answer, prompt).
QByteArray exchange(SimProtocol& unit, const QByteArray& command,
                    Clock::time_point now = Clock::now()) {
    return unit.feed(command + "\r\n", now);
}

TEST(SimProtocol, AnswersQueriesInTheSettingsOwnForm) {
    struct Case {
        QByteArray command;
        QByteArray reply;
    };
    const Case cases[] = {
        {"C", "C\r\nC 0 28 0 64 0 ff ff 0\r\n>"},
        {"H 1 2 3 4 5", "H 1 2 3 4 5\r\n>"},
        {"H", "H\r\nH 1 2 3 4 5\r\n>"},
        {"r 1", "r 1\r\nr 48 10 10 112 1\r\n>"},
        {"r 32 20 30 7 1", "r 32 20 30 7 1\r\n>"},
        {"r 1", "r 1\r\nr 32 20 30 7 1\r\n>"},
        {"k", "k\r\nk fc00 30 3.32.6\r\n>"},
        {"B", "B\r\nQZ62A C190 firmware 3.32.6\r\n>"},
        {"j fc00", "j fc00\r\nj fc00 0b 30 55 7a 9f c4 e9 0e 33 58 7d a2 c7 ec 11 36\r\n>"},
        {"ping", "ping\r\n>"},
        {"w 1", "w 1\r\n>"},
        {"H", "H\r\nH 10 10 0 0 50\r\n>"}, // back to the defaults
    };
    SimProtocol unit;
    for (const Case& c : cases)
        EXPECT_EQ(exchange(unit, c.command), c.reply) << c.command.constData();
}

TEST(SimProtocol, RecordsMidiAndKeepsLinesWhole) {
    SimProtocol unit;
    const QByteArray sysex = QByteArray("\xF0\x20\x01", 3) +
                             coding78::encode78(QByteArray("Hit \xe9", 5)) +
                             QByteArray(1, char(0xF7));
    // A command split around raw MIDI stays one line.
    EXPECT_TRUE(unit.feed("s Bar", Clock::now()).isEmpty());
    unit.feed(QByteArray("\x90\x7c\x40", 3) + sysex, Clock::now());
    EXPECT_EQ(unit.feed(" 12\r\n", Clock::now()), QByteArray("s Bar 12\r\n>"));
    ASSERT_EQ(unit.triggers().size(), 1);
    EXPECT_EQ(unit.triggers().first().note, 124);
    ASSERT_EQ(unit.sysexTexts().size(), 1);
    EXPECT_EQ(unit.sysexTexts().first(), QStringLiteral("Hit \u00e9"));
    EXPECT_EQ(unit.cueText(), QStringLiteral("Bar 12"));
}

TEST(SimProtocol, StartsNoFirmwareUpdateOnTheSerialLineUnlessATestNamesTheStart) {
    const Clock::time_point t0 = Clock::now();
    const struct {
        const char* name;
        QString testStart;
        QByteArray command;
        bool starts;
    } cases[] = {
        {"the network proxy's start on the serial line", QString(), " u 0", false},
        {"a test's own start", QStringLiteral("fw-test"), "fw-test", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimProtocol unit;
        unit.bootLoader().setFirmwareStartCommand(c.testStart);
        EXPECT_EQ(exchange(unit, c.command, t0), c.command + "\r\n>");
        EXPECT_EQ(unit.bootLoader().active(), c.starts);
        EXPECT_EQ(unit.tick(t0 + 2s).bytes, c.starts ? QByteArray("ready\r\n") : QByteArray());
    }
}

TEST(SimProtocol, NetworkUpdateFaultsDropTheConnectionOrSilenceTheUnit) {
    const Clock::time_point t0 = Clock::now();
    const QByteArray records = QByteArray(":00\n").repeated(250);
    const struct {
        const char* name;
        SimNetworkUpdate::Faults faults;
        QByteArray reports; // what the unit says for 250 records and a quiet end
        bool hangUp;
    } cases[] = {
        {"no fault", {}, "u 100\r\n>u 200\r\n>u 250\r\nu 0\r\n>", false},
        {"stalls after 150", {.stallAfter = 150}, "u 100\r\n>", false},
        {"drops after 120", {.dropAfter = 120}, "u 100\r\n>", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimProtocol unit;
        unit.setNetworkFaults(c.faults);
        EXPECT_TRUE(unit.feed(" u 0\n", t0, 1).isEmpty());
        QByteArray said = unit.feed(records, t0, 1);
        EXPECT_EQ(unit.takeHangUp(1), c.hangUp);
        said += unit.tick(t0 + 1s).bytes;
        EXPECT_EQ(said, c.reports);
    }
}

TEST(SimProtocol, ReportsTheSettingsSizeAndCanDamageARow) {
    SimProtocol unit;
    unit.setSettingsSize(0x40);
    unit.setUnreadableRow(0xfc10);
    EXPECT_EQ(exchange(unit, "k"), "k\r\nk fc00 40 3.32.6\r\n>");
    EXPECT_EQ(exchange(unit, "j fc30"),
              "j fc30\r\nj fc30 fb 20 45 6a 8f b4 d9 fe 23 48 6d 92 b7 dc 01 26\r\n>");
    EXPECT_EQ(exchange(unit, "j fc40"),
              "j fc40\r\nj fc40 ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff\r\n>");
    EXPECT_EQ(exchange(unit, "j fc10"),
              "j fc10\r\nj fc10 5b 80 a5 ca ef 14 39 5e 83 a8 cd f2 17\r\n>");
}

TEST(SimulatedUnit, EmulatedWireSpeedDelaysEveryByte) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    sim.setWireBaud(38400);
    const int fd = ::open(sim.ptyPath().toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios raw{};
    ::cfmakeraw(&raw);
    ::tcsetattr(fd, TCSANOW, &raw);
    const QByteArray line = "s " + QByteArray(94, 'x') + "\r\n"; // 98 bytes: 25.5 ms
    const Clock::time_point sent = Clock::now();
    ASSERT_EQ(::write(fd, line.constData(), size_t(line.size())), line.size());
    ASSERT_TRUE(linktest::waitFor([&] { return sim.commands().size() == 1; }));
    // The line is complete when its CR has arrived: 97 bytes of 10 bits.
    EXPECT_GE(sim.commands().first().time - sent, 97 * 10 * 1000000us / 38400);
    ::close(fd);
}

TEST(SimulatedUnit, ServesTheSameUnitOverTcp) {
    SimulatedUnit sim;
    const quint16 port = sim.listenTcp();
    ASSERT_NE(port, 0);
    ASSERT_TRUE(sim.start());
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    ASSERT_TRUE(socket.waitForConnected(2000));
    socket.write("Q 1\nQ\n");
    QByteArray received;
    ASSERT_TRUE(linktest::waitFor([&] {
        received += socket.readAll();
        return received.contains("Q 1\r\n>Q\r\nQ 1\r\n>");
    }));
    EXPECT_EQ(sim.setting(QStringLiteral("Q")), QStringLiteral("1"));
    EXPECT_EQ(sim.commandLines(), (QStringList{"Q 1", "Q"}));
}

} // namespace

namespace {

// What the picture is made of: the text line follows whichever of "s", "V"
// and a cue text message came last, and the triggers keep their count and
// arrival time however many the unit has forgotten.
TEST(SimProtocol, SnapshotHoldsWhatThePictureShows) {
    SimProtocol unit;
    const Clock::time_point t0 = Clock::now();
    exchange(unit, "s first cue", t0);
    EXPECT_EQ(unit.snapshot().textLine, QStringLiteral("first cue"));
    const QByteArray text = coding78::encode78("s 12\\nHello");
    unit.feed(QByteArray("\xf0\x20\x01", 3) + text + QByteArray(1, char(0xf7)), t0);
    EXPECT_EQ(unit.snapshot().textLine, QStringLiteral("12\\nHello"));
    exchange(unit, "V Sample Text", t0);
    exchange(unit, "V2 1|1|000", t0);
    UnitSnapshot shot = unit.snapshot();
    EXPECT_EQ(shot.textLine, QStringLiteral("Sample Text"));
    EXPECT_EQ(shot.counterText, QStringLiteral("1|1|000"));

    for (int i = 0; i < UnitSnapshot::kKeptTriggers + 6; ++i)
        unit.feed(QByteArray("\x90\x7c\x40", 3), t0 + std::chrono::milliseconds(i));
    unit.clearRecord(); // the test record, not the picture
    shot = unit.snapshot();
    EXPECT_EQ(shot.triggerCount, std::uint64_t(UnitSnapshot::kKeptTriggers + 6));
    ASSERT_EQ(shot.triggers.size(), UnitSnapshot::kKeptTriggers);
    EXPECT_EQ(shot.triggers.last().note, 124);
    EXPECT_EQ(shot.triggers.last().time,
              t0 + std::chrono::milliseconds(UnitSnapshot::kKeptTriggers + 5));
    exchange(unit, "C 1 2 3 4 5 6 7 8", t0);
    EXPECT_EQ(unit.snapshot().settings.value(QStringLiteral("C")),
              QStringLiteral("1 2 3 4 5 6 7 8"));
}

// The serving thread tells its listener about a trigger that arrived on
// the terminal.
TEST(SimulatedUnit, TellsItsListenerOfChanges) {
    SimulatedUnit sim;
    std::mutex lock;
    std::condition_variable told;
    int notices = 0;
    sim.setChangeListener([&] {
        std::lock_guard<std::mutex> guard(lock);
        ++notices;
        told.notify_all();
    });
    ASSERT_TRUE(sim.start());
    const int fd = ::open(sim.ptyPath().toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "\x90\x78\x40", 3), 3);
    {
        std::unique_lock<std::mutex> guard(lock);
        EXPECT_TRUE(told.wait_for(guard, 10s, [&] { return notices > 0; }));
    }
    EXPECT_EQ(sim.snapshot().triggers.value(0).note, 120);
    sim.setChangeListener({});
    ::close(fd);
    sim.stop();
}

} // namespace
