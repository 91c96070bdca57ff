#pragma once
// Records what reaches "SystemLog" for a test that checks the exact texts the library
// logs. The first one made in a program points LOG_PATH at a temporary directory
// before "SystemLog" exists, so no log file lands beside the test binaries.
#include <korvane/config/Registry.h>
#include <korvane/log/LogManager.h>

#include <memory>
#include <string>

#include "support/RecordingWriter.h"
#include "support/TempDir.h"

namespace KorvaneTest {

class SystemLogRecorder {
public:
    SystemLogRecorder() {
        static TempDir logDirectory;
        Korvane::Registry::get()->setProperty("LOG_PATH", logDirectory.path() + "/");
        Korvane::LogRefPtr log = Korvane::LogManager::systemLog();
        if (log.isValid()) log->addWriter(kName, m_writer);
    }
    ~SystemLogRecorder() {
        Korvane::LogRefPtr log = Korvane::LogManager::systemLog();
        if (log.isValid()) log->removeWriter(kName);
    }
    SystemLogRecorder(const SystemLogRecorder&) = delete;
    SystemLogRecorder& operator=(const SystemLogRecorder&) = delete;

    // True once a line containing text arrived, false when the deadline passed first.
    bool waitForLineWith(const std::string& text) {
        return eventually([&] { return countLinesWith(text) > 0; });
    }
    int countLinesWith(const std::string& text) {
        int count = 0;
        for (const std::string& line : m_recorder->lines())
            if (line.find(text) != std::string::npos) ++count;
        return count;
    }

private:
    static constexpr char kName[] = "TestRecorder";
    RecordingWriter* m_recorder = new RecordingWriter;  // owned by m_writer
    Korvane::LogWriterRefPtr m_writer{m_recorder, nullptr};
};

}  // namespace KorvaneTest
