#include "sim/SimNetworkUpdate.h"

namespace {
QByteArray progress(int count) {
    return "u " + QByteArray::number(count) + "\r\n";
}

bool isEndRecord(const QByteArray& line) {
    const QByteArray t = line.trimmed();
    return t.compare(":00000001FF", Qt::CaseInsensitive) == 0 || t.startsWith("S7") ||
           t.startsWith("S8") || t.startsWith("S9");
}
} // namespace

void SimNetworkUpdate::start(Clock::time_point now) {
    m_active = true;
    m_hungUp = false;
    m_records = 0;
    m_lastLine = now;
}

QByteArray SimNetworkUpdate::record(const QByteArray& line, Clock::time_point now) {
    ++m_records;
    m_lastLine = now;
    if (m_faults.dropAfter >= 0 && m_records >= m_faults.dropAfter) {
        m_active = false; // the connection goes, and the update with it
        m_hungUp = true;
        return {};
    }
    if (stalled()) {
        if (isEndRecord(line))
            m_active = false; // the unit restarts without a word
        return {};
    }
    if (isEndRecord(line))
        return finish();
    if (m_records % kProgressLines == 0)
        return progress(m_records) + '>';
    return {};
}

QByteArray SimNetworkUpdate::tick(Clock::time_point now) {
    if (!m_active || now < m_lastLine + kQuiet)
        return {};
    if (stalled()) {
        m_active = false;
        return {};
    }
    return finish();
}

std::optional<SimNetworkUpdate::Clock::time_point> SimNetworkUpdate::deadline() const {
    if (!m_active)
        return std::nullopt;
    return m_lastLine + kQuiet;
}

QByteArray SimNetworkUpdate::finish() {
    m_active = false;
    m_lastTotal = m_records;
    ++m_completed;
    return progress(m_records) + progress(0) + '>';
}

QString SimNetworkUpdate::sampleImage(int dataLines) {
    QString text;
    for (int i = 0; i < dataLines; ++i)
        text += QStringLiteral(":10%1000102030405060708090A0B0C0D0E0F%2\n")
                    .arg(i * 16 % 0x10000, 4, 16, QLatin1Char('0'))
                    .arg(i % 256, 2, 16, QLatin1Char('0'))
                    .toUpper();
    return text + QStringLiteral(":00000001FF\n");
}
