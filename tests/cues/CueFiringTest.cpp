// How a sheet follows time code (the walk both the sheet and the MIDI
// thread's firing use), and what the firing adds: once per pass over a frame.
#include "cues/CueFiring.h"
#include "cues/CueSheet.h"
#include "cues/CueWalk.h"
#include "protocol/CommandSink.h"

#include <QCoreApplication>

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

// What the sheet sent on the timing path, and anything it queued instead.
struct SentBytes : CommandSink {
    QByteArray bytes;
    QByteArray queued;
    void sendString(const QString& command) override { queued += command.toLatin1() + '\n'; }
    void sendBytes(const QByteArray& b) override { queued += b; }
    void sendTimingBytes(const QByteArray& b) override { bytes += b; }
    int txCount() const override { return 0; }
};

// A snapshot whose rows' texts are their numbers ("0", "1", ...): what a
// sink records names the rows fired. `inFrames` at every rate alike.
std::unique_ptr<CueFiringSnapshot> numberedRows(const std::vector<int>& inFrames, int duration) {
    auto snapshot = std::make_unique<CueFiringSnapshot>(inFrames.size());
    snapshot->streamerDuration = duration;
    for (size_t i = 0; i < inFrames.size(); ++i) {
        snapshot->rows[i].inFrames.fill(inFrames[i]);
        snapshot->rows[i].sysex = QByteArray::number(qsizetype(i));
    }
    return snapshot;
}

// The rows fired, in order, from the texts that follow each trigger.
struct FiredRows : CommandSink {
    std::vector<int> rows;
    bool triggerPending = false;
    void sendString(const QString&) override {}
    void sendBytes(const QByteArray&) override { ADD_FAILURE() << "queued behind commands"; }
    void sendTimingBytes(const QByteArray& b) override {
        if (b == QByteArray::fromHex("907740")) {
            triggerPending = true;
        } else {
            EXPECT_TRUE(triggerPending) << "text without its trigger";
            triggerPending = false;
            rows.push_back(b.toInt());
        }
    }
    int txCount() const override { return 0; }
};

// The time code of a frame count, drop frame counted as the time code
// standard counts it.
mtcframe::Frame frameAt(int frames, int type) {
    int n = frames;
    if (type == 2)
        n += 18 * (frames / 17982) + (frames % 17982 < 2 ? 0 : 2 * ((frames % 17982 - 2) / 1798));
    const int fps = type == 0 ? 24 : type == 1 ? 25 : 30;
    return {std::uint8_t(type << 5 | n / (fps * 3600)), std::uint8_t(n / (fps * 60) % 60),
            std::uint8_t(n / fps % 60), std::uint8_t(n % fps)};
}

// What happens during a take, at 30 fps: time code steps (one frame, 33 ms
// apart unless a pause is given), locates, Hold, Fire Next.
struct Event {
    enum Kind { Step, Pause, Locate, Hand, Hold, Release } kind;
    int frames = 0; // Step: the time; Pause: milliseconds without time code
};
std::vector<Event> run(int from, int to) {
    std::vector<Event> events;
    for (int f = from; from <= to ? f <= to : f >= to; f += from <= to ? 1 : -1)
        events.push_back({Event::Step, f});
    return events;
}
std::vector<Event> operator+(std::vector<Event> a, const std::vector<Event>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
const std::vector<Event> kPause = {{Event::Pause, 500}};
const std::vector<Event> kLocate = {{Event::Locate, 0}};
const std::vector<Event> kHand = {{Event::Hand, 0}};
const std::vector<Event> kHold = {{Event::Hold, 0}};
const std::vector<Event> kRelease = {{Event::Release, 0}};

TEST(CueFiring, OncePerPassRules) {
    // Row 0 at 1000 and row 1 at 1100, lead 60 frames (100 fiftieths at
    // 30 fps): due at 940 and 1040.
    const struct {
        const char* name;
        std::vector<Event> events;
        std::vector<int> fired;
    } cases[] = {
        {"a forward pass fires each cue once", run(930, 1050), {0, 1}},
        {"a step back of up to two frames while running is jitter",
         run(938, 942) + run(940, 940) + run(941, 944),
         {0}},
        {"a step back of three frames while running is a new pass",
         run(938, 942) + run(937, 944),
         {0, 0}},
        {"stop just after a cue, locate just before it, play: fires again",
         run(935, 942) + kPause + kLocate + run(939, 945),
         {0, 0}},
        {"stopped, then time comes back one frame earlier: fires again",
         run(935, 941) + kPause + run(940, 945),
         {0, 0}},
        {"stopped, then on from where it stopped: fires nothing more",
         run(935, 941) + kPause + run(942, 945),
         {0}},
        {"a locate onto the due frame fires it", run(900, 930) + kLocate + run(940, 941), {0}},
        {"held: nothing is sent, the time moves on", kHold + run(930, 1050), {}},
        {"released after a cue: the next one fires",
         kHold + run(930, 1000) + kRelease + run(1001, 1050),
         {1}},
        {"fire next by hand counts as fired for this pass",
         run(900, 905) + kHand + run(906, 1050),
         {0, 1}},
        {"fire next twice moves on", run(900, 905) + kHand + kHand + run(906, 1050), {0, 1}},
        {"fire next before any time code", kHand + run(930, 1050), {0, 1}},
        {"fired by hand, then a locate back: fires again at its frame",
         run(900, 905) + kHand + kPause + kLocate + run(930, 950),
         {0, 0}},
        {"fire next while held still sends", kHold + run(900, 905) + kHand + run(906, 1050), {0}},
        {"nothing ahead after the last cue", run(1090, 1110) + kHand, {}},
    };
    for (const auto& c : cases) {
        QObject mainThread;
        FiredRows sent;
        CueFiring firing(&mainThread);
        firing.setCommandSink(&sent);
        firing.publish(numberedRows({1000, 1100}, 100));
        std::int64_t atNs = 0;
        for (const Event& e : c.events) {
            switch (e.kind) {
            case Event::Step:
                atNs += 33'333'333;
                firing.mtcEvent(frameAt(e.frames, 3), atNs);
                break;
            case Event::Pause:
                atNs += std::int64_t(e.frames) * 1'000'000;
                break;
            case Event::Locate:
                firing.locate({});
                break;
            case Event::Hand:
                firing.fireNext();
                break;
            case Event::Hold:
            case Event::Release:
                firing.setHeld(e.kind == Event::Hold);
                break;
            }
            QCoreApplication::processEvents();
        }
        EXPECT_EQ(sent.rows, c.fired) << c.name;
    }
}

// A cue within the streamer's lead after midnight fires on the evening
// before, at every rate, as the sheet's own rule says; a row without a
// usable in time never fires.
TEST(CueFiring, LeadWrapsRoundMidnight) {
    const TcCalculator tcc;
    for (int type = 0; type < 4; ++type) {
        CueSheet sheet;
        CueItem unset = CueItem::blank();
        CueItem cue = CueItem::blank();
        cue.cueIn = QStringLiteral("00:00:01:00");
        sheet.addObject(cue);
        unset.cueIn = QStringLiteral("00000000");
        sheet.addObject(unset);
        SentBytes bySheet;
        sheet.setComThread(&bySheet);
        QObject mainThread;
        FiredRows sent;
        CueFiring firing(&mainThread);
        firing.setCommandSink(&sent);
        firing.publish(sheet);
        // Streamer 100 fiftieths = 2 s: due at 23:59:59:00 of the rate.
        const int due = tcc.tcToBinary(QStringLiteral("23:59:59:00"), type);
        const int day = TcCalculator::framesPerDay(type);
        std::vector<int> firedAt;
        std::int64_t atNs = 0;
        for (int f = due - 3; f <= due + 3 * TcCalculator::frameRate(type); ++f) {
            const qsizetype before = bySheet.bytes.size();
            const mtcframe::Frame frame = frameAt(f % day, type);
            sheet.mtcEvent(QByteArray(reinterpret_cast<const char*>(frame.data()), 4));
            firing.mtcEvent(frame, atNs += 33'000'000);
            if (bySheet.bytes.size() != before)
                firedAt.push_back(f);
        }
        EXPECT_EQ(firedAt, std::vector<int>{due}) << "type " << type;
        EXPECT_EQ(sent.rows, std::vector<int>{0}) << "type " << type;
    }
}

} // namespace
