// MIDI Time Code from `qz62ctl mtc` over a real JACK server into the MIDI
// input, cues fired through the real link to the simulated unit: every cue's
// trigger arrives once, on its frame, and its text follows; a HUI ping on the
// same input is answered on the chosen output.
#include "cues/CueFiring.h"
#include "cues/CueSheet.h"
#include "link/ComThread.h"
#include "midi/MidiController.h"
#include "midi/MtcGenerator.h"
#include "sim/SimulatedUnit.h"
#include "support/JackServer.h"
#include "support/LinkTestSupport.h"

#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>

#if defined(__SANITIZE_THREAD__)
// JACK's lock-free ring buffer (between our MIDI sends and its process
// thread) orders its reads and writes with barriers the thread checker cannot
// see; the checker looks for this in the program itself.
extern "C" const char* __tsan_default_suppressions() {
    return "race:jack_ringbuffer_\n";
}
#endif

namespace {

using linktest::waitFor;

// How long each rate plays: long enough for a few dozen cues across several
// minute-free second boundaries, short enough for the suite.
constexpr int kPlaySeconds = 20;
constexpr int kCueSpacingFrames = 23;

// Timecode of a frame count; drop frame counted the way the time code
// standard counts it (not the unit's decomposition).
QString tcOf(int frames, int type) {
    if (type != 2)
        return TcCalculator().binaryToTc(frames, type);
    const int n = frames + 18 * (frames / 17982) +
                  (frames % 17982 < 2 ? 0 : 2 * ((frames % 17982 - 2) / 1798));
    return TcCalculator::formatTc(n / 108000, n / 1800 % 60, n / 30 % 60, n % 30);
}

struct Rate {
    const char* name;
    int type;
};

void PrintTo(const Rate& rate, std::ostream* os) {
    *os << rate.name << " fps";
}

class MtcEndToEnd : public ::testing::TestWithParam<Rate> {};

TEST_P(MtcEndToEnd, CuesFireOnceOnTheirFrames) {
    const Rate rate = GetParam();
    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";

    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    linktest::Receiver owner;
    ComThread link;
    link.setDriverCheckEnabled(false);
    link.setPort(sim.ptyPath());
    ASSERT_EQ(link.openUsbSerial(), 0);
    link.startThread(&owner);

    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("midi.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    midi.awakeFromNib();
    ASSERT_EQ(midi.apiName(), QStringLiteral("JACK"));
    midi.setExactDropFrame(rate.type == 2);

    // Cues from two seconds in, a little under a second apart, at varying
    // places in the second; each fires its streamer lead before its in time.
    const TcCalculator tcc;
    const int start = tcc.tcToBinary(QStringLiteral("01:00:00:00"), rate.type);
    const int fps = TcCalculator::frameRate(rate.type);
    CueSheet sheet;
    const int lead = sheet.leadFrames(rate.type);
    std::vector<int> triggerFrames;
    for (int f = start + 2 * fps; f < start + (kPlaySeconds - 1) * fps; f += kCueSpacingFrames) {
        CueItem item = CueItem::blank();
        item.cueId = QString::number(triggerFrames.size() + 1);
        item.cueText = QStringLiteral("cue at %1").arg(tcOf(f + lead, rate.type));
        item.cueIn = tcOf(f + lead, rate.type);
        ASSERT_EQ(tcc.tcToBinary(item.cueIn, rate.type), f + lead);
        sheet.addObject(item);
        triggerFrames.push_back(f);
    }
    QObject mainThread;
    CueFiring firing(&mainThread);
    firing.setCommandSink(&link);
    firing.publish(sheet);
    midi.setTimecodeListener(&firing);

    // A HUI host on its own ports: it pings our input, we answer on the
    // output chosen for it.
    std::mutex lock;
    QByteArray answered;
    const auto host = MidiPorts::createSystem(
        QStringLiteral("huihost"), [&](const std::uint8_t* bytes, std::size_t size) {
            std::lock_guard<std::mutex> guard(lock);
            answered.append(reinterpret_cast<const char*>(bytes), qsizetype(size));
        });
    ASSERT_TRUE(host->connectSource(QString()));
    ASSERT_TRUE(host->connectDestination(QStringLiteral("WB_ADR:MIDI In")));
    midi.pollPorts();
    midi.outputAction(QStringLiteral("huihost:MIDI In"));
    // A new JACK connection may take a cycle or two: the host pings until
    // it hears an answer (one per ping).
    auto lastPing = SimProtocol::Clock::now() - std::chrono::seconds(1);
    const bool heard = waitFor(
        [&] {
            std::lock_guard<std::mutex> guard(lock);
            if (!answered.isEmpty())
                return true;
            if (SimProtocol::Clock::now() - lastPing > std::chrono::milliseconds(300)) {
                lastPing = SimProtocol::Clock::now();
                host->send(QByteArray::fromHex("900000"));
            }
            return false;
        },
        5000);
    EXPECT_TRUE(heard);
    {
        std::lock_guard<std::mutex> guard(lock);
        EXPECT_EQ(answered.toHex(), QByteArray("90007f").repeated(answered.size() / 3));
    }

    EXPECT_EQ(jacktest::playMtc(QStringLiteral("01:00:00:00"), QString::fromLatin1(rate.name),
                                kPlaySeconds, waitFor),
              0);
    waitFor([&] { return sim.sysexTexts().size() >= qsizetype(triggerFrames.size()); }, 3000);
    midi.setTimecodeListener(nullptr);
    EXPECT_NE(midi.counterText(), MidiController::noTimeText());

    QList<SimProtocol::Trigger> triggers = sim.triggers();
    ASSERT_EQ(triggers.size(), qsizetype(triggerFrames.size()));
    QStringList texts;
    for (const CueItem& item : sheet.rows())
        texts << QStringLiteral("s ") + sheet.cueItemText(item);
    EXPECT_EQ(sim.sysexTexts(), texts);

    // Which frame each cue fires on is the firing rule's (checked against
    // the cue sheet's own rule); how soon after its quarter frame the
    // trigger reaches the port is measured by bench_mtc, not here.
    for (const SimProtocol::Trigger& t : triggers) {
        EXPECT_EQ(t.note, 0x77);
        EXPECT_EQ(t.velocity, 0x40);
    }
    link.stopThread();
}

// Played across midnight: cues just after it fire within their streamer lead
// on the evening before, each once, in order.
TEST(MtcOverJack, CuesAcrossMidnightFireWithinTheirLead) {
    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    linktest::Receiver owner;
    ComThread link;
    link.setDriverCheckEnabled(false);
    link.setPort(sim.ptyPath());
    ASSERT_EQ(link.openUsbSerial(), 0);
    link.startThread(&owner);
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("midi.ini")), QSettings::IniFormat);
    MidiController midi(&settings);
    midi.awakeFromNib();

    // Lead 2 s (100 fiftieths): due at 23:59:57:10, 23:59:59:00 and 00:00:01:00.
    CueSheet sheet;
    for (const char* in : {"23:59:59:10", "00:00:01:00", "00:00:03:00"}) {
        CueItem item = CueItem::blank();
        item.cueId = QString::fromLatin1(in);
        item.cueText = QStringLiteral("cue at %1").arg(QLatin1String(in));
        item.cueIn = QString::fromLatin1(in);
        sheet.addObject(item);
    }
    QObject mainThread;
    CueFiring firing(&mainThread);
    firing.setCommandSink(&link);
    firing.publish(sheet);
    midi.setTimecodeListener(&firing);
    EXPECT_EQ(jacktest::playMtc(QStringLiteral("23:59:55:00"), QStringLiteral("25"), 8, waitFor),
              0);
    waitFor([&] { return sim.sysexTexts().size() >= 3; }, 3000);
    midi.setTimecodeListener(nullptr);
    QStringList texts;
    for (const CueItem& item : sheet.rows())
        texts << QStringLiteral("s ") + sheet.cueItemText(item);
    EXPECT_EQ(sim.sysexTexts(), texts);
    EXPECT_EQ(sim.triggers().size(), 3);
    link.stopThread();
}

// The remembered source is picked up at start-up and again after it went
// away and came back, by name.
TEST(MidiPortsOverJack, SourceFollowedByName) {
    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("midi.ini")), QSettings::IniFormat);
    auto player = MidiPorts::createSystem(QStringLiteral("player"));
    ASSERT_TRUE(player->connectDestination(QString()));
    const QString source = QStringLiteral("player-01:MIDI Out");
    {
        MidiController first(&settings);
        first.awakeFromNib();
        ASSERT_TRUE(first.sources().contains(source)) << first.sources().join(u',').toStdString();
        first.inputAction(source);
        EXPECT_TRUE(first.sourceConnected());
    }
    MidiController midi(&settings);
    midi.awakeFromNib();
    EXPECT_TRUE(midi.sourceConnected()) << "not reconnected at start-up";
    player.reset();
    midi.pollPorts();
    EXPECT_FALSE(midi.sourceConnected());
    player = MidiPorts::createSystem(QStringLiteral("player"));
    ASSERT_TRUE(player->connectDestination(QString()));
    midi.pollPorts();
    EXPECT_TRUE(midi.sourceConnected()) << "not reconnected when it came back";
    EXPECT_TRUE(waitFor(
        [&] {
            player->send(MtcGenerator(1, 2, 3, 4, 5).fullFrame());
            return midi.counterText() == QLatin1String("02:03:04:05");
        },
        3000));
}

// Waiting for a MIDI system says nothing, however long it takes (the ports
// are looked at once a second); when a JACK server appears, one line says so.
TEST(MidiPortsOverJack, WaitingIsSilentAndTheServerIsAnnouncedOnce) {
    if (QFileInfo::exists(QStringLiteral("/dev/snd/seq")))
        GTEST_SKIP() << "the ALSA sequencer is used here";
    qputenv("JACK_DEFAULT_SERVER", QByteArray("qz62test-absent-") + QByteArray::number(::getpid()));
    auto said = [](const std::function<void()>& run) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        run();
        return QString::fromStdString(testing::internal::GetCapturedStdout() +
                                      testing::internal::GetCapturedStderr());
    };
    std::unique_ptr<MidiPorts> ports;
    const QString waiting = said([&] {
        ports = MidiPorts::createSystem(QStringLiteral("waiting"));
        for (int poll = 0; poll < 5; ++poll)
            ports->sources();
    });
    EXPECT_FALSE(waiting.contains("JACK", Qt::CaseInsensitive)) << waiting.toStdString();

    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";
    const QString found = said([&] {
        for (int poll = 0; poll < 3; ++poll)
            ports->sources();
    });
    EXPECT_EQ(found, "MIDI: the JACK server is running\n");
}

INSTANTIATE_TEST_SUITE_P(Rates, MtcEndToEnd,
                         ::testing::Values(Rate{"24", 0}, Rate{"25", 1}, Rate{"29.97df", 2},
                                           Rate{"30", 3}),
                         [](const auto& info) { return std::to_string(info.param.type); });

} // namespace
