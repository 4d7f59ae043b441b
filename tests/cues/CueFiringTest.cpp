// How a sheet follows time code (the walk both the sheet and the MIDI
// thread's firing use), and what the firing adds: once per pass over a frame.
#include "cues/CueFiring.h"
#include "cues/CueSheet.h"
#include "cues/CueWalk.h"
#include "protocol/CommandSink.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr int kDay30 = 30 * 3600 * 24;

TEST(CueWalk, NextCueAndTheCuesDueNow) {
    const struct {
        const char* name;
        std::vector<int> rows; // in times, frames at 30 fps
        int selection, now, lead;
        int next;
        std::vector<int> fired;
    } cases[] = {
        {"before the first cue", {300, 360, 900, 1200}, -1, 0, 60, 0, {}},
        {"the lead ahead of a cue fires it", {300, 360, 900, 1200}, -1, 240, 60, 0, {0}},
        {"one frame early or late fires nothing", {300, 360, 900, 1200}, -1, 239, 60, 0, {}},
        {"one frame late", {300, 360, 900, 1200}, 0, 241, 60, 0, {}},
        {"on a cue's in time the cue is past", {300, 360, 900, 1200}, -1, 360, 0, 2, {}},
        {"going back in time", {300, 360, 900, 1200}, 3, 330, 0, 1, {}},
        {"after the last cue nothing is next", {300, 360, 900, 1200}, 1, 5000, 0, -1, {}},
        {"a stale selection past the end", {300, 360, 900, 1200}, 9, 400, 0, 2, {}},
        {"with no lead a cue's own frame is already past", {300, 360}, -1, 300, 0, 1, {}},
        {"a later cue may fire before the next one", {300, 330}, -1, 270, 60, 0, {1}},
        {"four of five cues on one frame", {600, 600, 600, 600, 600}, -1, 540, 60, 0, {0, 1, 2, 3}},
        {"round midnight: just before", {kDay30 - 30, 30}, -1, kDay30 - 60, 30, 0, {0}},
        {"round midnight: just after", {kDay30 - 30, 30}, 0, 0, 30, 1, {1}},
        {"without rows nothing changes", {}, 2, 100, 0, 2, {}},
    };
    for (const auto& c : cases) {
        const cuewalk::Step step = cuewalk::walk(int(c.rows.size()), c.selection, c.now, 3, c.lead,
                                                 [&c](int row) { return c.rows[size_t(row)]; });
        EXPECT_EQ(step.selection, c.next) << c.name;
        const std::vector<int> fired(step.fire.begin(), step.fire.begin() + step.fireCount);
        EXPECT_EQ(fired, c.fired) << c.name;
    }
}

TEST(CueWalk, LeadIsTheStreamerAtTheFrameRate) {
    // The streamer's duration is in fiftieths of a second.
    EXPECT_EQ(cuewalk::leadFrames(100, 3), 60);
    EXPECT_EQ(cuewalk::leadFrames(100, 2), 60);
    EXPECT_EQ(cuewalk::leadFrames(100, 1), 50);
    EXPECT_EQ(cuewalk::leadFrames(100, 0), 48);
    EXPECT_EQ(cuewalk::leadFrames(3, 0), 1); // truncated
}

// What the firing sent on the timing path, and anything it queued instead.
struct SentBytes : CommandSink {
    QByteArray bytes;
    QByteArray queued;
    void sendString(const QString& command) override { queued += command.toLatin1() + '\n'; }
    void sendBytes(const QByteArray& b) override { queued += b; }
    void sendTimingBytes(const QByteArray& b) override { bytes += b; }
    int txCount() const override { return 0; }
};

QByteArray mtcOf(int frames) {
    const TcCalculator tcc;
    const QString tc = tcc.binaryToTc(frames, 3);
    const char bytes[4] = {char(0x60 | tc.left(2).toInt()), char(tc.mid(3, 2).toInt()),
                           char(tc.mid(6, 2).toInt()), char(tc.mid(9, 2).toInt())};
    return QByteArray(bytes, 4);
}

TEST(CueFiring, OncePerPassOverAFrame) {
    QObject mainThread;
    CueSheet sheet;
    CueItem item;
    item.cueIn = QStringLiteral("01:00:10:00");
    sheet.addObject(item);
    SentBytes sent;
    CueFiring firing(&mainThread);
    firing.setCommandSink(&sent);
    firing.publish(sheet);
    const int due = 3600 * 30 + 10 * 30 - 60; // lead 60 frames at 30 fps
    // Wobbling over the frame fires once; a locate away and back fires again.
    for (const int offset : {-1, 0, 1, 0, -1, 0, 2, 0, -100, 0})
        firing.mtcEvent(mtcOf(due + offset));
    EXPECT_EQ(firing.firedCount(), 2);
    EXPECT_TRUE(sent.bytes.startsWith(QByteArray::fromHex("907740f02001")));
    EXPECT_TRUE(sent.queued.isEmpty());
}

} // namespace
