#pragma once
// LogManager keeps the logs and a registry of named writers, and on first use makes
// "SystemLog" with the file writer "LogFileWriter" attached as "Default", writing to
// logfile.txt under LOG_PATH (else BIN_PATH). Every log it creates runs at once.
//
// Decisions: its destructor stops every log before the logs are released, since a
// log's destructor does not stop its thread. The korvLog* functions look "SystemLog"
// up on each call through systemLog(), so a message written during shut-down, after
// the manager is gone or after cleanUp, is dropped rather than sent to a stopped log.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/log/Log.h>

#include <map>
#include <string>

namespace Korvane {

namespace Internal {
struct KORVANE_API LogManagerTraits {};
}  // namespace Internal

class KORVANE_API LogManager : public Manager<Log, Internal::LogManagerTraits> {
public:
    static LogManager* get();

    // Under the lock: clones the prototype of type, enters it under name (which may
    // change), names and types it and starts its process. Empty handle and empty name
    // when the type is unknown or the name is refused.
    LogRefPtr create(const char* type, std::string& name, bool unique);

    bool registerWriter(const char* name, LogWriterRefPtr writer);
    bool unregisterWriter(const char* name);
    LogWriterRefPtr writer(const char* name);

    // "SystemLog" cannot be released.
    bool releaseInstance(const char* name) override;
    // Stops every log, then empties both tables.
    bool cleanUp() override;

    // "SystemLog"; makes the manager on first use, and gives an empty handle while it
    // is being built or after it is gone.
    static LogRefPtr systemLog();

private:
    LogManager();
    ~LogManager() override;

    void createSystemLogPrivate();
    void stopAllLogs();

    std::map<std::string, LogWriterRefPtr> m_writers;  // guarded by m_lock
};

}  // namespace Korvane
