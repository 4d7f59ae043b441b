#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

// The system's MIDI sources and destinations, and this program's one input
// and one output on them.
//
// The input is always open: connected to the chosen source, or, with none
// chosen (or the chosen one gone), as a port of our own ("MIDI In") that
// other programs can play into. The output works the same way ("MIDI Out").
// Port lists leave our own ports out.
//
// The lists and the connections belong to the main thread. Received bytes
// arrive on the system's MIDI thread, one message per call, through the
// receiver given at creation; send() may be called from any
// thread.
class MidiPorts {
public:
    using Receiver = std::function<void(const std::uint8_t* bytes, std::size_t size)>;

    virtual ~MidiPorts() = default;

    // Which MIDI system is in use ("ALSA", "JACK", "CoreMIDI"), empty when none.
    virtual QString apiName() const = 0;
    virtual QStringList sources() = 0;
    virtual QStringList destinations() = 0;

    // Connects the input to the named source, or to our own port for an
    // empty name. False when the source is not there or does not connect
    // (the input then listens on our own port).
    virtual bool connectSource(const QString& name) = 0;
    // The same for the output.
    virtual bool connectDestination(const QString& name) = 0;
    virtual void send(const QByteArray& bytes) = 0;

    // The system's MIDI: ALSA where it runs, otherwise JACK on Linux; CoreMIDI
    // on macOS. `clientName` names our ports there; `receiver` gets what
    // arrives on the input. Never null: without any MIDI system the lists
    // are empty and sends go nowhere.
    static std::unique_ptr<MidiPorts> createSystem(const QString& clientName,
                                                   Receiver receiver = {});
};
