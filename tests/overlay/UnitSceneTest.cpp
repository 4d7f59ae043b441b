#include "overlay/DrawStreamerThread.h"
#include "overlay/DrawThread.h"
#include "overlay/UnitOutput.h"

#include <QPainter>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Clock = UnitScene::Clock;
using Kind = UnitScene::Effect::Kind;

// Streamer 0: white, 2 s after a delay of 0.5 s, full height, width 0x28.
UnitSnapshot unitWith(std::initializer_list<std::pair<const char*, const char*>> settings) {
    UnitSnapshot unit;
    unit.settings.insert(QStringLiteral("C"), QStringLiteral("0 28 0 64 19 ff ff 0"));
    unit.settings.insert(QStringLiteral("E"), QStringLiteral("0 7f 7f 40 c 64 2 1"));
    unit.settings.insert(QStringLiteral("A"), QStringLiteral("a"));
    unit.settings.insert(QStringLiteral("M"), QStringLiteral("15"));
    unit.settings.insert(QStringLiteral("X"), QStringLiteral("4"));
    for (const auto& [key, value] : settings)
        unit.settings.insert(QLatin1String(key), QLatin1String(value));
    return unit;
}

void trigger(UnitSnapshot& unit, int note, Clock::time_point at, int velocity = 64) {
    unit.triggers.append({note, velocity, at});
    ++unit.triggerCount;
}

TEST(UnitScene, StreamerRunsFromTheLeftEdgeToTheEndBarOverItsDuration) {
    DrawStreamerThread::Settings s;
    s.durationMs = 2000;
    s.delayMs = 500;
    struct Case {
        double elapsedMs;
        std::optional<int> x;
        bool endBar;
    };
    const Case cases[] = {
        {0, std::nullopt, false},   {499, std::nullopt, false},  {500, 0, false},
        {1500, 864, false},         {2499, 1727, false},         {2500, std::nullopt, true},
        {2999, std::nullopt, true}, {3000, std::nullopt, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(DrawStreamerThread::barX(s, c.elapsedMs), c.x) << c.elapsedMs;
        EXPECT_EQ(DrawStreamerThread::endBarShown(s, c.elapsedMs), c.endBar) << c.elapsedMs;
    }
    EXPECT_EQ(DrawStreamerThread::playLengthMs(s), 3000);
}

TEST(UnitScene, PunchFlashesItsCountAtItsInterval) {
    DrawThread::Settings s;
    s.durationMs = 480;
    s.intervalMs = 1000;
    s.flashes = 3;
    const std::pair<double, bool> pattern[] = {{0, true},     {479, true},   {480, false},
                                               {999, false},  {1000, true},  {2479, true},
                                               {2480, false}, {3000, false}, {-1, false}};
    for (const auto& [at, on] : pattern)
        EXPECT_EQ(DrawThread::shown(s, at), on) << at;
    EXPECT_EQ(DrawThread::playLengthMs(s), 2480);
    s.enabled = false;
    EXPECT_FALSE(DrawThread::shown(s, 0));
}

TEST(UnitScene, LooksAndRateComeFromTheUnitsSettings) {
    UnitScene scene;
    scene.update(unitWith({{"C", "6 28 0 64 19 80 c0 0"}, {"E", "1005 0 ff 40 c 32 1 1"}}));
    const DrawStreamerThread::Settings streamer = scene.streamerLook(0);
    EXPECT_EQ(streamer.durationMs, 2000);
    EXPECT_EQ(streamer.delayMs, 500);
    EXPECT_EQ(streamer.top, 0x80 * 1080 / 255);
    EXPECT_EQ(streamer.bottom, (255 - 0xc0) * 1080 / 255);
    EXPECT_EQ(streamer.foreColor, QColor(Qt::blue));
    const DrawThread::Settings punch = scene.punchLook(0);
    EXPECT_EQ(punch.punchPoint, QPointF(0, 0));
    EXPECT_TRUE(punch.reverse);
    EXPECT_EQ(punch.flashes, 2);
    EXPECT_EQ(punch.intervalMs, 500);
    EXPECT_EQ(punch.durationMs, 480); // 12 frames at 25

    const std::pair<std::pair<const char*, const char*>, double> rates[] = {
        {{"M", "5"}, 25.0},
        {{"M", "6"}, 24.0},
        {{"M", "7"}, 60.0},
        {{"A", "1"}, 30000.0 / 1001},
        {{"A", "a"}, 25.0}};
    for (const auto& [setting, rate] : rates) {
        scene.update(unitWith({setting}));
        EXPECT_DOUBLE_EQ(scene.frameRate(), rate) << setting.first << " " << setting.second;
    }
}

TEST(UnitScene, TriggersStartWhatTheUnitsSettingsSay) {
    struct Case {
        const char* what;
        const char* pop;
        const char* rate;
        std::vector<int> notes;
        std::vector<std::pair<Kind, int>> effects; // kind, ms after the trigger
    };
    const Case cases[] = {
        {"streamer 2", "4", "a", {126}, {{Kind::Streamer, 0}}},
        {"a streamer restarts its own channel", "4", "a", {124, 124}, {{Kind::Streamer, 0}}},
        {"punch 1", "4", "a", {121}, {{Kind::Punch, 0}}},
        {"note off", "4", "a", {}, {}},
        {"cue: pop streamer", "4", "a", {119, 119}, {{Kind::Streamer, 0}}},
        {"cue: accumulate", "1", "a", {119, 119}, {{Kind::Streamer, 0}, {Kind::Streamer, 0}}},
        {"cue: punch only", "2", "a", {119}, {{Kind::Punch, 0}}},
        {"cue: streamer then punch", "6", "a", {119}, {{Kind::Streamer, 0}, {Kind::Punch, 2500}}},
        {"end punch", "4", "e", {124}, {{Kind::Streamer, 0}, {Kind::Punch, 2500}}},
        {"end punch once with pop punch",
         "6",
         "e",
         {119},
         {{Kind::Streamer, 0}, {Kind::Punch, 2500}}},
    };
    const Clock::time_point t0 = Clock::now();
    for (const Case& c : cases) {
        UnitSnapshot unit = unitWith({{"X", c.pop}, {"A", c.rate}});
        if (c.notes.empty())
            trigger(unit, 124, t0, 0);
        for (int note : c.notes)
            trigger(unit, note, t0);
        UnitScene scene;
        scene.update(unit);
        scene.update(unit); // triggers already seen start nothing
        ASSERT_EQ(scene.effects().size(), c.effects.size()) << c.what;
        for (std::size_t i = 0; i < c.effects.size(); ++i) {
            EXPECT_EQ(scene.effects()[i].kind, c.effects[i].first) << c.what;
            EXPECT_EQ(scene.effects()[i].start, t0 + std::chrono::milliseconds(c.effects[i].second))
                << c.what;
        }
    }
}

// Frames are counted from the trigger at the video rate: the next frame is
// due at the next boundary, a late frame shows the time it stands for, and
// nothing is due once everything has played out.
TEST(UnitScene, FramesFollowTheVideoRateAndStopWhenNothingMoves) {
    const Clock::time_point t0 = Clock::now();
    UnitSnapshot unit = unitWith({});
    trigger(unit, 124, t0);
    UnitScene scene;
    scene.update(unit);
    EXPECT_DOUBLE_EQ(scene.frameTimeMs(t0, t0 + 39ms), 0);
    EXPECT_DOUBLE_EQ(scene.frameTimeMs(t0, t0 + 40ms), 40);
    EXPECT_DOUBLE_EQ(scene.frameTimeMs(t0, t0 + 1234ms), 1200);
    EXPECT_EQ(scene.advance(t0 + 10ms), t0 + 40ms);
    EXPECT_EQ(scene.advance(t0 + 2990ms), t0 + 3000ms);
    EXPECT_EQ(scene.advance(t0 + 3001ms), std::nullopt);
    EXPECT_TRUE(scene.effects().empty());
}

// The frame itself: the streamer's bar is where its x says, over the
// picture, and the masking darkens the top.
TEST(UnitScene, PaintsTheStreamerWhereItRuns) {
    const Clock::time_point t0 = Clock::now();
    UnitSnapshot unit = unitWith({{"G", "1"}, {"H", "20 0 0 0 0"}, {"C", "5 28 0 64 0 ff ff 0"}});
    trigger(unit, 124, t0);
    UnitScene scene;
    scene.update(unit);
    QImage frame(1920, 1080, QImage::Format_RGB32);
    QPainter painter(&frame);
    scene.paint(painter, frame.rect(), t0 + 1000ms);
    painter.end();
    EXPECT_EQ(frame.pixelColor(864 + 20, 540), QColor(Qt::red));
    EXPECT_NE(frame.pixelColor(864 + 60, 540), QColor(Qt::red));
    EXPECT_EQ(frame.pixelColor(10, 540), QColor(Qt::white)); // the first colour bar
    EXPECT_EQ(frame.pixelColor(10, 10), QColor(Qt::black));  // masked
}

} // namespace
