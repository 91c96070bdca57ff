#pragma once
// DateTime is the system's one clock and one way of printing times: calendar times
// in seconds since 1970-01-01 00:00 UTC. Any thread may call both operations; one
// process-wide lock makes each call exclusive. A BaseTime other than utc_time and
// local_time prints as utc_time; a time the C library cannot break down (its year
// does not fit an int) prints as an empty string.

#include <korvane/core/Export.h>
#include <korvane/platform/Mutex.h>

#include <string>

namespace Korvane {

enum BaseTime : int {
    utc_time = 0,
    local_time = 1,
};

class KORVANE_API DateTime {
public:
    // The current calendar time in seconds.
    static long long now();
    // time formatted by strftime; empty when format is null or empty, or when the
    // text would need 32 bytes or more (it is never truncated).
    static std::string print(long long time, const char* format, BaseTime base);

private:
    static Mutex m_mtx;  // serialises now() and print(): the C time functions share state
};

}  // namespace Korvane
