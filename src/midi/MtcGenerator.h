#pragma once

#include "midi/MidiParser.h"

#include <QByteArray>
#include <QString>
#include <chrono>

// MIDI Time Code as a sequencer sends it while playing: a full-frame message
// at the start (and after a locate), then quarter frames, four per frame, the
// eight pieces describing the frame on which piece 0 went out. The time runs
// on by two frames per eight pieces, counted as the rate counts (29.97 drop
// frame skips frame numbers 0 and 1 at each minute but every tenth).
class MtcGenerator {
public:
    // Rate codes: 0 = 24, 1 = 25, 2 = 29.97 drop frame, 3 = 30.
    MtcGenerator(int rateCode, int hours, int minutes, int seconds, int frames);

    // "24", "25", "29.97df" (also "30df") or "30"; -1 when none of them.
    static int rateCodeOf(const QString& text);
    // How long one frame lasts at the rate.
    static std::chrono::nanoseconds framePeriod(int rateCode);
    std::chrono::nanoseconds quarterFramePeriod() const { return framePeriod(m_rate) / 4; }

    // F0 7F 01 01 01 hh mm ss ff F7 for the current time (device 01: the
    // device this program's MIDI input answers to).
    QByteArray fullFrame() const;
    // The next quarter frame (F1 and its piece).
    QByteArray nextQuarterFrame();
    // Moves to another time; the next quarter frame is piece 0 of it.
    void locate(int hours, int minutes, int seconds, int frames);

    // The time the current eight pieces describe.
    MidiParser::Mtc described() const { return m_described; }

private:
    int m_rate;
    MidiParser::Mtc m_described{};
    int m_piece = 0;
};
