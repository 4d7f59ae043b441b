#pragma once

#include "overlay/DrawThread.h"
#include "overlay/OverlayEditor.h"
#include "protocol/ReplyReceivers.h"

#include <QImage>
#include <QPointF>
#include <QString>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

class CommandSink;

// What the punch panel shows. Colours are 3-bit overlay codes (0 white ..
// 7 black); the point is the punch centre in canvas pixels from the bottom
// left (0..1920 across, 0..1080 up). The duration, interval and repeat
// count hold whatever the unit reports, however large, so that a later "E"
// gives them back unchanged.
struct PunchSettings {
    enum Switch { kPunchEnable, kBeeps, kBlackCueBlack, kPictureWhenStopped, kSwitches };
    std::array<int, 4> colors{0, 0, 0, 0};
    std::array<bool, 4> reverse{false, false, false, false};
    std::array<bool, kSwitches> switches{true, false, false, false};
    QPointF punchPoint{960, 540};
    int size = 64;
    std::uint32_t durationFrames = 12;
    std::uint32_t repeatSeconds = 100; // hundredths of a second between repeats
    std::uint32_t repeatCount = 2;

    bool operator==(const PunchSettings&) const = default;
};

// The punch editor without its widgets: keeps the settings, sends them as the
// "E" command, takes the unit's "E" report back without echoing it, places
// the punch from clicks on the preview, and drives the preview worker. Until
// the unit has reported its settings, none are sent (the triggers are). Main
// thread only.
class PunchEditor final : public PunchReceiver, public OverlayEditor<DrawThread> {
public:
    static constexpr int kMaxSize = 255;
    // The number fields' range: every count a control can hold.
    static constexpr int kMaxNumber = std::numeric_limits<int>::max();
    static constexpr int kFirstPunchNote = 120;

    PunchEditor();

    const PunchSettings& settings() const { return m_settings; }

    // Size and position go out once the worker's countdown runs out; every
    // other change at once.
    void setSize(int v);
    // A click or drag at a fraction of the preview (0..1 from the left and
    // from the top).
    void placeAt(double fromLeft, double fromTop);
    // The position typed in the unit's steps (0..255 of the picture, x from
    // the left, y from the top); sent at once.
    void placeAtWire(int x, int y);
    // Where the unit puts the punch now, in those steps.
    int wireX() const;
    int wireY() const;
    void setColor(int channel, int code); // punch 0's also redraws; fires it
    void setReverse(int channel, bool on);
    void setSwitch(PunchSettings::Switch which, bool on);
    void setDurationFrames(int frames);
    void setRepeatCount(int count);
    void setRepeatSeconds(int hundredths);
    // Seconds as typed, cut (not rounded) to hundredths.
    static int hundredthsFromSeconds(double seconds);
    void firePunch(int channel);

    QString command() const;
    void punchTx();
    void setDraw(int mode) override;

    // Whether the unit's "E" report has come since its settings were last
    // asked for.
    bool isRead() const { return m_read; }

    // PunchReceiver
    void fromString(const QString& line) override;
    void forgetReported() override;

private:
    void threadNeedsTx(int) override { punchTx(); }
    PunchSettings m_settings;
    bool m_read = false;
};
