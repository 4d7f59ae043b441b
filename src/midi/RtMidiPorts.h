#pragma once

#include "midi/MidiPorts.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

class RtMidiIn;
class RtMidiOut;

// MidiPorts on RtMidi. The first compiled back end that starts is used:
// ALSA, then JACK (Linux), CoreMIDI (macOS).
class RtMidiPorts final : public MidiPorts {
public:
    RtMidiPorts(const QString& clientName, Receiver receiver);
    ~RtMidiPorts() override;

    QString apiName() const override { return m_apiName; }
    QStringList sources() override;
    QStringList destinations() override;
    bool connectSource(const QString& name) override;
    bool connectDestination(const QString& name) override;
    void send(const QByteArray& bytes) override;

private:
    static void onMessage(double timeStamp, std::vector<unsigned char>* message, void* self);
    void sendQueued();
    bool isOwnPort(const QString& name) const;
    // Makes our MIDI clients on the chosen back end once it is running
    // (main thread); false while it is not.
    bool openClients();

    QString m_clientName;
    QString m_apiName;
    int m_api = -1; // the chosen RtMidi::Api, -1 when none is compiled in
    // One cycle of the JACK server's process thread (0 without JACK).
    std::chrono::microseconds m_jackCycle{0};
    Receiver m_receiver; // set before the MIDI thread starts, never changed

    // Sends go through a thread of our own, so a thread that sends (the MIDI
    // thread answering a ping) never waits for a connection being made.
    std::mutex m_queueLock; // guards m_queue and m_stopSending
    std::condition_variable m_queueReady;
    std::deque<QByteArray> m_queue;
    bool m_stopSending = false;
    std::thread m_sender;
    std::mutex m_outLock; // guards m_out and m_outOpen: RtMidiOut is not thread-safe
    std::unique_ptr<RtMidiIn> m_in;
    std::unique_ptr<RtMidiOut> m_out;
    bool m_outOpen = false;
};
