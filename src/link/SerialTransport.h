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

    // USB adapters hold received bytes back until their latency timer runs
    // out (16 ms by default), which lengthens every reply wait. open() asks
    // the driver to pass them on at once where it can.
    enum class LowLatency {
        Unknown,     // not open
        On,          // the driver passes received bytes on at once
        Unavailable, // the port or driver has no such setting (a pseudo-terminal)
        Refused,     // the driver has it but would not change it
    };

    SerialTransport() = default;
    ~SerialTransport() override;
    SerialTransport(const SerialTransport&) = delete;
    SerialTransport& operator=(const SerialTransport&) = delete;

    // Opens and sets up the port. False with error() and errorNumber() set.
    bool open(const QString& path);
    QString error() const { return m_error; }
    int errorNumber() const { return m_errno; }
    QString path() const { return m_path; }
    LowLatency lowLatency() const { return m_lowLatency; }
    // For the user: whether replies come at once or may be held back.
    static QString lowLatencyText(LowLatency state);

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
    static LowLatency requestLowLatency(int fd);

    std::atomic<int> m_fd{-1};
    LowLatency m_lowLatency = LowLatency::Unknown;
    QString m_path;
    QString m_error;
    int m_errno = 0;
    termios m_sp{};
    termios m_oldSp{}; // as found; kept, never restored
};
