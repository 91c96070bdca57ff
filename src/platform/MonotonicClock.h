#pragma once
// Deadlines for timed condition waits on the monotonic clock, so that a change of
// the wall clock neither shortens nor stretches a wait.

#include <pthread.h>
#include <time.h>

#include <cerrno>

namespace Korvane::Internal {

inline void initMonotonicCondition(pthread_cond_t* cond) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(cond, &attributes);
    pthread_condattr_destroy(&attributes);
}

inline timespec monotonicDeadline(unsigned long long ms) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const unsigned long long nanos = static_cast<unsigned long long>(now.tv_nsec) +
                                     (ms % 1000ull) * 1000000ull;
    now.tv_sec += static_cast<time_t>(ms / 1000ull + nanos / 1000000000ull);
    now.tv_nsec = static_cast<long>(nanos % 1000000000ull);
    return now;
}

}  // namespace Korvane::Internal
