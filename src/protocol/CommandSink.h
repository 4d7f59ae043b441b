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
    // Raw bytes, written unchanged (MIDI Note On triggers, system-exclusive frames).
    virtual void sendBytes(const QByteArray& bytes) = 0;
    // Number of commands still waiting to be written.
    virtual int txCount() const = 0;

    // Three-byte Note On, channel 1, velocity 64.
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
