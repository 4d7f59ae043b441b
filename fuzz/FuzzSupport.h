#pragma once

// Small helpers shared by the fuzz targets.

#include "base/Alerts.h"
#include "base/Diagnostics.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzzsupport {

// Alerts raised by a parser are expected on bad input; they are counted,
// not shown.
class CountingAlerts : public AlertPresenter {
public:
    void showAlert(const QString& message) override { shown += int(message.size() > 0); }
    bool askOkCancel(const QString&) override { return false; }
    int shown = 0;
};

// Once per process: diagnostics and standard output off (they would slow the
// run down to the speed of the terminal; the fuzzer reports on standard
// error) and alerts counted.
inline void quietProcess() {
    static CountingAlerts presenter;
    static const bool done = [] {
        diag::setQuiet(true);
        if (!std::freopen("/dev/null", "w", stdout))
            std::fprintf(stderr, "standard output stays open\n");
        alerts::setPresenter(&presenter);
        return true;
    }();
    (void)done;
}

inline QByteArray bytes(const std::uint8_t* data, std::size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

// The input as text, as the programs read files: UTF-8, bad sequences replaced.
inline QString text(const std::uint8_t* data, std::size_t size) {
    return QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
}

// A deterministic sequence of sizes drawn from the input itself, so a crash
// reproduces from the input file alone.
class Chunker {
public:
    Chunker(const std::uint8_t* data, std::size_t size)
        : m_state(std::uint32_t(size) * 2654435761u) {
        for (std::size_t i = 0; i < size && i < 8; ++i)
            m_state = m_state * 31u + data[i];
    }
    // 1..maxSize.
    std::size_t next(std::size_t maxSize) {
        m_state = m_state * 1103515245u + 12345u;
        return 1 + (m_state >> 8) % maxSize;
    }

private:
    std::uint32_t m_state;
};

// Fails the run (the fuzzer records the input) when a property does not hold.
inline void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "property violated: %s\n", what);
        std::abort();
    }
}

} // namespace fuzzsupport
