#pragma once

#include "overlay/DrawStreamerThread.h"
#include "overlay/OverlayEditor.h"
#include "protocol/ReplyReceivers.h"

#include <QImage>
#include <QString>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

class CommandSink;

// What the streamer panel shows, in the unit's units. Colours are 3-bit
// overlay codes (0 white .. 7 black): the unit draws nothing else. Width,
// duration and delay hold whatever the unit reports, however large, so that
// a later "C" gives them back unchanged.
struct StreamerSettings {
    static constexpr int kEndBar = 4; // colors[4]; 0..3 are the streamers
    std::array<int, 5> colors{0, 0, 0, 0, 0};
    std::uint32_t width = 0x28;   // canvas pixels
    std::uint32_t duration = 100; // fiftieths of a second
    std::uint32_t delay = 0;      // fiftieths of a second
    int top = 255;                // 255 = top of the picture
    int bottom = 0;               // 0 = bottom of the picture
    int transparency = 0;         // 0 = opaque

    bool operator==(const StreamerSettings&) const = default;
};

// The streamer editor without its widgets: keeps the settings, sends them as
// the "C" command, takes the unit's "C" report back without echoing it, and
// drives the preview worker. Until the unit has reported its settings, none
// are sent (the triggers are). Main thread only.
class StreamerEditor final : public StreamerReceiver, public OverlayEditor<DrawStreamerThread> {
public:
    static constexpr int kMaxByte = 255;
    // The width slider's range; a wider bar the unit reports is kept.
    static constexpr int kMaxWidth = 255;
    // The timing fields' range: every count a control can hold.
    static constexpr int kMaxFiftieths = std::numeric_limits<int>::max();
    static constexpr int kFirstStreamerNote = 124;

    StreamerEditor();

    const StreamerSettings& settings() const { return m_settings; }

    // The user's changes. Geometry and timing go out once the worker's
    // countdown runs out; colours go out at once.
    void setWidth(int v);
    void setTop(int v);
    void setBottom(int v);
    void setTransparency(int v);
    void setDuration(int fiftieths);
    void setDelay(int fiftieths);
    // Seconds as typed: the nearest fiftieth, a quarter step favouring the
    // one below.
    static int fiftiethsFromSeconds(double seconds);
    // Channel 0..3 or StreamerSettings::kEndBar. A streamer's colour change
    // also fires that streamer, so the operator sees it on the picture.
    void setColor(int channel, int code);
    void fireStreamer(int channel);
    void fireAccumulate();

    // The "C" command from the settings.
    QString command() const;
    void streamerTx();
    void setDraw(int mode) override;

    // Whether the unit's "C" report has come since its settings were last
    // asked for.
    bool isRead() const { return m_read; }

    // StreamerReceiver
    void fromString(const QString& line) override;
    void forgetReported() override;
    double offset() const override { return m_settings.duration / 50.0; }
    int streamerDuration() const override;

private:
    void threadNeedsTx(int) override { streamerTx(); }
    void trigger(int note);

    StreamerSettings m_settings;
    bool m_read = false;
};
