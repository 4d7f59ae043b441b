#pragma once

#include "update/UpdateEngine.h"

#include <QByteArray>
#include <QStringList>

// Replaces the unit's microcontroller program over the serial port: "L\r"
// wakes the unit's boot monitor, the loader is sent byte by byte and each byte
// must come back unchanged, the unit then erases its FLASH and acknowledges
// with ACK (0x06), and every S1 record of the list goes out as one line that
// the unit acknowledges the same way once it is written. A failure after the
// erase leaves the unit without a program, which the final message says.
class MicroUpdateThread final : public UpdateEngine {
public:
    static constexpr int kLoaderBytes = 772;
    static constexpr char kAck = 0x06;
    // Time limits for the unit's answers.
    static constexpr int kWakeMinWaitMs = 200; // ten steps of 20 ms
    static constexpr int kWakeStepMs = 20;
    static constexpr int kEchoWaitMs = 100;
    static constexpr int kEraseWaitMs = 500;
    static constexpr int kRecordWaitMs = 500;
    static constexpr int kMaxLineChars = 1024;

    // The record texts to send, the end record last.
    void setSRecArray(const QStringList& records) { m_records = records; }
    const QStringList& sRecArray() const { return m_records; }
    // The unit's loader (kLoaderBytes bytes; anything else is refused).
    void setLoader(const QByteArray& loader) { m_loader = loader; }
    const QByteArray& loader() const { return m_loader; }

protected:
    bool hasWork() const override { return m_loader.size() == kLoaderBytes; }
    Progress run() override;

private:
    Progress sendRecords();

    QStringList m_records;
    QByteArray m_loader;
};
