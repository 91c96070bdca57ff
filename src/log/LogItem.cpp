#include <korvane/log/LogItem.h>
#include <korvane/platform/DateTime.h>

namespace Korvane {

const char* logLevelName(LogLevel level) {
    switch (level) {
        case LevelDebug:
            return "DEBUG      ";
        case LevelProfiler:
            return "PROFILER   ";
        case LevelInfo:
            return "INFORMATION";
        case LevelWarning:
            return "WARNING    ";
        case LevelError:
            return "ERROR      ";
        case LevelCritical:
            return "CRITICAL   ";
    }
    return "UNKNOWN    ";
}

LogItemInterface::~LogItemInterface() = default;

LogItemInterface* LogItemInterface::copy() const {
    return new LogItemInterface(*this);
}

void LogItemInterface::print(std::string& line) const {
    line.clear();
}

LogItem::LogItem() = default;

LogItem::LogItem(LogLevel level, const std::string& message, long long time)
    : m_message(message), m_time(time), m_level(level) {}

LogItem::LogItem(LogLevel level, const LogString& message, long long time)
    : LogItem(level, message.get(), time) {}

LogItem::LogItem(LogLevel level, const char* message, long long time)
    : LogItem(level, std::string(message ? message : ""), time) {}

LogItemInterface* LogItem::copy() const {
    return new LogItem(*this);
}

void LogItem::print(std::string& line) const {
    line = logLevelName(m_level);
    line += ": ";
    line += DateTime::print(m_time, "%c", local_time);
    line += ": ";
    line += m_message;
}

}  // namespace Korvane
