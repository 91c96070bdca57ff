#include <korvane/log/LogFunctions.h>

#include <korvane/log/LogManager.h>

namespace Korvane {

namespace {

void writeToSystemLog(LogLevel level, const std::string& message) {
    LogRefPtr log = LogManager::systemLog();
    if (log.isValid()) log->write(level, message);
}

}  // namespace

void korvLogDebug(const std::string& message) { writeToSystemLog(LevelDebug, message); }
void korvLogInfo(const std::string& message) { writeToSystemLog(LevelInfo, message); }
void korvLogWarning(const std::string& message) { writeToSystemLog(LevelWarning, message); }
void korvLogError(const std::string& message) { writeToSystemLog(LevelError, message); }
void korvLogCritical(const std::string& message) { writeToSystemLog(LevelCritical, message); }

}  // namespace Korvane
