#pragma once
// Records what reaches "SystemLog" while it lives, with the system log file in a
// temporary directory when the recorder is the first user of the log. messages() logs a marker,
// waits for it (so every message logged before the call has arrived) and answers the lines since
// the previous call without their date: the level name as printed, ": " and the message.

#include <korvane/config/Registry.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>

#include <string>
#include <vector>

#include "support/RecordingWriter.h"
#include "support/TempDir.h"

namespace KorvaneTest {

class SystemLogRecorder {
public:
    SystemLogRecorder() {
        // Made before "SystemLog", so it lives until the log is gone.
        static TempDir directory;
        Korvane::Registry::get()->setProperty("LOG_PATH", directory.path() + "/");
        m_log = Korvane::LogManager::systemLog();
        if (m_log.isValid()) m_log->addWriter("Recorder", m_handle);
    }
    ~SystemLogRecorder() {
        if (m_log.isValid()) m_log->removeWriter("Recorder");
    }
    SystemLogRecorder(const SystemLogRecorder&) = delete;
    SystemLogRecorder& operator=(const SystemLogRecorder&) = delete;

    // Empty, with a failed expectation, when the marker did not arrive in time.
    std::vector<std::string> messages() {
        const std::string marker = "-- marker " + std::to_string(++m_markers) + " --";
        Korvane::korvLogCritical(marker);
        std::vector<std::string> lines;
        std::size_t at = 0;
        const bool arrived = eventually([&] {
            lines = m_writer->lines();
            for (at = m_seen; at < lines.size(); ++at) {
                if (lines[at].find(marker) != std::string::npos) return true;
            }
            return false;
        });
        if (!arrived) return {"the marker did not reach the system log"};
        std::vector<std::string> fresh;
        for (std::size_t i = m_seen; i < at; ++i) fresh.push_back(withoutDate(lines[i]));
        m_seen = at + 1;
        return fresh;
    }

private:
    // "ERROR      : <date>: text" becomes "ERROR      : text"; the date's own colons are
    // never followed by a blank.
    static std::string withoutDate(const std::string& line) {
        const std::size_t levelEnd = 13;
        const std::size_t dateEnd = line.find(": ", levelEnd);
        if (line.size() < levelEnd || dateEnd == std::string::npos) return line;
        return line.substr(0, levelEnd) + line.substr(dateEnd + 2);
    }

    Korvane::LogRefPtr m_log;
    RecordingWriter* m_writer = new RecordingWriter;  // owned by m_handle
    Korvane::LogWriterRefPtr m_handle{m_writer, nullptr};
    std::size_t m_seen = 0;
    int m_markers = 0;
};

}  // namespace KorvaneTest
