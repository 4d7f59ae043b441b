#include "midi/MtcGenerator.h"

MtcGenerator::MtcGenerator(int rateCode, int hours, int minutes, int seconds, int frames)
    : m_rate(rateCode & 3) {
    locate(hours, minutes, seconds, frames);
}

int MtcGenerator::rateCodeOf(const QString& text) {
    if (text == QLatin1String("24"))
        return 0;
    if (text == QLatin1String("25"))
        return 1;
    if (text == QLatin1String("29.97df") || text == QLatin1String("30df"))
        return 2;
    if (text == QLatin1String("30"))
        return 3;
    return -1;
}

std::chrono::nanoseconds MtcGenerator::framePeriod(int rateCode) {
    using std::chrono::nanoseconds;
    switch (rateCode) {
    case 0:
        return nanoseconds(1'000'000'000LL / 24);
    case 1:
        return nanoseconds(1'000'000'000LL / 25);
    case 2:
        return nanoseconds(1'001'000'000LL / 30); // 29.97 frames a second
    default:
        return nanoseconds(1'000'000'000LL / 30);
    }
}

void MtcGenerator::locate(int hours, int minutes, int seconds, int frames) {
    m_described = {std::uint8_t((m_rate << 5) | (hours & 0x1F)), std::uint8_t(minutes),
                   std::uint8_t(seconds), std::uint8_t(frames)};
    m_piece = 0;
}

QByteArray MtcGenerator::fullFrame() const {
    const char bytes[10] = {char(0xF0),           char(0x7F),
                            char(0x01),           char(0x01),
                            char(0x01),           char(m_described[0]),
                            char(m_described[1]), char(m_described[2]),
                            char(m_described[3]), char(0xF7)};
    return QByteArray(bytes, 10);
}

QByteArray MtcGenerator::nextQuarterFrame() {
    // Pieces 0-7: frames, seconds, minutes, hours, low nibble first.
    const std::uint8_t field = m_described[std::size_t(3 - m_piece / 2)];
    const int nibble = m_piece % 2 == 0 ? field & 0x0F : field >> 4;
    const char bytes[2] = {char(0xF1), char((m_piece << 4) | nibble)};
    if (++m_piece == 8) {
        m_piece = 0;
        mtcframe::step(m_described, true);
        mtcframe::step(m_described, true);
    }
    return QByteArray(bytes, 2);
}
