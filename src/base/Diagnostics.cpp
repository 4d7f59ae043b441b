#include "base/Diagnostics.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {
std::atomic<bool> g_quiet{false};
} // namespace

namespace diag {
void setQuiet(bool quiet) {
    g_quiet.store(quiet);
}

bool quiet() {
    return g_quiet.load();
}

void print(const char* format, ...) {
    if (g_quiet.load())
        return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

void printError(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
}
} // namespace diag
