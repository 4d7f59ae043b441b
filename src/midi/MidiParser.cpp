#include "midi/MidiParser.h"

#include <cstdio>

namespace {
constexpr std::uint8_t kSysex = 0xF0;
constexpr std::uint8_t kEndOfSysex = 0xF7;
// Sysex header of the HUI host's timecode display.
constexpr std::array<std::uint8_t, 7> kHuiTimecodeHeader = {0xF0, 0x00, 0x00, 0x66,
                                                            0x05, 0x00, 0x11};

void setLowNibble(std::uint8_t& byte, int n) {
    byte = std::uint8_t((byte & 0xF0) | (n & 0x0F));
}
void setHighNibble(std::uint8_t& byte, int n) {
    byte = std::uint8_t((byte & 0x0F) | ((n & 0x0F) << 4));
}
} // namespace

void MidiParser::decodeData(const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        rxMidiByte(data[i]);
}

int MidiParser::rxMidiByte(std::uint8_t b) {
    if (b > 0x7F && b != kEndOfSysex) {
        m_buffer[0] = b;
        m_index = 1;
        if (b < 0xF0)
            return -1;
    } else {
        m_buffer[m_index++] = b;
    }
    const int held = m_index == 0 ? 256 : m_index;
    const std::uint8_t status = m_buffer[0];
    if (status < 0x80) { // data with no status before it
        m_index = 0;
        return -1;
    }
    if (status < 0xF0) {
        if ((status & 0x0F) != 0) { // only channel 1 is ours
            m_index = 0;
            return -1;
        }
        const int length = (status == 0xC0 || status == 0xD0) ? 2 : 3;
        if (held < length)
            return -1;
        if (status == 0x90)
            noteOnService();
        else if (status == 0xB0)
            controlChangeService();
        m_index = 1; // running status
        return 0;
    }
    switch (status) {
    case kSysex:
        if (b != kEndOfSysex)
            return -1;
        sysexService();
        m_index = 0;
        return 0;
    case 0xF1:
        if (held < 2)
            return -1;
        mtcService();
        m_index = 0;
        return 0;
    case 0xF2:
        if (held < 3)
            return -1;
        m_index = 0;
        return 0;
    case 0xF3:
        if (held < 2)
            return -1;
        m_index = 0;
        return 0;
    default:
        // Any other system status, real-time bytes included, ends the message
        // in progress.
        m_index = 0;
        return 0;
    }
}

void MidiParser::noteOnService() {
    // The HUI host pings with note 0, velocity 0 and stops talking to a
    // device that does not answer.
    if (m_buffer[1] == 0 && m_buffer[2] == 0 && m_listener)
        m_listener->txMidi(pingResponse());
}

void MidiParser::controlChangeService() {
    const int controller = m_buffer[1];
    const int value = m_buffer[2];
    if (controller == 0x0C) {
        m_zone = value;
    } else if (controller == 0x2C && m_zone == kDisplayFormatZone) {
        const auto bit = std::uint8_t(1u << (value & 7));
        if (value & 0x40)
            m_midiDisplayFmt |= bit;
        else
            m_midiDisplayFmt &= std::uint8_t(~bit);
    }
}

void MidiParser::mtcService() {
    const int piece = (m_buffer[1] >> 4) & 7;
    const int nibble = m_buffer[1] & 0x0F;
    if (m_listener)
        m_listener->quarterFrame(piece, nibble);
    // Pieces 0-2 and 4-6 make up a step that the previous half missed.
    if (piece < 3 && m_lastMtcIndex != 7) {
        m_lastMtcIndex = 7;
        incrTc();
        showTcDigits();
    } else if (piece >= 4 && piece < 7 && m_lastMtcIndex != 3) {
        m_lastMtcIndex = 3;
        incrTc();
        showTcDigits();
    }
    std::uint8_t& field = m_mtc[size_t(mtcframe::kFrames - piece / 2)];
    if (piece % 2 == 0)
        setLowNibble(field, nibble);
    else
        setHighNibble(field, nibble);
    if (piece == 3 || piece == 7) {
        m_lastMtcIndex = piece;
        incrTc();
        showTcDigits();
    }
}

void MidiParser::incrTc() {
    mtcframe::step(m_mtc, exactDropFrame());
    if (m_listener)
        m_listener->mtcEvent(m_mtc);
}

void MidiParser::showTcDigits() {
    if (m_listener)
        m_listener->showTcDigits(m_mtc);
}

void MidiParser::sysexService() {
    const int length = m_index == 0 ? 256 : m_index; // F7 included
    if (length >= 10 && m_buffer[1] == 0x7F && m_buffer[2] == 0x01 && m_buffer[3] == 0x01) {
        // Full-frame message (device 01): the time to show, no step.
        for (int i = 0; i < 4; ++i)
            m_mtc[size_t(i)] = m_buffer[size_t(5 + i)];
        showTcDigits();
        if (m_listener)
            m_listener->locate(m_mtc);
        return;
    }
    if (length < int(kHuiTimecodeHeader.size()))
        return;
    for (size_t i = 0; i < kHuiTimecodeHeader.size(); ++i)
        if (m_buffer[i] != kHuiTimecodeHeader[i])
            return;
    size_t slot = m_tcDigits.size();
    for (int i = int(kHuiTimecodeHeader.size()); i < length - 1 && slot > 0; ++i)
        m_tcDigits[--slot] = m_buffer[size_t(i)];
    if (m_listener)
        m_listener->showHui();
}

QByteArray MidiParser::pingResponse() {
    return QByteArray::fromHex("90007f");
}

QList<QByteArray> MidiParser::testSequence() {
    // Display-format lamp on, zone 15 lamp on, two controllers, lamp off.
    return {QByteArray::fromHex("b00c01b02c47"), QByteArray::fromHex("b00f01b02f40"),
            QByteArray::fromHex("b0017f"), QByteArray::fromHex("b02160"),
            QByteArray::fromHex("b00f01b02f00")};
}
