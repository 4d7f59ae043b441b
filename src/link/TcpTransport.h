#pragma once

#include "link/Transport.h"

#include <QString>
#include <atomic>

// A TCP stream to the network proxy, on a plain non-blocking socket so the
// link thread can own it (no event loop needed).
class TcpTransport final : public Transport {
public:
    TcpTransport() = default;
    ~TcpTransport() override;
    TcpTransport(const TcpTransport&) = delete;
    TcpTransport& operator=(const TcpTransport&) = delete;

    // Connects, waiting at most timeoutMs. False with error() set.
    bool connectTo(const QString& host, quint16 port, int timeoutMs = 2000);
    QString error() const { return m_error; }

    int pollFd() const override { return m_fd.load(); }
    int read(char* bytes, int maxBytes) override;
    int write(const char* bytes, int length) override;
    int bytesAvailable() const override;
    void discardInput() override;
    void close() override;
    QString name() const override { return m_name; }

private:
    std::atomic<int> m_fd{-1};
    QString m_name;
    QString m_error;
};
