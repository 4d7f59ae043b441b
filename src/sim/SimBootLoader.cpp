#include "sim/SimBootLoader.h"

void SimBootLoader::clearRecord() {
    m_loader.clear();
    m_records.clear();
    m_transmissions.clear();
}

void SimBootLoader::afterCommand(const QString& line, Clock::time_point now) {
    const QString command = line.trimmed();
    if (command == QLatin1String("L")) {
        clearRecord();
        m_mode = Mode::Loader;
    } else if (!m_firmwareStart.isEmpty() && command == m_firmwareStart) {
        clearRecord();
        m_mode = Mode::FirmwareErase;
        m_readyAt = now + std::chrono::milliseconds(m_faults.firmwareEraseMs);
    } else {
        return;
    }
    m_line.clear();
    m_lastByte = now;
}

QByteArray SimBootLoader::feed(char byte, Clock::time_point now) {
    m_lastByte = now;
    switch (m_mode) {
    case Mode::Off:
    case Mode::FirmwareErase:
        return {};
    case Mode::Loader: {
        const int index = int(m_loader.size());
        m_loader += byte;
        QByteArray out(1, index == m_faults.wrongEchoAt ? char(byte ^ 0x01) : byte);
        if (m_loader.size() == kLoaderBytes) {
            // The loader runs and erases the FLASH.
            if (m_faults.noEraseAck) {
                m_mode = Mode::Off;
            } else {
                out += kAck;
                m_mode = Mode::Records;
            }
        }
        return out;
    }
    case Mode::Records: {
        if (byte == '\r')
            return {};
        if (byte != '\n') {
            m_line += byte;
            return {};
        }
        const QString record = QString::fromLatin1(m_line);
        m_line.clear();
        const int index = int(m_records.size());
        m_records << record;
        if (index == m_faults.nakRecordAt) {
            m_mode = Mode::Off;
            return QByteArray(1, kNak);
        }
        if (record == QLatin1String("S9030000FC"))
            m_mode = Mode::Off; // the new program starts
        return QByteArray(1, kAck);
    }
    case Mode::Firmware: {
        m_line += byte;
        if (byte != '\r')
            return {};
        QByteArray echo = m_line;
        m_line.clear();
        const int index = int(m_transmissions.size());
        m_transmissions << echo.left(echo.size() - 1);
        if (index == m_faults.badEchoAt)
            echo[0] = char(echo.at(0) ^ 0x01);
        if (echo.contains(":00000001FF"))
            m_mode = Mode::Off; // the end-of-file record: the unit restarts
        return echo + '\n';
    }
    }
    return {};
}

QByteArray SimBootLoader::tick(Clock::time_point now) {
    if (m_mode == Mode::FirmwareErase && now >= m_readyAt) {
        m_lastByte = now;
        if (m_faults.noReady) {
            m_mode = Mode::Off;
            return QByteArrayLiteral("error\r\n");
        }
        m_mode = Mode::Firmware;
        return QByteArrayLiteral("ready\r\n");
    }
    if (m_mode != Mode::Off && m_mode != Mode::FirmwareErase && now >= m_lastByte + kIdleReset)
        m_mode = Mode::Off;
    return {};
}

std::optional<SimBootLoader::Clock::time_point> SimBootLoader::nextDeadline() const {
    switch (m_mode) {
    case Mode::Off:
        return std::nullopt;
    case Mode::FirmwareErase:
        return m_readyAt;
    default:
        return m_lastByte + kIdleReset;
    }
}
