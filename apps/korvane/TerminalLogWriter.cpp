#include "TerminalLogWriter.h"

#include <korvane/log/Log.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/LogManager.h>

#include <cstdio>
#include <string>

namespace KorvaneTool {

void TerminalLogWriter::write(const Korvane::LogItemInterface& item) {
    std::string line;
    item.print(line);
    const bool shown = line.rfind("WARNING", 0) == 0 || line.rfind("ERROR", 0) == 0 ||
                       line.rfind("CRITICAL", 0) == 0;
    if (!shown) return;
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

void flushLog() {
    Korvane::LogManager::get()->cleanUp();
}

}  // namespace KorvaneTool
