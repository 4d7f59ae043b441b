#include "base/QueuedCalls.h"
#include "overlay/PunchEditor.h"
#include "overlay/StreamerEditor.h"
#include "protocol/CommandSink.h"
#include "protocol/MidiMessages.h"

#include <QElapsedTimer>
#include <QTest>
#include <gtest/gtest.h>

namespace {

struct RecordingSink : CommandSink {
    void sendString(const QString& command) override { lines << command; }
    void sendBytes(const QByteArray& bytes) override { raw << bytes; }
    void sendTimingBytes(const QByteArray& bytes) override { timing << bytes; }
    int txCount() const override { return 0; }
    QStringList lines;
    QList<QByteArray> raw;
    QList<QByteArray> timing;
};

// A report from the unit, taken into the editor, gives back exactly this
// command; and taking it sends nothing.
struct RoundTrip {
    const char* report;
    const char* command;
};

TEST(OverlayEditors, StreamerReportsBecomeCommands) {
    const RoundTrip cases[] = {
        {"C 0 28 0 64 0 ff ff 0", "C 0 28 0 64 0 ff ff 0"},
        // A short report: every later field takes the last value read.
        {"C 1ff 28", "C 1ff 28 0 28 28 28 28 28"},
        {"C 7fff 1", "C 7fff 1 0 1 1 1 1 1"},
        // Edges beyond the picture are clamped; garbage takes the last good
        // value; width and timing come back as reported, however large.
        {"C 7fff 1ff 0 ffff 5 100 -3 zz", "C 7fff 1ff 0 ffff 5 ff ff ff"},
        {"C 0 28 0 ffffffff 1ffffffff ff ff 0", "C 0 28 0 ffffffff ffffffff ff ff 0"},
        {"C", "C 0 28 0 64 0 ff ff 0"},
        {"C ", "C 0 28 0 64 0 ff ff 0"},
    };
    for (const RoundTrip& c : cases) {
        RecordingSink sink;
        StreamerEditor editor;
        editor.setComThread([&sink] { return &sink; });
        editor.fromString(QString::fromLatin1(c.report));
        EXPECT_TRUE(sink.lines.isEmpty()) << c.report;
        EXPECT_EQ(editor.command(), QString::fromLatin1(c.command)) << c.report;
    }
}

TEST(OverlayEditors, PunchReportsBecomeCommands) {
    const RoundTrip cases[] = {
        // The position comes back as the same step of the picture.
        {"E 0 7f 7f 40 c 64 2 1", "E 0 7f 7f 40 c 64 2 1"},
        {"E 0 a1 55 10 c 64 2 1", "E 0 a1 55 10 c 64 2 1"},
        // Reverse 0..2, the point at the top left corner with size 0.
        {"E 7000 0 0 0", "E 7000 0 0 0 c 64 2 1"},
        {"E 1ffff 100 100 1ff fff fff fff ff", "E ffff dd c2 ff fff fff fff f"},
        {"E 0 7f 7f 40 ffffffff 10000 12345 1", "E 0 7f 7f 40 ffffffff 10000 12345 1"},
        {"E 1c0 ff 0 40 zz", "E 1c0 f6 f 40 c 64 2 1"},
        {"E", "E 0 7f 7f 40 c 64 2 1"},
    };
    for (const RoundTrip& c : cases) {
        RecordingSink sink;
        PunchEditor editor;
        editor.setComThread([&sink] { return &sink; });
        editor.fromString(QString::fromLatin1(c.report));
        EXPECT_TRUE(sink.lines.isEmpty()) << c.report;
        EXPECT_EQ(editor.command(), QString::fromLatin1(c.command)) << c.report;
        // The unit's echo of that command changes nothing.
        editor.fromString(editor.command());
        EXPECT_EQ(editor.command(), QString::fromLatin1(c.command)) << c.report;
    }
}

TEST(OverlayEditors, TypedTimesAndPlacement) {
    EXPECT_EQ(StreamerEditor::fiftiethsFromSeconds(0.5), 25);
    EXPECT_EQ(StreamerEditor::fiftiethsFromSeconds(0.01), 0);
    EXPECT_EQ(PunchEditor::hundredthsFromSeconds(0.999), 99);

    // The top left corner with size 64 lands at (64, 1016), wire x 8, y 15.
    PunchEditor editor;
    editor.placeAt(0, 0);
    EXPECT_EQ(editor.settings().punchPoint, QPointF(64, 1016));
    EXPECT_TRUE(editor.command().startsWith("E 0 8 f 40 "));
    // Typed steps go out at once, kept off the edges by the size as clicks are.
    RecordingSink sink;
    editor.setComThread([&sink] { return &sink; });
    editor.fromString("E 0 8 f 40 c 64 2 1");
    const struct {
        int x, y;
        const char* sent;
    } typed[] = {{200, 30, "E 0 c8 1e 40 "}, {0, 255, "E 0 8 ef 40 "}};
    for (const auto& t : typed) {
        sink.lines.clear();
        editor.placeAtWire(t.x, t.y);
        ASSERT_EQ(sink.lines.size(), 1);
        EXPECT_TRUE(sink.lines.first().startsWith(t.sent)) << sink.lines.first().toStdString();
    }
}

// Until the unit has reported an editor's settings they are not sent; the
// Fire buttons' notes always go. Asking for the settings again (a new unit,
// a FLASH reset) holds them back again until the next report.
TEST(OverlayEditors, SettingsWaitForTheUnitsReportTriggersDoNot) {
    RecordingSink sink;
    StreamerEditor streamer;
    PunchEditor punch;
    streamer.setComThread([&sink] { return &sink; });
    punch.setComThread([&sink] { return &sink; });
    auto change = [&] {
        streamer.setColor(1, 5);
        punch.setColor(2, 3);
        punch.setSwitch(PunchSettings::kBeeps, true);
        streamer.fireAccumulate();
        punch.firePunch(0);
    };
    const QList<QByteArray> notes = {midimsg::trigger(125), midimsg::trigger(122),
                                     midimsg::trigger(119), midimsg::trigger(120)};
    change();
    EXPECT_TRUE(sink.lines.isEmpty());
    EXPECT_EQ(sink.raw, notes);

    streamer.fromString("C 0 28 0 64 0 ff ff 0");
    punch.fromString("E 0 7f 7f 40 c 64 2 1");
    sink.raw.clear();
    change();
    EXPECT_EQ(sink.lines, (QStringList{"C 28 28 0 64 0 ff ff 0", "E c0 7f 7f 40 c 64 2 1",
                                       "E c0 7f 7f 40 c 64 2 3"}));
    EXPECT_EQ(sink.raw, notes);

    streamer.forgetReported();
    punch.forgetReported();
    sink.lines.clear();
    change();
    EXPECT_TRUE(sink.lines.isEmpty());
}

// Pixels where they matter: bar and end-bar edges, transparency as alpha
// over the black background, punch centre and radius. Rows of the image
// are top first.
TEST(OverlayEditors, PreviewsPaintWhereTheUnitDraws) {
    StreamerEditor streamer;
    streamer.fromString("C 0 28 0 64 0 80 bf 80"); // top 128, bottom 64, half transparent
    const QImage bars = streamer.thread()->renderNow();
    ASSERT_EQ(bars.size(), QSize(1920, 1080));
    const int topRow = 1080 - 542, bottomRow = 1080 - 271; // canvas rows 542 and 271
    const int left = (1920 - 40) / 2;
    EXPECT_NEAR(qRed(bars.pixel(left, topRow)), 127, 2);
    EXPECT_EQ(qRed(bars.pixel(left - 1, topRow)), 0);
    EXPECT_EQ(qRed(bars.pixel(left + 40, topRow)), 0);
    EXPECT_EQ(qRed(bars.pixel(left, topRow - 1)), 0);
    EXPECT_NEAR(qRed(bars.pixel(left, bottomRow - 1)), 127, 2);
    EXPECT_EQ(qRed(bars.pixel(left, bottomRow)), 0);
    EXPECT_NEAR(qRed(bars.pixel(1728, topRow)), 127, 2);
    EXPECT_EQ(qRed(bars.pixel(1727, topRow)), 0);
    EXPECT_EQ(qRed(bars.pixel(1768, topRow)), 0);

    PunchEditor punch;
    punch.fromString("E 5 0 0 ff"); // red, size 255, point clamped to (255, 825)
    const QImage disc = punch.thread()->renderNow();
    const QPoint centre(255, 1080 - 825);
    EXPECT_EQ(disc.pixel(centre), qRgb(255, 0, 0));
    EXPECT_EQ(disc.pixel(centre + QPoint(0, 538)), qRgb(255, 0, 0)); // radius 540
    EXPECT_EQ(disc.pixel(centre + QPoint(0, 545)), qRgb(0, 0, 0));
    EXPECT_EQ(disc.pixel(centre + QPoint(600, 0)), qRgb(0, 0, 0));
}

// A burst of changes gives one transmit, no sooner than ten passes after the
// last and well within a second; a redraw-only request gives none. The
// preview follows every change.
TEST(OverlayEditors, WorkerDebouncesABurstIntoOneTransmit) {
    struct Counting final : PreviewWorker {
        ~Counting() override { stopThread(); }
        QImage render(std::optional<double>) override { return QImage(4, 4, QImage::Format_RGB32); }
    } worker;
    QueuedCalls calls(nullptr);
    int images = 0;
    QList<qint64> txAtMs;
    QElapsedTimer clock;
    clock.start();
    PreviewWorker::Parent parent;
    parent.calls = &calls;
    parent.threadNeedsDisplay = [&](const QImage&) { ++images; };
    parent.threadNeedsTx = [&](int code) {
        EXPECT_EQ(code, 1);
        txAtMs << clock.elapsed();
    };
    worker.startThread(parent);
    ASSERT_TRUE(QTest::qWaitFor([&] { return images == 1; }, 2000));
    QTest::qWait(500);
    EXPECT_TRUE(txAtMs.isEmpty()); // the first picture is not sent

    qint64 lastMs = 0;
    for (int i = 0; i < 50; ++i) {
        worker.setDraw(PreviewWorker::kRedrawAndTransmit);
        lastMs = clock.elapsed();
        QTest::qWait(10);
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return !txAtMs.isEmpty(); }, 3000));
    QTest::qWait(500);
    ASSERT_EQ(txAtMs.size(), 1);
    EXPECT_GE(txAtMs.first() - lastMs, 330);
    EXPECT_LT(txAtMs.first() - lastMs, 1000);
    EXPECT_GE(images, 10);

    const int before = images;
    worker.setDraw(PreviewWorker::kRedraw);
    ASSERT_TRUE(QTest::qWaitFor([&] { return images == before + 1; }, 2000));
    QTest::qWait(500);
    EXPECT_EQ(txAtMs.size(), 1);
    worker.stopThread();
    EXPECT_FALSE(worker.isRunning());
}

// A play paints the effect a pass at a time, its time rising, then the still
// picture once more; it asks for no transmit.
TEST(OverlayEditors, PlayPaintsTheEffectThenTheStillPicture) {
    struct Recording final : PreviewWorker {
        ~Recording() override { stopThread(); }
        QImage render(std::optional<double> elapsedMs) override {
            std::lock_guard<std::mutex> lock(m_lock);
            m_times.push_back(elapsedMs);
            return QImage(4, 4, QImage::Format_RGB32);
        }
        double playLengthMs() const override { return 150; }
        std::vector<std::optional<double>> times() {
            std::lock_guard<std::mutex> lock(m_lock);
            return m_times;
        }
        std::mutex m_lock;
        std::vector<std::optional<double>> m_times;
    } worker;
    QueuedCalls calls(nullptr);
    int images = 0;
    int transmits = 0;
    PreviewWorker::Parent parent;
    parent.calls = &calls;
    parent.threadNeedsDisplay = [&](const QImage&) { ++images; };
    parent.threadNeedsTx = [&](int) { ++transmits; };
    worker.startThread(parent);
    ASSERT_TRUE(QTest::qWaitFor([&] { return images == 1; }, 2000));
    worker.play();
    // The still picture after the played ones.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const auto t = worker.times();
            return t.size() > 2 && !t.back().has_value();
        },
        3000));
    const auto times = worker.times();
    std::vector<double> played;
    for (std::size_t i = 1; i + 1 < times.size(); ++i) {
        ASSERT_TRUE(times[i].has_value()) << i;
        played.push_back(*times[i]);
    }
    ASSERT_GE(played.size(), 2u);
    EXPECT_LT(played.front(), 33);
    EXPECT_TRUE(std::is_sorted(played.begin(), played.end()));
    EXPECT_LE(played.back(), 150);
    EXPECT_EQ(transmits, 0);
}

} // namespace
