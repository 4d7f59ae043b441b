#pragma once

#include "midi/MidiPorts.h"

#include <mutex>

class RtMidiIn;
class RtMidiOut;

// MidiPorts on RtMidi. The first compiled back end that starts is used:
// ALSA, then JACK (Linux), CoreMIDI (macOS).
class RtMidiPorts final : public MidiPorts {
public:
    explicit RtMidiPorts(const QString& clientName);
    ~RtMidiPorts() override;

    QString apiName() const override { return m_apiName; }
    QStringList sources() override;
    QStringList destinations() override;
    void setReceiver(Receiver receiver) override { m_receiver = std::move(receiver); }
    bool connectSource(const QString& name) override;
    bool connectDestination(const QString& name) override;
    void send(const QByteArray& bytes) override;

private:
    static void onMessage(double timeStamp, std::vector<unsigned char>* message, void* self);
    bool isOwnPort(const QString& name) const;

    QString m_clientName;
    QString m_apiName;
    std::unique_ptr<RtMidiIn> m_in;
    std::unique_ptr<RtMidiOut> m_out;
    Receiver m_receiver;
    std::mutex m_outLock; // guards m_out and m_outOpen: RtMidiOut is not thread-safe
    bool m_outOpen = false;
};
