#pragma once

#include "overlay/AnnunciatorElement.h"
#include "overlay/DrawAnnunciatorThread.h"
#include "overlay/OverlayEditor.h"
#include "overlay/TextItem.h"
#include "protocol/ReplyReceivers.h"

#include <QImage>
#include <QList>
#include <QPointF>
#include <QString>
#include <array>
#include <functional>
#include <memory>
#include <optional>

class CommandSink;

// What the annunciator panel shows.
struct AnnunciatorSettings {
    enum Mode { kOff = 0, kRehearse = 1, kRecord = 2, kPlayback = 3 };
    enum Pair { kFirstPair = 0, kRecordPair = 1, kPlaybackPair = 2, kPairs = 3 };
    // Timecode counter sources: 0 hides the counter, 2 counts feet and
    // frames, every other source shows timecode.
    static constexpr int kTcOff = 0;
    static constexpr int kTcFeet = 2;
    static constexpr int kMidi = 0;
    static constexpr int kSony = 1;

    struct Colors {
        int fore = 0; // 0..7, the "Bars" codes
        int back = 7; // 0..15
        bool operator==(const Colors&) const = default;
    };

    int mode = kOff;
    std::array<Colors, kPairs> annunciatorColors{};
    int tcSource = kTcOff;
    int comCell = kMidi; // -1: neither MIDI nor Sony is shown chosen
    bool showMidi = false;
    QList<int> pointChoices{24, 32, 48, 64, 72, 96};
    PerElement<TextItem> items;
    // What the colour choosers of the text, bar/beat and timecode show. They
    // follow the unit's report; a choice the user makes is shown as chosen.
    PerElement<Colors> itemColors;
};

// Which of the unit's annunciator reports have come since its settings were
// last asked for. A setting is sent only once its report has come; the
// sample text and counter lines ("V", "V2") are not settings and always go.
struct AnnunciatorReports {
    bool mode = false;        // "U"
    bool colors = false;      // "t"
    bool tcSource = false;    // "m"
    bool com = false;         // "n"
    bool sizes = false;       // "z": the sizes the unit offers
    PerElement<bool> windows; // "r" for each element: place, size, colours
};

// The annunciator layout editor without its widgets: keeps what the panel
// shows, sends the "U", "r", "m", "t", "n", "V" and "V2" commands, takes the
// unit's reports back, picks and drags the four elements on the preview, and
// drives the preview worker. Main thread only.
class AnnunciatorEditor final : public AnnunciatorReceiver,
                                public OverlayEditor<DrawAnnunciatorThread> {
public:
    using Element = AnnunciatorElement;
    static constexpr int kGracePixels = 40;

    AnnunciatorEditor();

    const AnnunciatorSettings& settings() const { return m_settings; }
    // An element's top-left anchor in canvas pixels (origin bottom left).
    QPointF point(Element e) const { return m_points[e]; }
    // The element the mouse holds, if any.
    std::optional<Element> dragItem() const { return m_dragItem; }
    bool skipEcho() const { return m_skipEcho; }
    const AnnunciatorReports& reported() const { return m_reported; }

    // The user's choices.
    void setMode(int mode); // the radio buttons: sends "U" and guards its echo
    void setAnnunciatorColor(int pair, const AnnunciatorSettings::Colors& colors);
    void setItemForeground(Element e, int code);
    void setItemBackground(Element e, int code);
    void setTcSource(int source);
    void setCom(int cell);
    void setShowMidi(bool on);
    void setFontPoint(Element e, int points);
    void onShowSampleText();
    void onClearSampleText();
    void onShowSampleBarBeat();
    void onClearSampleBarBeat();

    // The preview, in canvas pixels with the origin at the bottom left. A
    // press near an element (kGracePixels of slack) picks it up and moves
    // its centre to the mouse; returns whether one was picked. An element
    // whose place the unit has not reported cannot be picked. The unit gets
    // the element's position once the drag has settled.
    bool mouseDown(const QPointF& canvas);
    void mouseDragged(const QPointF& canvas);
    void mouseUp() { m_dragItem.reset(); }
    static bool closeToRect(const QPointF& p, const QRectF& r);

    void setDraw(int code) override;
    // The "r" command for an element.
    void setWindowPosition(Element e);

    // AnnunciatorReceiver
    void fromString(const QString& line) override;
    void tcFromString(const QString& line) override;
    void comFromString(const QString& line) override;
    void annunciatorColorsFromString(const QString& line) override;
    void windowFromArray(const QList<int>& numbers) override;
    void pointsFromArray(const QList<int>& numbers) override;
    void forgetReported() override;

private:
    void send(const QString& command);
    // Sends a setting whose report has come; otherwise notes it and drops it.
    bool sendSetting(bool reported, const QString& command);
    void sendAnnunciator();
    void sendTc();
    void sendCom();
    void sendAnnunciatorColors();
    void threadNeedsTx(int code) override;
    // Sends the element's place, then what makes it visible on the unit.
    void placed(Element e);
    void showTcCounter();
    void dragStep(const QPointF& canvas);

    AnnunciatorSettings m_settings;
    PerElement<QPointF> m_points;
    std::optional<Element> m_dragItem;
    bool m_skipEcho = false;
    AnnunciatorReports m_reported;
};
