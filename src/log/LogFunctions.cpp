#include <korvane/log/LogFunctions.h>

namespace Korvane {

// "SystemLog" does not exist yet in this build: every message is dropped.
void korvLogDebug(const std::string&) {}
void korvLogInfo(const std::string&) {}
void korvLogWarning(const std::string&) {}
void korvLogError(const std::string&) {}
void korvLogCritical(const std::string&) {}

}  // namespace Korvane
