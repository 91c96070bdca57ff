#pragma once
// A log writer that keeps every line it is given, for tests of logs and the system
// log. Lines are read under its own lock; waitForLines waits with a deadline.

#include <korvane/log/LogWriter.h>
#include <korvane/platform/Mutex.h>

#include <string>
#include <utility>
#include <vector>

#include "support/Deadline.h"

namespace KorvaneTest {

class RecordingWriter : public Korvane::LogWriter {
public:
    // Also appends tag to journal (not owned) for every line, to see writer order.
    explicit RecordingWriter(std::vector<std::string>* journal = nullptr, std::string tag = "")
        : m_journal(journal), m_tag(std::move(tag)) {}

    void write(const Korvane::LogItemInterface& item) override {
        std::string line;
        item.print(line);
        Korvane::MutexLock lock(&m_mutex);
        m_lines.push_back(line);
        if (m_journal) m_journal->push_back(m_tag);
    }
    Korvane::LogWriter* createCopy() override { return new RecordingWriter; }

    std::vector<std::string> lines() {
        Korvane::MutexLock lock(&m_mutex);
        return m_lines;
    }

    bool waitForLines(size_t count) {
        return eventually([&] { return lines().size() >= count; });
    }

private:
    Korvane::Mutex m_mutex;  // guards m_lines and the journal
    std::vector<std::string> m_lines;
    std::vector<std::string>* const m_journal;
    const std::string m_tag;
};

}  // namespace KorvaneTest
