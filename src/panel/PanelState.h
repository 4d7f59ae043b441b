#pragma once

#include <QString>
#include <array>
#include <cstdint>

// What the control panel shows of the unit's video and timecode settings.
// Filled from the unit's replies; the controls send from it.
struct PanelState {
    // "A": reference rate (0 Flat, 1 Pulldown, 2 Auto), input priority
    // (0 HDMI, 1 SDI), streamer end punch.
    int rateCell = 0;
    int priorityCell = 1;
    bool streamerEndPunch = false;
    // "G"
    bool bars = false;
    bool grayScale = false;
    // "H": top, bottom, left, right, transparency.
    std::array<int, 5> masking{};
    // "X": pop enables; timecode source 0 none (pop only), 1 LTC, 2 MTC. The
    // unit may report 3, which selects no source button.
    bool popStreamerAccum = false;
    bool popPunch = false;
    bool popStreamer = false;
    int popCell = 0;
    // "M": SDI generator standard; "Q": bypass; "J": delay trim in fiftieths
    // of a second; "Y": input colour space row.
    int sdiGenerator = 15;
    bool bypass = false;
    int delayTrimSteps = 0;
    int colorSpaceRow = 0;

    friend bool operator==(const PanelState&, const PanelState&) = default;
};

// Which part of the panel a reply changed. The groups up to ColorSpace are
// the unit's settings, each carried by one reply letter.
enum class PanelGroup {
    Rate,
    BarsAndGray,
    Masking,
    PopEnables,
    SdiGenerator,
    Bypass,
    DelayTrim,
    ColorSpace,
    Progress,
    UnitMemory,
};
inline constexpr int kSettingGroups = int(PanelGroup::ColorSpace) + 1;

// Index of the masking values.
enum class Mask { Top = 0, Bottom = 1, Left = 2, Right = 3, Transparency = 4 };

// The unit's state memory as read with "k" and "j" (the settings area at
// fc00..fcff), and its firmware version from the "k" reply.
struct UnitMemory {
    std::array<std::uint8_t, 256> stateBuffer{};
    unsigned stateAddress = 0;
    unsigned stateSize = 0;
    QString firmwareVersion;

    friend bool operator==(const UnitMemory&, const UnitMemory&) = default;
};

// The transfer progress display on the unit tab.
struct ProgressState {
    bool visible = false;
    int maximum = 100;
    int value = 0;
    QString label;

    friend bool operator==(const ProgressState&, const ProgressState&) = default;
};
