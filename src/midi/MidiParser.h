#pragma once

#include "timecode/MtcFrame.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

// The incoming MIDI byte stream of the chosen source: channel-1 messages with
// running status, MIDI Time Code (quarter frames and full-frame messages), the
// HUI host's ping and its zone/display-format controllers.
//
// The quarter frames are assembled into a running timecode that is stepped
// one frame on pieces 3 and 7 (a missed piece 3 or 7 is made up at the next
// piece of the following half) and reported to the listener on every step.
// The frame step is the unit's long-standing one: at the 30 drop-frame rate
// it overwrites the hours byte with 2 at most second boundaries, so the next
// two reports carry a wrong time until the hours pieces come again. Studios
// have cue sheets timed against exactly that behaviour, so it stays the
// default; setExactDropFrame(true) counts 29.97 drop frame properly instead.
//
// Runs on the thread that delivers the bytes; not thread-safe apart from
// setExactDropFrame, which any thread may call.
class MidiParser {
public:
    // Hours with the rate code in bits 5-6, minutes, seconds, frames.
    using Mtc = mtcframe::Frame;

    class Listener {
    public:
        virtual ~Listener() = default;
        // Every frame step, with the stepped time.
        virtual void mtcEvent(const Mtc& mtc) = 0;
        // The time to show changed (a step or a full-frame message).
        virtual void showTcDigits(const Mtc& mtc) = 0;
        // A full-frame message: the source jumped to `mtc` (a locate).
        virtual void locate(const Mtc& /*mtc*/) {}
        // Every quarter frame as it arrives, before any step it makes:
        // its piece (0-7) and nibble.
        virtual void quarterFrame(int /*piece*/, int /*nibble*/) {}
        // Bytes to send to the chosen destination (the ping answer).
        virtual void txMidi(const QByteArray& bytes) = 0;
        // New HUI timecode-display digits arrived.
        virtual void showHui() {}
    };

    // HUI zone whose controller 0x2C switches the display-format lamps.
    static constexpr int kDisplayFormatZone = 22;

    explicit MidiParser(Listener* listener = nullptr) : m_listener(listener) {}
    void setListener(Listener* listener) { m_listener = listener; }

    // Feeds every byte in order.
    void decodeData(const std::uint8_t* data, std::size_t size);
    void decodeData(const QByteArray& data) {
        decodeData(reinterpret_cast<const std::uint8_t*>(data.constData()),
                   std::size_t(data.size()));
    }
    // One byte: 0 when it completed a message, -1 while more bytes are awaited
    // or when a message was dropped.
    int rxMidiByte(std::uint8_t b);

    void setExactDropFrame(bool exact) { m_exactDropFrame.store(exact, std::memory_order_relaxed); }
    bool exactDropFrame() const { return m_exactDropFrame.load(std::memory_order_relaxed); }

    Mtc mtc() const { return m_mtc; }
    int lastMtcIndex() const { return m_lastMtcIndex; }
    int zone() const { return m_zone; }
    std::uint8_t midiDisplayFmt() const { return m_midiDisplayFmt; }
    // HUI timecode-display digits, last digit first.
    const std::array<std::uint8_t, 8>& tcDigits() const { return m_tcDigits; }

    // The answer to the HUI host's ping: 90 00 7F.
    static QByteArray pingResponse();
    // The five sends of the HUI lamp test, in order.
    static QList<QByteArray> testSequence();

private:
    void noteOnService();
    void controlChangeService();
    void mtcService();
    void sysexService();
    void incrTc();
    void showTcDigits();

    Listener* m_listener;
    std::array<std::uint8_t, 256> m_buffer{};
    std::uint8_t m_index = 0; // wraps at 256: an endless sysex cannot run past the buffer
    Mtc m_mtc{};
    int m_lastMtcIndex = 0;
    int m_zone = 0;
    std::uint8_t m_midiDisplayFmt = 0;
    std::array<std::uint8_t, 8> m_tcDigits{};
    std::atomic<bool> m_exactDropFrame{false};
};
