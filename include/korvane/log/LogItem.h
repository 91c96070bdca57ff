#pragma once
// What is logged. LogItemInterface is the base of every item a log carries from the
// thread that wrote it to the log's writers; a log owns the copy (copy()) it queues
// and deletes it after the writers have printed it. LogItem is the ordinary item: a
// level, a calendar time and a message, printed as one line
// "<11-character level name>: <time as %c, local>: <message>". Items are values:
// one thread uses an item at a time.

#include <korvane/core/Export.h>
#include <korvane/log/LogString.h>

#include <string>

namespace Korvane {

// Larger is more severe. Values outside the list are allowed and print as "UNKNOWN    ".
enum LogLevel : int {
    LevelDebug = 10,
    LevelProfiler = 20,
    LevelInfo = 30,
    LevelWarning = 40,
    LevelError = 50,
    LevelCritical = 60,
};

// The level's name as printed in a log line, always 11 characters.
KORVANE_API const char* logLevelName(LogLevel level);

class KORVANE_API LogItemInterface {
public:
    LogItemInterface() = default;
    LogItemInterface(const LogItemInterface&) = default;
    LogItemInterface& operator=(const LogItemInterface&) = default;
    virtual ~LogItemInterface();

    // A new item of the same kind and contents; the caller owns it.
    virtual LogItemInterface* copy() const;
    // Sets line to the item's text (the base: empty).
    virtual void print(std::string& line) const;
};

class KORVANE_API LogItem : public LogItemInterface {
public:
    // Empty message, time 0, level 0.
    LogItem();
    LogItem(LogLevel level, const std::string& message, long long time);
    LogItem(LogLevel level, const LogString& message, long long time);
    // Here so that a string literal is not ambiguous between the two above; null is empty.
    LogItem(LogLevel level, const char* message, long long time);

    LogItemInterface* copy() const override;
    void print(std::string& line) const override;

    LogLevel level() const { return m_level; }
    const std::string& message() const { return m_message; }
    // Seconds since 1970-01-01 00:00 UTC.
    long long time() const { return m_time; }

private:
    std::string m_message;
    long long m_time = 0;
    LogLevel m_level = static_cast<LogLevel>(0);
};

}  // namespace Korvane
