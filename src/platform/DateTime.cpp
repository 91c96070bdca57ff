#include <korvane/platform/DateTime.h>

#include <time.h>

namespace Korvane {

namespace {

// False when the C library cannot represent the time in calendar fields.
bool breakDown(time_t seconds, BaseTime base, struct tm* fields) {
    if (base == local_time) return localtime_r(&seconds, fields) != nullptr;
    return gmtime_r(&seconds, fields) != nullptr;
}

}  // namespace

// Built before, and destroyed after, everything of default priority, so that start-up
// and shut-down code may print times.
Mutex DateTime::m_mtx __attribute__((init_priority(101)));

long long DateTime::now() {
    MutexLock lock(&m_mtx);
    return static_cast<long long>(::time(nullptr));
}

std::string DateTime::print(long long time, const char* format, BaseTime base) {
    if (!format || !*format) return std::string();
    MutexLock lock(&m_mtx);
    struct tm fields {};
    if (!breakDown(static_cast<time_t>(time), base, &fields)) return std::string();
    char buffer[32];  // strftime reports 0 rather than truncate
    const size_t length = strftime(buffer, sizeof buffer, format, &fields);
    return std::string(buffer, length);
}

}  // namespace Korvane
