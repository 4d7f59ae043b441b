#pragma once

// What qz62ctl update shows and asks on the terminal: the progress, the
// question before the FLASH is erased, and Ctrl-C as the Abort button.
#include "update/Progress.h"

#include <QString>
#include <functional>

namespace cli {

// Progress on standard output: a bar redrawn in place on a terminal, plain
// lines otherwise (one per step of 10 percent and per change of phase, so a
// log stays short).
class ProgressShow {
public:
    ProgressShow();
    void show(const Progress& progress);
    // The bar full, for a run that succeeded (plain lines need no more).
    void complete(const QString& message);
    // Ends the bar's line (before any other output).
    void finish();

private:
    bool m_terminal;
    bool m_open = false; // a bar line is on screen
    QString m_phase;
    int m_tenths = -1;
};

// Asks on standard error and reads the answer from standard input (a
// terminal, or a script's pipe); true only for an answer starting with y.
// At the end of input the answer is no.
bool confirm(const QString& question);

// While it lives, Ctrl-C (and SIGTERM) set a flag instead of ending the
// program, so the update can stop cooperatively; a second one ends the
// program as usual.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    bool interrupted() const;
};

// Runs the event loop until done() holds or timeoutMs passed (-1: no time
// limit); true when done() held.
bool waitUntil(const std::function<bool()>& done, int timeoutMs);

} // namespace cli
