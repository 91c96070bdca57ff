#pragma once
// The Profiler is the one log for timing records: logEvent sends a ProfileLogItem at
// the profiler level to "ProfileLog", which writes "profile.log" in the working
// directory. Decision: the profile log writes through its own copy of the
// "LogFileWriter" writer, so "SystemLog" keeps writing to logfile.txt.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/log/ProfileLogItem.h>

namespace Korvane {

class KORVANE_API Profiler {
public:
    static Profiler* get();
    virtual ~Profiler();
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    // Does nothing when the profile log could not be made.
    void logEvent(const ProfileLogItem& item);

private:
    Profiler();

    LogRefPtr m_log;
};

}  // namespace Korvane
