#pragma once

// A pipe that wakes a thread sleeping in poll(): any thread calls wake(), the
// sleeper watches readFd() and empties the pipe with drain() once woken. Both
// ends are non-blocking (a full pipe is already a pending wake-up, and drain()
// never blocks) and closed across exec.
class WakePipe {
public:
    WakePipe();
    ~WakePipe();
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;

    // False when the pipe could not be made; wake() and drain() then do nothing.
    bool isOpen() const { return m_read >= 0; }
    int readFd() const { return m_read; }

    // Any thread.
    void wake() const;
    // Reads away every pending wake-up.
    void drain() const;

private:
    int m_read = -1;
    int m_write = -1;
};
