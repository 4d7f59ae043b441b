#pragma once

#include "update/Progress.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <memory>
#include <thread>

class QueuedCalls;
class Transport;

// Receives an update engine's reports, on the thread that started the engine.
class UpdateListener {
public:
    virtual ~UpdateListener() = default;
    virtual void threadHasProgress(const Progress& progress) = 0;
    // Once at the end of every run, whatever the outcome (percent 0).
    virtual void threadUpdateComplete(const Progress& progress) = 0;
};

// What the microcontroller and firmware engines share: a thread that owns the
// serial port lent by the link while it runs, a cooperative abort flag, waits
// for the unit's bytes with poll() on the port within a time limit, and
// reports that reach the owner only as queued calls on the owner's thread.
//
// Not copyable. start/stop/abort belong to the owner's thread; the owner must
// not destroy the engine from inside one of its calls.
class UpdateEngine {
public:
    static constexpr const char* kAbortedMessage = "operation aborted, cycle power and try again";
    static constexpr const char* kSuccessMessage = "success!";
    // The final report of a run the user stopped.
    static Progress abortedEnd() {
        return {QString::fromLatin1(kAbortedMessage), 0, UpdateStatus::Aborted};
    }

    UpdateEngine();
    virtual ~UpdateEngine();
    UpdateEngine(const UpdateEngine&) = delete;
    UpdateEngine& operator=(const UpdateEngine&) = delete;

    // The port to talk on (not owned; it must stay open until stopThread).
    void setTransport(Transport* port) { m_port = port; }
    Transport* transport() const { return m_port; }
    // -1 without a port.
    int fd() const;
    int bytesAvailable() const;

    // Runs the engine on its own thread: 0 when started; -1 when there is no
    // open port, a run is going on, or the engine has nothing to send. The
    // owner may be null: its calls are then printed as missing and skipped.
    int startThread(UpdateListener* owner);
    // Asks the run to end and waits for it. No-op without a thread.
    void stopThread();
    // Any thread: the run ends at its next check with the abort message.
    void requestAbort() { m_abort.store(true); }
    bool isRunning() const { return m_running.load(); }

protected:
    // The engine's data is there.
    virtual bool hasWork() const = 0;
    // The run itself, on the engine's thread; returns the final message and
    // how it ended (see end()).
    virtual Progress run() = 0;

    bool aborted() const { return m_abort.load(); }
    void report(const QString& msg, int percent);
    // A final report. A failure after the port went away (a hang-up or a
    // write the port refused for good) counts as LinkLost, whatever step
    // noticed it; the message stays the step's.
    Progress end(UpdateStatus status, const QString& msg) const;

    // Writes every byte, waiting for room up to 1 s at a time; false when
    // the port went away or stayed full.
    bool writeAll(const QByteArray& bytes);
    // Waits up to timeoutMs for input; true when something (or a hang-up)
    // is there to read.
    bool waitReadable(int timeoutMs);
    // One byte within timeoutMs: 0 to 255, or -1 when none came.
    int readByte(int timeoutMs);
    // What is waiting now, at most maxBytes.
    QByteArray readWaiting(int maxBytes);
    void discardInput();

private:
    void body();
    short pollPort(short events, int timeoutMs);

    Transport* m_port = nullptr;
    UpdateListener* m_owner = nullptr; // set before the thread starts
    std::thread m_thread;
    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_running{false};
    bool m_portGone = false;                // the engine's thread only
    std::unique_ptr<QueuedCalls> m_toOwner; // created on the owner's thread
};
