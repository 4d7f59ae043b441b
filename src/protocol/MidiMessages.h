#pragma once

#include <QByteArray>
#include <QString>

// The MIDI messages the program sends to the unit and writes into MIDI files.
namespace midimsg {

inline constexpr unsigned char kNoteOn = 0x90; // channel 1
inline constexpr unsigned char kSysexStart = 0xF0;
inline constexpr unsigned char kSysexEnd = 0xF7;
// The unit's system-exclusive header: its manufacturer byte, then 0x01 for a
// 7/8-coded text command.
inline constexpr unsigned char kManufacturer = 0x20;
inline constexpr unsigned char kCodedText = 0x01;
// Trigger notes: 119 accumulate, 120-123 punch 0-3, 124-127 streamer 0-3.
// A cue fires with the accumulate trigger, over the link and in MIDI files.
inline constexpr int kAccumulateNote = 119;
inline constexpr int kTriggerVelocity = 0x40;

// How much of a cue's text command ("s <text>") the unit is sent, "s "
// included. Over the link a command longer than kLinkTextCutAbove characters
// keeps its first kLinkTextChars; a MIDI file carries at most kFileTextChars.
// (The 7/8 coding then takes at most 217 bytes of either.)
inline constexpr int kLinkTextCutAbove = 250;
inline constexpr int kLinkTextChars = 249;
inline constexpr int kFileTextChars = 217;

// Note On, channel 1: 0x90, note, velocity (low 8 bits each).
QByteArray noteOn(int note, int velocity);
// A trigger as the unit expects it: Note On with velocity 64.
QByteArray trigger(int note);
// The 7/8-coded payload of a text command: its Latin-1 bytes, "?" for each
// character without a Latin-1 form (coding78::latin1ForUnit); `substituted`,
// when given, receives how many there were.
QByteArray codedText(const QString& command, int* substituted = nullptr);
// The whole frame: F0 20 01, the coded command, F7.
QByteArray textSysex(const QString& command);

// A cue's text command as the link sends it and as a MIDI file carries it,
// each cut as said above.
QString linkCueCommand(const QString& text);
QString fileCueCommand(const QString& text);
// The frame that carries a cue's text to the unit over the link.
QByteArray cueTextSysex(const QString& text);

} // namespace midimsg
