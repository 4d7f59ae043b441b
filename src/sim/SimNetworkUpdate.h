#pragma once

#include <QByteArray>
#include <QString>
#include <chrono>
#include <optional>

// The unit's side of an update sent through the network proxy. The host sends
// " u 0" and then the update text (S-records or PROM image lines). From then
// on every line is a record: counted, not echoed. Every kProgressLines records
// the unit reports "u n" (n = records so far); at the end it reports the
// total and then "u 0". The end is the text's end record (":00000001FF" of a
// PROM image, "S7"/"S8"/"S9" of S-records) or, failing that, kQuiet without a
// line.
//
// The faults make the failures a host must handle happen on purpose: the
// connection drops after so many records, or the unit goes on taking
// records but stops reporting.
class SimNetworkUpdate {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int kProgressLines = 100;
    static constexpr std::chrono::milliseconds kQuiet{500};

    struct Faults {
        int dropAfter = -1;  // close the connection once this many records came
        int stallAfter = -1; // report nothing more once this many records came
    };
    void setFaults(const Faults& faults) { m_faults = faults; }
    // A fault wants the connection closed now.
    bool hungUp() const { return m_hungUp; }

    // A PROM image's text for a unit to take: a data record per 16 bytes,
    // then the end record. Tests and benchmarks send it as an update.
    static QString sampleImage(int dataLines);

    // The line that starts an update, trimmed.
    static bool isStart(const QByteArray& line) { return line.trimmed() == "u 0"; }

    bool active() const { return m_active; }
    void start(Clock::time_point now);
    // One record; returns the unit's answer (often nothing).
    QByteArray record(const QByteArray& line, Clock::time_point now);
    // The end after a silence: the final report once kQuiet has passed.
    QByteArray tick(Clock::time_point now);
    std::optional<Clock::time_point> deadline() const;

    int records() const { return m_records; }
    // Records of the last finished update, and how many updates finished.
    int lastTotal() const { return m_lastTotal; }
    int completed() const { return m_completed; }

private:
    QByteArray finish();
    bool stalled() const { return m_faults.stallAfter >= 0 && m_records >= m_faults.stallAfter; }

    Faults m_faults;
    bool m_hungUp = false;
    bool m_active = false;
    int m_records = 0;
    int m_lastTotal = 0;
    int m_completed = 0;
    Clock::time_point m_lastLine;
};
