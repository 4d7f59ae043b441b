#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>

// The unit's update side on the serial line, as the simulated unit plays it.
//
// Microcontroller: after the command "L" the boot monitor echoes every byte of
// the loader; after the 772nd the loader erases the FLASH and sends ACK
// (0x06), then takes S-record lines ended by CR LF and acknowledges each one
// with ACK once written; the end record "S9030000FC" starts the new program.
//
// Firmware: the unit's serial line has no command that starts a firmware
// update (the unit takes firmware through its network proxy), so nothing
// starts one here unless a test names a start command of its own
// (setFirmwareStartCommand). After it the unit erases its FLASH for a while,
// then says "ready"; every transmission ended by CR is echoed back followed
// by LF; the end-of-file record ":00000001FF" ends the update.
//
// The faults make each failure the host must handle happen on purpose.
class SimBootLoader {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int kLoaderBytes = 772;
    static constexpr char kAck = 0x06;
    static constexpr char kNak = 0x15;
    // Without a byte for this long an update is given up (the unit resets).
    static constexpr std::chrono::seconds kIdleReset{3};

    struct Faults {
        int wrongEchoAt = -1;    // echo loader byte N (0-based) wrongly
        bool noEraseAck = false; // the FLASH erase after the loader fails
        int nakRecordAt = -1;    // record N (0-based) is not acknowledged
        bool noReady = false;    // the firmware erase fails: "error" instead of "ready"
        int badEchoAt = -1;      // transmission N (0-based) comes back damaged
        int firmwareEraseMs = 300;
    };

    bool active() const { return m_mode != Mode::Off; }
    // After a command line of the serial channel.
    void afterCommand(const QString& line, Clock::time_point now);
    // A byte while active(); returns what the unit sends back.
    QByteArray feed(char byte, Clock::time_point now);
    // Output that fell due ("ready" after the erase).
    QByteArray tick(Clock::time_point now);
    std::optional<Clock::time_point> nextDeadline() const;

    void setFaults(const Faults& faults) { m_faults = faults; }
    // For the tests of the serial firmware engine only: the command line
    // that starts a firmware update (empty, the default: none does).
    void setFirmwareStartCommand(const QString& command) { m_firmwareStart = command; }
    Faults faults() const { return m_faults; }

    // What arrived: the loader bytes, the record lines, the transmissions
    // (without their CR) of the last update.
    QByteArray loader() const { return m_loader; }
    QStringList records() const { return m_records; }
    QList<QByteArray> transmissions() const { return m_transmissions; }
    void clearRecord();
    // The unit was switched off and on: whatever update ran is gone.
    void reset() { m_mode = Mode::Off; }

private:
    enum class Mode { Off, Loader, Records, FirmwareErase, Firmware };

    Mode m_mode = Mode::Off;
    Faults m_faults;
    QString m_firmwareStart;
    Clock::time_point m_lastByte;
    Clock::time_point m_readyAt;
    QByteArray m_line;
    QByteArray m_loader;
    QStringList m_records;
    QList<QByteArray> m_transmissions;
};
