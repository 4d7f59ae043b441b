#include "base/Realtime.h"

#include "base/Diagnostics.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <sched.h>

namespace realtime {

bool requested() {
    static const bool asked = [] {
        const char* value = std::getenv("QZ62_REALTIME");
        return value && *value && std::strcmp(value, "0") != 0;
    }();
    return asked;
}

bool raiseCurrentThread(const char* what, int priority) {
    thread_local bool tried = false;
    thread_local bool raised = false;
    if (tried || !requested())
        return raised;
    tried = true;
    sched_param param{};
    param.sched_priority = priority;
    const int error = pthread_setschedparam(pthread_self(), SCHED_RR, &param);
    raised = error == 0;
    if (raised)
        diag::print("%s thread: real-time priority %d\n", what, priority);
    else
        diag::print("%s thread: real-time priority refused (%s); it runs as before\n", what,
                    std::strerror(error));
    return raised;
}

} // namespace realtime
