#pragma once

// The program's log: short lines for whoever watches it run from a terminal
// ("failed to open %s\n", "run() complete\n", ...). They never reach the user
// of the application. Tools whose standard output is their result (qz62ctl)
// switch them off. Apart from the programs' own output, nothing else prints.
namespace diag {
void setQuiet(bool quiet);
bool quiet();
// printf to standard output unless quiet.
void print(const char* format, ...) __attribute__((format(printf, 1, 2)));
// printf to standard error, also when quiet: the last resort for a message
// meant for the user when nothing can show it (no alert presenter installed).
void printError(const char* format, ...) __attribute__((format(printf, 1, 2)));
} // namespace diag
