#pragma once

#include <QByteArray>
#include <functional>

// Where the MIDI file code reports what it reads and writes: to the sink its
// owner gives (a command's output, the application's log), otherwise to the
// diagnostics. Text goes out whole, however long.
class MidiLog {
public:
    using Sink = std::function<void(const QByteArray& text)>;

    // An empty sink restores the diagnostics.
    void setSink(Sink sink) { m_sink = std::move(sink); }
    // A disabled log drops everything without formatting it.
    void setEnabled(bool enabled) { m_enabled = enabled; }
    bool enabled() const { return m_enabled; }
    void write(const QByteArray& text) const;
    void print(const char* format, ...) const __attribute__((format(printf, 2, 3)));

private:
    Sink m_sink;
    bool m_enabled = true;
};
