#include <korvane/log/LogManager.h>

#include <korvane/config/Registry.h>
#include <korvane/log/LogFileWriter.h>

#include <atomic>

namespace Korvane {

namespace {

// Where the singleton is in its life. A message written while it is being built
// (its own start-up may log) or after it is gone must not call get().
enum class Life { NotMade, Building, Live, Gone };
std::atomic<Life> life{Life::NotMade};
// Set while the singleton is live.
std::atomic<LogManager*> liveManager{nullptr};

constexpr const char* kSystemLog = "SystemLog";

std::string logFilePath() {
    std::string directory;
    Registry::get()->expandProperty("LOG_PATH", &directory, true);
    if (directory.empty()) Registry::get()->expandProperty("BIN_PATH", &directory, true);
    return directory + "logfile.txt";
}

}  // namespace

LogManager* LogManager::get() {
    static LogManager instance;
    return &instance;
}

LogManager::LogManager() {
    life = Life::Building;
    MutexLock lock(&m_lock);
    registerType("DefaultLog", LogRefPtr(new Log, &freeCallback));
    m_writers.emplace("LogFileWriter", LogWriterRefPtr(new LogFileWriter, nullptr));
    createSystemLogPrivate();
    liveManager = this;
    life = Life::Live;
}

LogManager::~LogManager() {
    life = Life::Gone;
    liveManager = nullptr;
    stopAllLogs();
}

void LogManager::createSystemLogPrivate() {
    std::string name = kSystemLog;
    LogRefPtr systemLog = create("DefaultLog", name, true);
    LogWriterRefPtr fileWriter = m_writers["LogFileWriter"];
    fileWriter->beginPropertyChange();
    fileWriter->setProperty("FileName", logFilePath());
    fileWriter->setProperty("MaxLines", 10000);
    fileWriter->endPropertyChange();
    if (systemLog.isValid()) systemLog->addWriter("Default", fileWriter);
}

LogRefPtr LogManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    LogRefPtr prototype = prototypePrivate(typeName);
    LogRefPtr log;
    if (prototype.isValid()) log = LogRefPtr(prototype->createCopy(), &freeCallback);
    log = enterCreatedPrivate(log, typeName, name, unique);
    if (log.isValid()) log->startProcess();
    return log;
}

bool LogManager::registerWriter(const char* name, LogWriterRefPtr writer) {
    if (!name || writer.isNull()) return false;
    MutexLock lock(&m_lock);
    return m_writers.emplace(name, writer).second;
}

bool LogManager::unregisterWriter(const char* name) {
    if (!name) return false;
    MutexLock lock(&m_lock);
    return m_writers.erase(name) == 1;
}

LogWriterRefPtr LogManager::writer(const char* name) {
    if (!name) return LogWriterRefPtr();
    MutexLock lock(&m_lock);
    auto it = m_writers.find(name);
    return it == m_writers.end() ? LogWriterRefPtr() : it->second;
}

bool LogManager::releaseInstance(const char* name) {
    if (name && std::string(name) == kSystemLog) return false;
    return Manager::releaseInstance(name);
}

void LogManager::stopAllLogs() {
    for (const std::string& name : instanceList()) {
        LogRefPtr log = instance(name.c_str());
        if (log.isValid()) log->stopProcess();
    }
}

bool LogManager::cleanUp() {
    stopAllLogs();
    return Manager::cleanUp();
}

LogRefPtr LogManager::systemLog() {
    if (life == Life::NotMade) get();
    LogManager* manager = liveManager.load();
    return manager ? manager->instance(kSystemLog) : LogRefPtr();
}

}  // namespace Korvane
