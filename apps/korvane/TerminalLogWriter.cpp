#include "TerminalLogWriter.h"

#include <korvane/log/Log.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/LogManager.h>

#include <atomic>
#include <cstdio>
#include <string>

namespace KorvaneTool {

namespace {
std::atomic<bool> stopping{false};  // read on the log's thread
}  // namespace

void TerminalLogWriter::write(const Korvane::LogItemInterface& item) {
    std::string line;
    item.print(line);
    const bool shown = line.rfind("WARNING", 0) == 0 || line.rfind("ERROR", 0) == 0 ||
                       line.rfind("CRITICAL", 0) == 0;
    // An operator whose pop was aborted by the stop reports a failed execute.
    if (!shown ||
        (stopping.load() && line.find("Could not execute operator [") != std::string::npos)) {
        return;
    }
    // "<level>: <time>: <message>" becomes "korvane: <level>: <message>".
    const std::size_t levelEnd = line.find(' ');
    const std::size_t timeEnd = line.find(": ", line.find(": ") + 2);
    const std::string message = timeEnd == std::string::npos ? line : line.substr(timeEnd + 2);
    std::fprintf(stderr, "korvane: %s: %s\n", line.substr(0, levelEnd).c_str(), message.c_str());
}

void showLogOnTerminal() {
    Korvane::LogRefPtr log = Korvane::LogManager::systemLog();
    if (log.isNull()) return;
    Korvane::LogWriterRefPtr writer(new TerminalLogWriter, nullptr);
    log->addWriter("Terminal", writer);
}

void pipelineStopping() {
    stopping.store(true);
}

void flushLog() {
    Korvane::LogManager::get()->cleanUp();
}

}  // namespace KorvaneTool
