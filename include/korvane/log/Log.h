#pragma once
// A Log carries log items from any thread to its writers on its own process thread:
// write() builds an item and queues it (64 deep; a writer blocks only while 64 are
// pending), and each sequence() hands one item to every attached writer in name
// order, under the writers' lock, then deletes it. Logs are made by the LogManager.
//
// Decisions: an idle log waits for its next item on its own wake-up event for at
// most 500 ms rather than sleeping blind; a queued item and a stop request wake it,
// so lines reach the writers at once and stopping a log (and the library's shut-down)
// does not wait out the pause. A stopping log
// writes out what is still queued (cleanup), so the last lines before a shut-down
// are not lost. A log stops its own process when it is destroyed, so releasing a
// running log is safe. A writer that throws misses that item while the others get
// it; its first exception since it was attached is reported as an error line to the
// log's other writers and, from any log but "SystemLog", to the system log.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/LogString.h>
#include <korvane/log/LogWriter.h>
#include <korvane/process/ProcessInterface.h>

#include <memory>
#include <string>

namespace Korvane {

class KORVANE_API Log : public ProcessInterface {
public:
    Log();
    ~Log() override;
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // Reads "Threshold" into the numeric threshold.
    bool activatePropertyChange() override;

    // Queued only while the log is open, the level reaches the threshold and at least
    // one writer is attached; otherwise nothing is built.
    void write(LogLevel level, const std::string& message);
    // Queues a copy of item; level decides admission, the copy prints its own level.
    void write(LogLevel level, const LogItemInterface& item);

    bool addWriter(const std::string& name, LogWriterRefPtr& writer);
    bool removeWriter(const std::string& name);
    LogWriterRefPtr writer(const std::string& name);

    // A fresh log: new queue, no writers, default threshold.
    Log* createCopy();

protected:
    // Also wakes a log that waits for its next item, so that a stop is prompt.
    void notifyAndAbortAllBuffers() override;

    bool init() override;
    bool sequence(unsigned long long iteration) override;
    bool cleanup() override;

private:
    bool admits(LogLevel level) const;
    // Hands the next queued item to every writer; false when none was queued.
    bool writeNext();
    static std::string writeCaught(LogWriter& writer, const LogItemInterface& item);
    void reportToOthersPrivate(const std::string& report, const std::string& failed);
    void enqueue(LogItemInterface* item);

    struct Private;
    std::unique_ptr<Private> d;
};

}  // namespace Korvane
