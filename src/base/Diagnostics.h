#pragma once

// Diagnostics of the device link: short lines on standard output for whoever
// watches the program run from a terminal ("failed to open %s\n", ...). They
// never reach the user of the application. Tools whose standard output is
// their result (qz62ctl) switch them off.
namespace diag {
void setQuiet(bool quiet);
bool quiet();
// printf to standard output unless quiet.
void print(const char* format, ...) __attribute__((format(printf, 1, 2)));
} // namespace diag
