#pragma once

#include "link/Transport.h"

#include <QString>
#include <atomic>
#include <termios.h>

// The USB-serial port: 8 data bits, receiver on, modem lines ignored, RTS/CTS
// flow control both ways, raw, non-blocking, 38400 baud unless changed.
class SerialTransport final : public Transport {
public:
    static constexpr int kDefaultBaud = 38400;
    // How long sendStringPolling() collects a reply.
    static constexpr int kPollingReplyMs = 100;
    static constexpr int kMaxReplyBytes = 255;

    SerialTransport() = default;
    ~SerialTransport() override;
    SerialTransport(const SerialTransport&) = delete;
    SerialTransport& operator=(const SerialTransport&) = delete;

    // Opens and sets up the port. False with error() and errorNumber() set.
    bool open(const QString& path);
    QString error() const { return m_error; }
    int errorNumber() const { return m_errno; }
    QString path() const { return m_path; }

    int pollFd() const override { return m_fd.load(); }
    int read(char* bytes, int maxBytes) override;
    int write(const char* bytes, int length) override;
    int bytesAvailable() const override;
    void discardInput() override;
    void close() override;
    QString name() const override { return m_path; }

    void setBaud(int bitsPerSecond);
    int getBaud() const;

    // Synchronous exchange while no link thread uses the port: discards
    // pending input, writes the text's UTF-8 bytes unchanged and collects the
    // reply for up to 100 ms, until the prompt "\r\n>" or 255 bytes. Empty when
    // the port is closed or the write fails.
    QString sendStringPolling(const QString& text);

private:
    std::atomic<int> m_fd{-1};
    QString m_path;
    QString m_error;
    int m_errno = 0;
    termios m_sp{};
    termios m_oldSp{}; // as found; kept, never restored
};
