#pragma once

#include <QString>
#include <mutex>

// A byte stream to the unit: the USB-serial port or a TCP connection to the
// network proxy. It reads and writes bytes and says when it went away; pacing,
// framing and threads are the link worker's business.
//
// Every transport is a non-blocking file descriptor, so the worker sleeps in
// poll() on pollFd() together with its wake-up pipe.
class Transport {
public:
    enum : int {
        kGone = -1, // read()/write(): the peer went away; lostReason() says why
    };

    virtual ~Transport() = default;

    // The descriptor to watch; -1 when closed.
    virtual int pollFd() const = 0;
    bool isOpen() const { return pollFd() >= 0; }
    // Up to maxBytes: the count read (0 when nothing is there now), or kGone.
    virtual int read(char* bytes, int maxBytes) = 0;
    // As many bytes as the transport takes now (0 when it is full), or kGone.
    virtual int write(const char* bytes, int length) = 0;
    // Bytes waiting to be read.
    virtual int bytesAvailable() const = 0;
    // Throws away input not read yet.
    virtual void discardInput() = 0;
    virtual void close() = 0;
    // Why the transport went away, once read() or write() said so (any
    // thread: the priority lane writes from the sender's thread).
    QString lostReason() const;
    // A short name for the user ("ttyUSB0", "studio-proxy:4000").
    virtual QString name() const = 0;

protected:
    // Reads and writes on a descriptor: bytes, 0 for "not now", or kGone
    // (with the reason recorded) when the error means the peer is gone.
    int readFd(int fd, char* bytes, int maxBytes);
    int writeFd(int fd, const char* bytes, int length);
    void setLostReason(const QString& reason);
    void clearLostReason() { setLostReason(QString()); }

private:
    mutable std::mutex m_reasonLock;
    QString m_lostReason;
};
