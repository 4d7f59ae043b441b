#include "protocol/MidiMessages.h"

#include "protocol/Coding78.h"
#include "protocol/Commands.h"

namespace midimsg {
namespace {
// What the command table puts before a cue's text ("s "), taken once: a
// MIDI export writes thousands of cue texts.
const QString& cueTextPrefix() {
    static const QString prefix = cmd::cueText(QString());
    return prefix;
}
} // namespace

QByteArray noteOn(int note, int velocity) {
    const char bytes[3] = {char(kNoteOn), char(note & 0xff), char(velocity & 0xff)};
    return QByteArray(bytes, 3);
}

QByteArray trigger(int note) {
    return noteOn(note, kTriggerVelocity);
}

QByteArray codedText(const QString& command, int* substituted) {
    return coding78::encodeLatin1Text(command, substituted);
}

QByteArray textSysex(const QString& command) {
    QByteArray frame;
    frame.append(char(kSysexStart));
    frame.append(char(kManufacturer));
    frame.append(char(kCodedText));
    frame.append(codedText(command));
    frame.append(char(kSysexEnd));
    return frame;
}

QString linkCueCommand(const QString& text) {
    QString command = cueTextPrefix() + text;
    if (command.size() > kLinkTextCutAbove)
        command.truncate(kLinkTextChars);
    return command;
}

QString fileCueCommand(const QString& text) {
    return (cueTextPrefix() + text).left(kFileTextChars);
}

QByteArray cueTextSysex(const QString& text) {
    return textSysex(linkCueCommand(text));
}

} // namespace midimsg
