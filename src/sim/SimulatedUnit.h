#pragma once

#include "base/WakePipe.h"
#include "sim/SimProtocol.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

struct pollfd;

// A QZ62 unit in software, on a real pseudo-terminal: the host opens
// ptyPath() like the adapter's serial port and talks to SimProtocol through
// it. One thread serves the terminal with poll; nothing here blocks the host.
//
// For the application's --simulator:
//     SimulatedUnit sim;
//     sim.start();
//     comThread.setPort(sim.ptyPath());
//     comThread.openUsbSerial();
//
// Options for tests change how the unit behaves on the wire: emulate the wire
// speed (10 bits per byte at the given baud rate, both ways), answer late,
// answer nothing, fail the identification, send arbitrary bytes, and pull the
// plug. The accessors are thread-safe.
class SimulatedUnit {
public:
    using Clock = SimProtocol::Clock;

    SimulatedUnit();
    ~SimulatedUnit();
    SimulatedUnit(const SimulatedUnit&) = delete;
    SimulatedUnit& operator=(const SimulatedUnit&) = delete;

    // Opens the pseudo-terminal and starts serving it; false when no
    // pseudo-terminal can be had.
    bool start();
    // Stops serving and closes the terminal and the network port.
    void stop();
    // Also serve the protocol over TCP on 127.0.0.1 (the network proxy's
    // transport; commands end with "\n" there). Call before start(); port 0
    // picks a free one. Returns the port, or 0 when it cannot listen. Each
    // connection is its own channel to the same unit; no wire emulation.
    quint16 listenTcp(quint16 port = 0);
    quint16 tcpPort() const { return m_tcpPort; }
    // Closes the terminal: the host sees its port hang up, as when the USB
    // adapter is pulled. (Stops the network side too.)
    void unplug() { stop(); }
    // Switched off and on (SimProtocol::powerCycle); the terminal stays.
    void powerCycle();
    bool isRunning() const { return m_running.load(); }
    // The path the host opens (the terminal's slave side).
    QString ptyPath() const { return m_ptyPath; }

    // --- behaviour ---
    // 0 turns the emulation off (bytes move as fast as the terminal allows).
    void setWireBaud(int baud) { m_wireBaud.store(baud); }
    void setReplyDelayMs(int delayMs) { m_replyDelayMs.store(delayMs); }
    // Emulates a USB adapter's latency timer: bytes that have crossed the
    // wire reach the host only once this many milliseconds have passed since
    // the first of them, or 62 of them fill a USB packet. 0: at once.
    void setAdapterHoldMs(int holdMs) { m_adapterHoldMs.store(holdMs); }
    // Records what arrives but sends nothing back.
    void setSilent(bool silent) { m_silent.store(silent); }
    bool isSilent() const { return m_silent.load(); }
    void setFailIdentification(bool fail);
    void setFirmwareVersion(const QString& version);
    // The unit's settings area (SimProtocol::setSettingsSize, setUnreadableRow).
    void setSettingsSize(int bytes);
    void setUnreadableRow(int address);
    // How the unit's update side answers (SimBootLoader); faults included.
    void setBootFaults(const SimBootLoader::Faults& faults);
    // For the tests of the serial firmware engine: a command that starts a
    // firmware update on the serial line. The unit has none; empty (the
    // default) keeps it that way.
    void setFirmwareStartCommand(const QString& command);
    // How the update side behind the network proxy misbehaves.
    void setNetworkUpdateFaults(const SimNetworkUpdate::Faults& faults);
    // Sends bytes as they are (garbage, unsolicited lines), paced like any
    // output, even when silent.
    void sendRaw(const QByteArray& bytes);

    // --- record and state (thread-safe copies) ---
    QList<SimProtocol::Command> commands() const;
    QStringList commandLines() const;
    QList<SimProtocol::Trigger> triggers() const;
    QStringList sysexTexts() const;
    QString setting(const QString& key) const;
    QString window(int index) const;
    QString cueText() const;
    int inOutCount() const;
    // Updates received over the network (" u 0" and the text) that ended,
    // and the records of the last one.
    int networkUpdatesDone() const;
    int networkUpdateRecords() const;
    QByteArray settingsArea() const;
    // What the update side received in the last update.
    QByteArray bootLoaderBytes() const;
    QStringList bootRecords() const;
    QList<QByteArray> firmwareTransmissions() const;
    void clearRecord();
    // What decides the unit's picture, copied now.
    UnitSnapshot snapshot() const;
    // Called on the serving thread, outside every lock of the unit, after
    // bytes changed what snapshot() holds (a command, a trigger, a text). It
    // must not wait: post to the thread that wants to know. Empty to stop.
    void setChangeListener(std::function<void()> listener);

private:
    struct Scheduled {
        Clock::time_point due;
        QByteArray bytes;
        int channel = SimProtocol::kSerialChannel;
    };
    struct Client {
        int fd = -1;
        int channel = 0;
        QByteArray pending; // not yet taken by the socket
    };

    void run();
    void schedule(QByteArray bytes, Clock::time_point when,
                  int channel = SimProtocol::kSerialChannel);
    void serveNetwork(const std::vector<struct pollfd>& fds, std::size_t first);
    void flushClient(Client& client);
    // Moves due output onto the wire and writes what the wire has delivered.
    void pumpOutput(Clock::time_point now);
    void pumpAdapter(Clock::time_point now);
    void pumpInput(Clock::time_point now);
    Clock::duration byteTime() const;
    void notifyChanges();

    int m_master = -1;
    int m_slave = -1;
    WakePipe m_wake; // wakes the serving thread
    int m_listen = -1;
    quint16 m_tcpPort = 0;
    QString m_ptyPath;
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_running{false};

    std::atomic<int> m_wireBaud{0};
    std::atomic<int> m_replyDelayMs{0};
    std::atomic<int> m_adapterHoldMs{0};
    std::atomic<bool> m_silent{false};

    mutable std::mutex m_mutex; // guards m_protocol and m_rawOut
    SimProtocol m_protocol;
    QByteArray m_rawOut;

    std::mutex m_listenerLock; // guards m_changeListener
    std::function<void()> m_changeListener;

    // Used by the serving thread only.
    std::uint64_t m_changesTold = 0;
    std::deque<Scheduled> m_scheduled;
    std::vector<Client> m_clients;
    int m_nextChannel = 1;
    QByteArray m_wire;               // bytes on their way to the host
    Clock::time_point m_wireNextDue; // when the first of them has arrived
    Clock::time_point m_lastOutDone; // when the last byte sent had arrived
    QByteArray m_held;               // crossed the wire, held by the adapter
    Clock::time_point m_heldDue;     // when the adapter lets them go
    QByteArray m_inPending;          // bytes from the host still on the wire
    Clock::time_point m_inNextDue;
    Clock::time_point m_lastInDone;
};
