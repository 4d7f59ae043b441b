#include "base/QueuedCalls.h"
#include "overlay/AnnunciatorEditor.h"
#include "protocol/CommandSink.h"

#include <QFontMetricsF>
#include <QTest>
#include <gtest/gtest.h>

namespace {

using Settings = AnnunciatorSettings;
using Thread = DrawAnnunciatorThread;
using Element = AnnunciatorElement;

struct RecordingSink : CommandSink {
    void sendString(const QString& command) override { lines << command; }
    void sendBytes(const QByteArray&) override {}
    void sendTimingBytes(const QByteArray&) override {}
    int txCount() const override { return 0; }
    QStringList lines;
};

void placeAll(Thread& t, QPointF ann, QPointF tc, QPointF text, QPointF barBeat) {
    Thread::Settings s;
    s.anchors[Element::Annunciator] = ann;
    s.anchors[Element::Tc] = tc;
    s.anchors[Element::Text] = text;
    s.anchors[Element::BarBeat] = barBeat;
    t.setSettings(s);
}

// Placement keeps every element inside the picture, far edge first; the
// bar/beat box keeps its anchor. Each element is drawn and picked in its own
// size; the bar/beat size query pairs it with the text line's.
TEST(Annunciator, RendererPlacesAndClampsElements) {
    Thread t;
    t.setTextString(QString(200, QLatin1Char('W')));
    placeAll(t, {300, 700}, {100, 5000}, {500, 500}, {-100, 5000});
    const QImage image = t.renderNow();
    ASSERT_EQ(image.size(), QSize(1920, 1080));

    const QRectF text = t.textRect();
    EXPECT_GT(text.width(), 1920); // wider than the picture: at the left edge
    EXPECT_EQ(text.x(), 0);
    const QRectF tc = t.tcRect();
    EXPECT_GT(tc.height(), 0);
    EXPECT_EQ(tc.y(), 1080 - tc.height()); // above the top: at the top
    EXPECT_EQ(tc.x(), 100);
    const QRectF ann = t.annunciatorRect();
    EXPECT_EQ(ann.topLeft(), QPointF(300, 700 - ann.height()));
    EXPECT_EQ(t.barBeatRect().topLeft(), QPointF(-100, 5000));

    // Text 64, bar/beat 12: the counter's box is its own, drawn from its
    // anchor down; the size query follows the text line.
    t.setTextSize(64);
    t.setBarBeatSize(12);
    placeAll(t, {300, 700}, {100, 5000}, {500, 500}, {800, 300});
    const QImage sized = t.renderNow();
    const QFontMetricsF own(Thread::previewFont(12));
    const QRectF barBeat = t.barBeatRect();
    EXPECT_EQ(barBeat.size(), QSizeF(own.horizontalAdvance("Protools counter"), own.height()));
    EXPECT_EQ(t.barBeatRectSize().height(), QFontMetricsF(Thread::previewFont(64)).height());
    EXPECT_EQ(qGray(sized.pixel(801, 1080 - 300 + 1)), 0);
    EXPECT_EQ(sized.pixel(801, 1080 - 300 + int(own.height()) + 1), qRgb(128, 128, 128));

    // Pixels: the grey frame, the annunciator's black box just inside its
    // anchor (rows of the image are top first), the frame beside it.
    EXPECT_EQ(image.pixel(1900, 540), qRgb(128, 128, 128));
    EXPECT_EQ(qGray(image.pixel(301, 1080 - 700 + 1)), 0);
    EXPECT_EQ(image.pixel(298, 1080 - 700 + 1), qRgb(128, 128, 128));
    EXPECT_EQ(image.pixel(301, 1080 - 702), qRgb(128, 128, 128));
}

// Two quick moves of an element ask once for its transmit, about a third
// of a second after the second; a redraw-only request in a countdown
// cancels it. A stopped renderer stays stopped.
TEST(Annunciator, RendererAsksOnceAfterQuickMoves) {
    Thread t;
    QueuedCalls calls(nullptr);
    int pictures = 0;
    QList<int> tx;
    PreviewWorker::Parent parent;
    parent.calls = &calls;
    parent.threadNeedsDisplay = [&](const QImage&) { ++pictures; };
    parent.threadNeedsTx = [&](int code) { tx << code; };
    t.startThread(parent);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pictures == 1; }, 2000));

    t.setDraw(Thread::transmitRequest(Element::Tc));
    QTest::qWait(60);
    t.setDraw(Thread::transmitRequest(Element::Tc));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !tx.isEmpty(); }, 3000));
    QTest::qWait(500);
    EXPECT_EQ(tx, QList<int>{Thread::transmitRequest(Element::Tc)});
    EXPECT_GE(pictures, 3);

    tx.clear();
    t.setDraw(Thread::transmitRequest(Element::Text));
    QTest::qWait(100);
    t.setTcString(QStringLiteral("000000.00"));
    QTest::qWait(800);
    EXPECT_TRUE(tx.isEmpty());

    t.stopThread();
    t.startThread(parent);
    EXPECT_FALSE(t.isRunning());
}

TEST(Annunciator, TextItemColorSettersCross) {
    struct Case {
        unsigned color;
        enum { None, Fore, Back } set;
        int value;
        int fore, back;
    };
    const Case cases[] = {
        {0x70, Case::None, 0, 0, 7},      {0x70, Case::Fore, 3, 0, 3}, {0x70, Case::Back, 3, 3, 7},
        {0x1f5, Case::Fore, 2, 5, 2}, // bits above the byte are dropped
        {0x70, Case::Back, 0x1c, 0xc, 7},
    };
    for (const Case& c : cases) {
        TextItem item;
        item.color = c.color;
        if (c.set == Case::Fore)
            item.setForeColor(c.value);
        else if (c.set == Case::Back)
            item.setBackColor(c.value);
        EXPECT_EQ(item.foreColor(), c.fore) << c.color << " " << c.value;
        EXPECT_EQ(item.backColor(), c.back) << c.color << " " << c.value;
    }
}

// An editor with the reports a factory-fresh unit gives at start-up.
struct Editor {
    explicit Editor(bool reported = true) {
        editor.setComThread([this] { return &sink; });
        if (reported)
            reportAll();
    }
    void reportAll() {
        editor.fromString("U 0");
        editor.tcFromString("m 0");
        editor.comFromString("n 0");
        editor.annunciatorColorsFromString("t 70 70 70");
        editor.pointsFromArray({24, 32, 48, 64, 72, 96});
        editor.windowFromArray({32, 10, 10, 112, 0});
        editor.windowFromArray({48, 10, 10, 112, 1});
        editor.windowFromArray({32, 10, 10, 112, 2});
        editor.windowFromArray({32, 10, 10, 112, 3});
    }
    RecordingSink sink;
    AnnunciatorEditor editor;
};

// Each setting goes once the unit has reported it, and only that one: a
// unit that never answers "m" holds back the counter's source alone. The
// sample lines are not settings and always go.
TEST(Annunciator, EachSettingWaitsForItsOwnReport) {
    Editor e(false);
    AnnunciatorEditor& ed = e.editor;
    auto choose = [&] {
        e.sink.lines.clear();
        ed.setMode(Settings::kRecord);
        ed.setAnnunciatorColor(Settings::kPlaybackPair, {1, 2});
        ed.setTcSource(2);
        ed.setCom(Settings::kSony);
        ed.setItemForeground(Element::Text, 3);
        ed.onShowSampleText();
    };
    choose();
    EXPECT_EQ(e.sink.lines, QStringList{"V Sample Text"});
    ed.windowFromArray({48, 100, 100, 0x70, int(Element::Annunciator)});
    ed.thread()->renderNow();
    EXPECT_FALSE(ed.mouseDown(ed.thread()->textRect().center())); // text: not reported

    e.reportAll();
    ed.forgetReported();
    e.reportAll();
    choose();
    EXPECT_EQ(e.sink.lines,
              (QStringList{"U 2", "t 70 70 21", "m 2", "n 1", "r 32 10 10 48 0", "V Sample Text"}));

    ed.forgetReported();
    ed.fromString("U 1");
    ed.annunciatorColorsFromString("t 70 70 70");
    ed.comFromString("n 0");
    ed.windowFromArray({32, 10, 10, 112, 0});
    choose();
    EXPECT_EQ(e.sink.lines,
              (QStringList{"U 2", "t 70 70 21", "n 1", "r 32 10 10 48 0", "V Sample Text"}));
}

// The echo guard: the mode just sent is not undone by the unit's answer,
// whether "U" or "m" comes first; the report after that counts again.
TEST(Annunciator, ModeChangeIgnoresTheNextReport) {
    Editor e;
    e.editor.setMode(Settings::kRecord);
    EXPECT_EQ(e.sink.lines, QStringList{"U 2"});
    e.editor.fromString("U 0");
    EXPECT_EQ(e.editor.settings().mode, Settings::kRecord);
    e.editor.fromString("U 3");
    EXPECT_EQ(e.editor.settings().mode, Settings::kPlayback);

    e.editor.setMode(Settings::kRehearse);
    e.editor.tcFromString("m 2");
    EXPECT_EQ(e.editor.settings().tcSource, Settings::kTcOff);
    e.editor.fromString("U 0");
    EXPECT_EQ(e.editor.settings().mode, Settings::kOff);
    EXPECT_EQ(e.sink.lines, (QStringList{"U 2", "U 1"}));
}

// Choices send the unit's command forms; sizing or placing an element makes
// it visible on the unit.
TEST(Annunciator, ChoicesSendTheirCommands) {
    Editor e;
    AnnunciatorEditor& ed = e.editor;
    ed.windowFromArray({32, 180, 10, 0x70, int(Element::Tc)});
    ed.setFontPoint(Element::Tc, 48); // source off: switched on
    ed.setFontPoint(Element::Tc, 64); // now on: no "m"
    ed.setFontPoint(Element::Annunciator, 72);
    ed.setFontPoint(Element::Text, 24);
    ed.setFontPoint(Element::BarBeat, 96);
    ed.setItemForeground(Element::Tc, 3);
    ed.setItemBackground(Element::Text, 5);
    ed.setAnnunciatorColor(Settings::kRecordPair, {2, 9});
    ed.setCom(Settings::kSony);
    ed.setShowMidi(true);
    ed.setTcSource(2);
    ed.onClearSampleText();
    ed.onClearSampleBarBeat();
    EXPECT_EQ(e.sink.lines,
              (QStringList{"r 48 180 10 112 3", "m 1", "r 64 180 10 112 3", "r 72 10 10 112 1",
                           "U 1", "r 24 10 10 112 0", "V Sample Text", "r 96 10 10 112 2",
                           "V2 Protools counter", "r 64 180 10 48 3", "r 24 10 10 117 0",
                           "t 70 92 70", "n 1", "n 3", "m 2", "V", "V2 "}));
}

// A press within the grace of two elements picks the annunciator; a press
// far from all picks none and moves nothing.
TEST(Annunciator, PressPicksTheNearestElementInOrder) {
    Editor e;
    AnnunciatorEditor& ed = e.editor;
    ed.windowFromArray({48, 100, 100, 0x70, int(Element::Annunciator)});
    ed.windowFromArray({32, 100, 110, 0x70, int(Element::Text)});
    ed.windowFromArray({32, 200, 200, 0x70, int(Element::Tc)});
    ed.windowFromArray({32, 10, 240, 0x70, int(Element::BarBeat)});
    ed.thread()->renderNow();
    const QRectF ann = ed.thread()->annunciatorRect();
    const QRectF text = ed.thread()->textRect();
    ASSERT_TRUE(ann.intersects(text.adjusted(-40, -40, 40, 40)));
    struct Case {
        QPointF at;
        std::optional<Element> drag;
    };
    const Case cases[] = {
        {text.center(), Element::Annunciator},
        {ed.thread()->tcRect().topRight() + QPointF(39, 0), Element::Tc},
        {ed.thread()->tcRect().topRight() + QPointF(41, 0), std::nullopt},
        {ed.thread()->barBeatRect().center(), Element::BarBeat},
    };
    for (const Case& c : cases) {
        const QPointF before = ed.point(Element::Tc);
        EXPECT_EQ(ed.mouseDown(c.at), c.drag.has_value());
        EXPECT_EQ(ed.dragItem(), c.drag);
        if (!c.drag) {
            EXPECT_EQ(ed.point(Element::Tc), before);
        }
        ed.mouseUp();
    }
    EXPECT_TRUE(e.sink.lines.isEmpty()); // only the settled drag sends
}

// Bad reports change nothing and send nothing.
TEST(Annunciator, BadReportsAreIgnored) {
    Editor e;
    AnnunciatorEditor& ed = e.editor;
    ed.fromString("U 2");
    ed.tcFromString("m 1");
    ed.comFromString("n 2");
    ed.annunciatorColorsFromString("t 31 42 53");
    ed.pointsFromArray({20, 40});
    const Settings before = ed.settings();
    const QPointF tc = ed.point(Element::Tc);
    ed.fromString("U");
    ed.fromString("U x");
    ed.fromString("U 9");
    ed.tcFromString("m");
    ed.tcFromString("m -1");
    ed.annunciatorColorsFromString("t zz");
    ed.windowFromArray({32, 10, 10, 112});
    ed.windowFromArray({32, 10, 10, 112, 3, 1});
    ed.windowFromArray({32, 10, 10, 112, 4});
    ed.windowFromArray({32, 10, 10, 112, -1});
    ed.pointsFromArray({});
    const Settings& after = ed.settings();
    EXPECT_EQ(after.mode, before.mode);
    EXPECT_EQ(after.tcSource, before.tcSource);
    EXPECT_EQ(after.annunciatorColors, before.annunciatorColors);
    EXPECT_EQ(after.pointChoices, before.pointChoices);
    EXPECT_EQ(ed.point(Element::Tc), tc);
    EXPECT_TRUE(e.sink.lines.isEmpty());
}

} // namespace
