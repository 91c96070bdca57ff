#include <korvane/log/Log.h>

#include <korvane/buffers/FifoTemplate.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/platform/DateTime.h>
#include <korvane/platform/Mutex.h>

#include <atomic>
#include <exception>
#include <map>
#include <set>
#include <vector>

namespace Korvane {

namespace {

constexpr unsigned int kQueueSize = 64;
constexpr unsigned long kIdleWaitMs = 500;

// The numeric threshold of each item of "Threshold"; "None" and unknown items let
// everything through, as "All" does.
int thresholdOfItem(unsigned long long item) {
    static constexpr int levels[] = {0, LevelDebug, LevelProfiler, LevelInfo,
                                     LevelWarning, LevelError, LevelCritical};
    return item < sizeof levels / sizeof levels[0] ? levels[item] : 0;
}

}  // namespace

struct Log::Private {
    Private() : queue(new FifoTemplate<LogItemInterface*>(kQueueSize), nullptr) {
        fifo()->setProperty("PopBlock", "Off");
        fifo()->endPropertyChange();
    }

    FifoTemplate<LogItemInterface*>* fifo() const {
        return static_cast<FifoTemplate<LogItemInterface*>*>(queue.rawPtr());
    }

    Mutex writersLock;  // guards writers and failedWriters; held while items are written
    std::map<std::string, LogWriterRefPtr> writers;
    // Writers that threw since they were attached: each is reported once.
    std::set<std::string> failedWriters;
    // Read without a lock on the writing path.
    std::atomic<int> writerCount{0};
    std::atomic<int> threshold{LevelInfo};
    std::atomic<bool> closing{false};
    BufferRefPtr queue;
    Mutex wake;  // its event ends an idle wait early
};

Log::Log() : ProcessInterface("Log"), d(std::make_unique<Private>()) {
    addProperty("Threshold", 3LL,
                std::vector<std::string>{"All", "Debug", "Profiler", "Info", "Warning", "Error",
                                         "Critical", "None"},
                enum_property, read_write_access, 4,
                "All messages with level equal or above threshold will be logged.");
}

Log::~Log() {
    d->closing = true;
    stopProcess();
    LogItemInterface* item = nullptr;
    while (d->fifo()->popNoProfile(item)) delete item;
    d->fifo()->notifyAndAbort();
    MutexLock lock(&d->writersLock);
    d->writers.clear();
}

bool Log::activatePropertyChange() {
    unsigned long long item = 0;
    getPropertyForce("Threshold", &item);
    d->threshold = thresholdOfItem(item);
    return true;
}

bool Log::admits(LogLevel level) const {
    return !d->closing && d->queue.isValid() && level >= d->threshold && d->writerCount > 0;
}

// A queued item ends the log thread's idle wait, so lines reach the writers at once
// rather than after the rest of a 500 ms pause.
void Log::enqueue(LogItemInterface* item) {
    if (d->fifo()->pushNoProfile(item))
        d->wake.notify();
    else
        delete item;
}

void Log::write(LogLevel level, const std::string& message) {
    if (admits(level)) enqueue(new LogItem(level, message, DateTime::now()));
}

void Log::write(LogLevel level, const LogItemInterface& item) {
    if (admits(level)) enqueue(item.copy());
}

bool Log::addWriter(const std::string& name, LogWriterRefPtr& writer) {
    MutexLock lock(&d->writersLock);
    if (!d->writers.emplace(name, writer).second) return false;
    d->failedWriters.erase(name);
    d->writerCount = static_cast<int>(d->writers.size());
    return true;
}

bool Log::removeWriter(const std::string& name) {
    MutexLock lock(&d->writersLock);
    if (d->writers.erase(name) == 0) return false;
    d->writerCount = static_cast<int>(d->writers.size());
    return true;
}

LogWriterRefPtr Log::writer(const std::string& name) {
    MutexLock lock(&d->writersLock);
    auto it = d->writers.find(name);
    return it == d->writers.end() ? LogWriterRefPtr() : it->second;
}

Log* Log::createCopy() { return new Log; }

void Log::notifyAndAbortAllBuffers() {
    ProcessInterface::notifyAndAbortAllBuffers();
    d->wake.notify();
}

bool Log::init() { return d->queue.isValid(); }

bool Log::writeNext() {
    LogItemInterface* item = nullptr;
    if (!d->fifo()->popNoProfile(item)) return false;
    std::unique_ptr<LogItemInterface> owned(item);
    std::vector<std::string> reports;
    {
        MutexLock lock(&d->writersLock);
        for (auto& [name, writer] : d->writers) {
            const std::string failure = writeCaught(*writer, *owned);
            if (!failure.empty() && d->failedWriters.insert(name).second) {
                reports.push_back("[Log] The log writer [" + name + "] of log [" +
                                  this->name() + "] threw: " + failure);
                reportToOthersPrivate(reports.back(), name);
            }
        }
    }
    // The system log's own thread must not wait for room in its own queue.
    if (this->name() != "SystemLog") {
        for (const std::string& report : reports) korvLogError(report);
    }
    return true;
}

// The text of what the writer threw, empty when it did not throw.
std::string Log::writeCaught(LogWriter& writer, const LogItemInterface& item) {
    try {
        writer.write(item);
    } catch (const std::exception& e) {
        return std::string(e.what()).empty() ? "exception" : e.what();
    } catch (...) {
        return "unknown exception";
    }
    return std::string();
}

// Hands the report straight to every writer but the failed one, on this thread.
void Log::reportToOthersPrivate(const std::string& report, const std::string& failed) {
    const LogItem item(LevelError, report, DateTime::now());
    for (auto& [name, writer] : d->writers) {
        if (name != failed) writeCaught(*writer, item);
    }
}

bool Log::sequence(unsigned long long) {
    if (!writeNext()) d->wake.wait(kIdleWaitMs);
    return true;
}

bool Log::cleanup() {
    while (writeNext()) {
    }
    return true;
}

}  // namespace Korvane
