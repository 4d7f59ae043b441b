// The application following MIDI Time Code from `qz62ctl mtc` over a real
// JACK server: with a second sheet opened and in front, the armed first
// sheet's cues reach the simulated unit, and none of the other's.
#include "app/CueWindows.h"
#include "app/MainWindow.h"
#include "app/TakeControl.h"
#include "cues/view/CueWindow.h"
#include "midi/MidiController.h"
#include "midi/view/MidiView.h"
#include "support/FilesAndTools.h"
#include "support/JackServer.h"
#include "support/PanelTestSupport.h"

using testsupport::Scratch;

#if defined(__SANITIZE_THREAD__)
// JACK's lock-free ring buffer orders its reads and writes with barriers the
// thread checker cannot see.
extern "C" const char* __tsan_default_suppressions() {
    return "race:jack_ringbuffer_\n";
}
#endif

TEST(TakeOverJack, TheArmedSheetFiresWhileAnotherIsInFront) {
    JackServer jack;
    ASSERT_TRUE(jack.ready()) << "jackd did not start";
    Scratch scratch;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    App app(sim.ptyPath());
    ASSERT_TRUE(startUpSent(sim));
    app.window.midiView()->awakeFromNib();
    CueWindows* cues = app.window.cueWindows();
    CueWindow* reel1 = cues->open(scratch.write(
        "reel1.txt",
        ";tctype\t1\nA1\t01:00:04:00\t---\tfirst\t\nA2\t01:00:05:10\t---\tsecond\t\n"));
    CueWindow* reel2 = cues->open(scratch.write(
        "reel2.txt", ";tctype\t1\nB1\t01:00:04:00\t---\tother\t\nB2\t01:00:04:20\t---\tother\t\n"));
    ASSERT_NE(reel1, nullptr);
    ASSERT_NE(reel2, nullptr);
    ASSERT_EQ(cues->front(), reel2);
    ASSERT_EQ(cues->take()->armed(), reel1);
    sim.clearRecord();

    EXPECT_EQ(jacktest::playMtc(QStringLiteral("01:00:00:00"), QStringLiteral("25"), 6,
                                [](auto done, int ms) { return QTest::qWaitFor(done, ms); }),
              0);
    static_cast<void>(QTest::qWaitFor([&] { return sim.sysexTexts().size() >= 2; }, 3000));
    EXPECT_EQ(sim.sysexTexts(),
              (QStringList{QStringLiteral("s A1\\nfirst"), QStringLiteral("s A2\\nsecond")}));
    EXPECT_EQ(sim.triggers().size(), 2);
}
