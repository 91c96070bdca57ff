#include <korvane/log/Profiler.h>

#include <korvane/log/LogManager.h>
#include <korvane/platform/Dir.h>

namespace Korvane {

Profiler* Profiler::get() {
    static Profiler instance;
    return &instance;
}

Profiler::Profiler() {
    std::string name = "ProfileLog";
    m_log = LogManager::get()->create("DefaultLog", name, false);
    LogWriterRefPtr shared = LogManager::get()->writer("LogFileWriter");
    if (m_log.isNull() || shared.isNull()) return;
    LogWriterRefPtr writer(shared->createCopy(), nullptr);
    writer->beginPropertyChange();
    writer->setProperty("FileName", Dir::workingDir() + "profile.log");
    writer->setProperty("OpenMode", "Trunc");
    writer->endPropertyChange();
    m_log->beginPropertyChange();
    m_log->addWriter("Default", writer);
    m_log->setProperty("Threshold", "Profiler");
    m_log->endPropertyChange();
}

Profiler::~Profiler() = default;

void Profiler::logEvent(const ProfileLogItem& item) {
    if (m_log.isValid()) m_log->write(LevelProfiler, item);
}

}  // namespace Korvane
