#pragma once

#include "link/LinkListener.h"
#include "link/SerialTransport.h"
#include "protocol/CommandSink.h"

#include <QString>
#include <atomic>
#include <chrono>
#include <memory>

class ComThread;
class LinkWorker;
class QueuedCalls;
class SerialPortFinder;

// The serial port lent to an update engine. While it exists the link thread is
// stopped and the link sends nothing; when it goes, the port goes back to the
// link at 38400 baud and the link thread runs again if it ran before.
class TransportLoan {
public:
    TransportLoan(TransportLoan&& other) noexcept;
    TransportLoan& operator=(TransportLoan&&) = delete;
    ~TransportLoan();

    // Null when the link had no open port.
    SerialTransport* port() const { return m_port.get(); }
    explicit operator bool() const { return bool(m_port); }
    // The port still goes back, but the link thread stays stopped until
    // the owner starts it again (after a failed update the unit sits in its
    // loader, where commands and pings do not belong).
    void keepLinkStopped() { m_restart = false; }

private:
    friend class ComThread;
    TransportLoan(ComThread* link, std::unique_ptr<SerialTransport> port, bool restart);

    ComThread* m_link;
    std::unique_ptr<SerialTransport> m_port;
    bool m_restart;
};

// The device link as the rest of the program sees it.
//
// openUsbSerial() finds the unit's port (SerialPortFinder) and keeps it open;
// startThread() runs the link thread (LinkWorker) on it, which paces the
// queued commands by the unit's replies, sends the timing path's bytes at
// once and
// hands every received chunk to the owner (a LinkListener) on the owner's
// thread. useTransport() runs the same link on another transport (TCP to the
// network proxy).
//
// Thread safety: the send operations and txCount()
// may be called from any thread (the MIDI thread fires cues); they never wait
// for the unit nor for the main thread. Everything else belongs to the thread
// that owns the object (the main thread).
class ComThread final : public CommandSink {
public:
    // Received bytes reach the listener in chunks of at most this many.
    static constexpr int kReadChunkBytes = 255;
    // How long a written command waits for the first reply bytes before the
    // next one goes out.
    static constexpr int kReplyWaitMs = 300;
    static constexpr int kPollingReplyMs = SerialTransport::kPollingReplyMs;
    // Identification tries per port.
    static constexpr int kProbeTries = 3;
    static constexpr int kDefaultBaud = SerialTransport::kDefaultBaud;

    // The explicit port starts as the environment variable QZ62_PORT.
    ComThread();
    // Stops the link thread and closes the port.
    ~ComThread() override;
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;

    // --- finding the unit ---
    // Returns 0 when a unit answered (fd() open, com() the directory entry's
    // name or the explicit path), -1 otherwise (com() "QZ62 not found"; left
    // unchanged when the search directory cannot be read).
    int openUsbSerial();
    void setSearchDirectory(const QString& directory);
    QString searchDirectory() const;
    // An explicit port path skips the search; an empty path restores it.
    void setPort(const QString& path);
    QString port() const;
    // Whether a search that finds no unit points the user at the adapter's
    // driver when an FTDI adapter has none bound.
    void setDriverCheckEnabled(bool enabled);
    // Where USB devices are listed (tests point it at a tree of their own).
    void setUsbDevicesDirectory(const QString& dir);
    // Why the last openUsbSerial() could not open a port, and the one-line
    // fix when there is one (empty when every port opened).
    QString lastOpenError() const;
    QString openErrorRemedy() const;
    static QString driverDownloadUrl();

    // Runs the link on another transport instead of the serial port (the
    // network proxy's TCP stream). The link thread must be stopped.
    void useTransport(std::unique_ptr<Transport> transport, const QString& name);

    // --- the link thread ---
    // Starts the link thread with fresh, empty queues. The listener receives
    // the chunks and must outlive the thread (stopThread first); it is called
    // on the thread calling startThread.
    void startThread(LinkListener* listener);
    // Stops the thread and waits for it; queued commands are lost. No-op
    // without a thread. Does not close the port.
    void stopThread();
    bool isRunning() const;

    // --- sending (any thread) ---
    // Offered to the network link first; dropped when there is no port or no
    // thread; otherwise queued, framed by MsgClass::txString, and paced.
    void sendString(const QString& command) override;
    // Offered to the network link first; otherwise queued behind the
    // commands already waiting, and written without waiting for a reply.
    void sendBytes(const QByteArray& bytes) override;
    // Offered to the network link first; otherwise written at once, ahead of
    // queued commands, without waiting for a reply.
    void sendTimingBytes(const QByteArray& bytes) override;
    int txCount() const override;
    // Queued on the serial link even while the network link takes every other
    // command: an update that chose the serial port reads the unit there.
    // Dropped when there is no serial port or no thread.
    void sendStringSerial(const QString& command);
    // A serial port is open and the link runs on it (not on another transport).
    bool hasSerialPort() const { return m_serial && !m_other; }
    // The network link, or nullptr (not owned).
    void setNetworkSender(NetworkSender* sender) { m_network.store(sender); }
    NetworkSender* networkSender() const { return m_network.load(); }

    // --- the port while the thread is stopped ---
    // Synchronous exchange (see SerialTransport::sendStringPolling).
    QString sendStringPolling(const QString& text);
    void setBaud(int bitsPerSecond);
    int getBaud() const;
    int bytesAvailable() const;
    int fd() const;
    QString com() const { return m_com; }
    // How the serial port holds received bytes back (empty without a serial
    // port, or when the link runs on another transport).
    QString serialLatencyText() const;
    // Stops the link and lends the serial port to an update engine until the
    // loan is destroyed. Without a serial port (none found, or the link runs
    // on another transport) the loan is empty and the link is left as it is.
    TransportLoan lendTransport();

    // CPU time the link thread has used (its final figure once it ended).
    std::chrono::nanoseconds linkThreadCpuTime() const;
    // Timing-path sends left to the link thread because the port was busy.
    std::uint64_t timingBytesDeferred() const;

private:
    friend class TransportLoan;
    void takeBack(std::unique_ptr<SerialTransport> port, bool restart);

    std::unique_ptr<SerialPortFinder> m_finder;
    std::unique_ptr<SerialTransport> m_serial;
    std::unique_ptr<Transport> m_other; // in use instead of m_serial when set
    QString m_com;
    LinkListener* m_listener = nullptr;
    std::atomic<NetworkSender*> m_network{nullptr};
    std::unique_ptr<QueuedCalls> m_toOwner; // created on the owner's thread
    std::unique_ptr<LinkWorker> m_worker;
};
