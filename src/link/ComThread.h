#pragma once

#include "link/CommandSink.h"
#include "link/MsgClass.h"
#include "link/WakePipe.h"

#include <QObject>
#include <QString>
#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <termios.h>
#include <thread>

// The USB-serial link to the QZ62 unit.
//
// openUsbSerial() finds the unit's port, sets the line up (38400 baud, 8 data
// bits, RTS/CTS flow control, raw) and proves that a QZ62 answers on it.
// startThread() then runs the link thread: it writes one queued command per
// pass, waits up to 300 ms for the first bytes of the reply before it writes
// the next (the unit has no input buffer to speak of, so commands are paced by
// its replies), and hands every chunk it reads (at most 255 bytes) to the
// owner on the main thread.
//
// The owner (the parent given to startThread) is a QObject with these
// invokable methods, called by name on the owner's thread, later and in
// order (queued through QueuedCalls), never waited for:
//   Q_INVOKABLE void threadHasMsg(MsgClass chunk);
//       one chunk of received bytes; chunk.text is the chunk counter ("1",
//       "2", ...). Feed it to a long-lived MsgClass with drain().
//   Q_INVOKABLE void threadLinkLost(QString reason);
//       the port went away (adapter pulled, unit powered off). The link thread
//       has ended and the port is closed; later commands are dropped as when
//       no port exists. openUsbSerial() and startThread() bring it back.
// A missing method is reported on standard output and skipped.
//
// Thread safety: sendString(), sendBytes(), sendMidiTrigger() and txCount()
// may be called from any thread. Everything else belongs to the thread that
// owns the object (the main thread). sendStringPolling(), setBaud() and direct
// use of fd() are for the update procedures while the link thread is stopped.
class QueuedCalls;

class ComThread final : public CommandSink {
public:
    // Bytes per read, as the unit's chunks are handed on.
    static constexpr int kReadChunkBytes = 255;
    // How long the link waits for the first reply bytes before the next write.
    static constexpr int kReplyWaitMs = 300;
    // How long sendStringPolling() collects a reply.
    static constexpr int kPollingReplyMs = 100;
    // Identification attempts per port.
    static constexpr int kProbeTries = 3;
    static constexpr int kDefaultBaud = 38400;

    // The explicit port starts as the environment variable QZ62_PORT.
    ComThread();
    // Stops the link thread and closes the port.
    ~ComThread() override;
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;

    // --- finding the unit ---
    // Searches the directory (see setSearchDirectory) for FTDI serial devices
    // ("tty.usbserial..." or "ttyUSB<n>"), in name order, and keeps the first
    // on which a QZ62 answers "B\r\n" with text containing "C190" (three
    // tries per port). With an explicit port, only that one is opened and
    // identified. Returns 0 when found (fd() open, com() the directory entry's
    // name, or the explicit path), -1 otherwise (com() "QZ62 not found").
    int openUsbSerial();
    // Directory searched for adapters; "/dev" unless set.
    void setSearchDirectory(const QString& directory);
    QString searchDirectory() const { return m_searchDirectory; }
    // An explicit port path skips the search; an empty path restores it.
    void setPort(const QString& path);
    QString port() const { return m_port; }
    // When the search finds no unit and the FTDI serial driver is missing,
    // the user is told where to get it (an alert). On by default.
    void setDriverCheckEnabled(bool enabled) { m_driverCheck = enabled; }
    // Why the last openUsbSerial() failed to open a port at all (empty when
    // every port opened, or when the unit was found).
    QString lastOpenError() const { return m_lastOpenError; }
    // True when this platform's FTDI serial driver is present (or no check
    // applies here).
    static bool serialDriverPresent();
    static QString driverDownloadUrl();

    // --- the link thread ---
    // Starts the link thread with a fresh, empty queue. parent receives the
    // calls described above and must outlive the thread (stopThread first).
    void startThread(QObject* parent);
    // Asks the thread to finish and waits for it (woken at once, so this
    // returns within a write). Commands still queued are lost. No-op without
    // a thread. Does not close the port.
    void stopThread();
    bool isRunning() const { return m_running.load(); }

    // --- sending (any thread) ---
    // Offered to the network link first; dropped when there is no port or no
    // thread; otherwise queued, framed by MsgClass::txString.
    void sendString(const QString& command) override;
    // Offered to the network link first; otherwise queued unchanged.
    void sendBytes(const QByteArray& bytes) override;
    int txCount() const override;
    // The network link, or nullptr (not owned).
    void setNetworkSender(NetworkSender* sender) { m_network.store(sender); }

    // --- synchronous use while the thread is stopped ---
    // Discards pending input, writes the string's UTF-8 bytes unchanged and
    // collects the reply for up to 100 ms, until the prompt "\r\n>" or 255
    // bytes. Empty when there is no port or the write fails.
    QString sendStringPolling(const QString& text);
    void setBaud(int bitsPerSecond);
    int getBaud() const;
    int bytesAvailable() const;
    int fd() const { return m_fd.load(); }
    QString com() const { return m_com; }

    // CPU time the link thread has used (its final figure once it ended).
    std::chrono::nanoseconds linkThreadCpuTime() const;

private:
    int openPort(const QString& path);
    bool identify();
    void closePort();
    void enqueue(MsgClass message);
    void run(QObject* parent, bool hasMsgSlot, bool hasLostSlot);

    QString m_searchDirectory = QStringLiteral("/dev");
    QString m_port;
    QString m_com;
    QString m_lastOpenError;
    bool m_driverCheck = true;
    termios m_sp{};
    termios m_oldSp{};

    std::atomic<int> m_fd{-1};
    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_running{false};
    std::atomic<NetworkSender*> m_network{nullptr};
    std::atomic<std::int64_t> m_finalCpuNs{0};
    std::unique_ptr<QueuedCalls> m_toOwner; // created by startThread on the owner's thread

    mutable std::mutex m_ioLock; // guards m_txQueue only
    std::deque<MsgClass> m_txQueue;

    WakePipe m_wake; // wakes the link thread for a command or to stop
    std::thread m_thread;
};
