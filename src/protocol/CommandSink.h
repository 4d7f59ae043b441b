#pragma once

#include "protocol/MidiMessages.h"

#include <QByteArray>
#include <QString>

// Everything that sends to the unit goes through one of these: the serial link
// (ComThread) in the application, the network link when the proxy is in use.
// A sender never learns whether a command arrived; the unit's reply re-sets the
// controls.
class CommandSink {
public:
    virtual ~CommandSink() = default;

    // A text command without terminator; the link frames it (CR/LF removed,
    // cut to 251 characters when longer than 252, CR LF appended, Latin-1).
    virtual void sendString(const QString& command) = 0;
    // Raw bytes, written unchanged, in their place behind the commands
    // already queued: a Fire button's note reaches the unit after the colour
    // or setting sent just before it.
    virtual void sendBytes(const QByteArray& bytes) = 0;
    // Raw bytes of the timing path (a cue's trigger and text, fired from
    // timecode or by hand from a cue sheet): written at once, ahead of queued
    // commands and without waiting for any reply.
    virtual void sendTimingBytes(const QByteArray& bytes) = 0;
    // Number of commands still waiting to be written.
    virtual int txCount() const = 0;

    // Three-byte Note On, channel 1, velocity 64, queued as sendBytes.
    void sendMidiTrigger(int note) { sendBytes(midimsg::trigger(note)); }
};

// The network link offers to carry a command before the serial queue sees it.
// A result >= 0 means it took the command; -1 means "not connected, use serial".
class NetworkSender {
public:
    virtual ~NetworkSender() = default;
    virtual int sendStringToNetwork(const QString& command) = 0;
    virtual int sendBytesToNetwork(const QByteArray& bytes) = 0;
    // Whether the stream is open now (any thread).
    virtual bool isOpen() const = 0;
};
