#pragma once
// A log writer that shows the warnings and errors of "SystemLog" on stderr, so that
// what a plug-in reports (a storage that cannot write a frame, a camera that cannot
// start) reaches the tool's user and not only logfile.txt. Called on the log's thread,
// one item at a time; it keeps no state. The level is read from the printed line,
// whose first field is the level's name.

#include <korvane/log/LogWriter.h>

namespace KorvaneTool {

class TerminalLogWriter : public Korvane::LogWriter {
public:
    void write(const Korvane::LogItemInterface& item) override;
    Korvane::LogWriter* createCopy() override { return new TerminalLogWriter; }
};

// Adds a TerminalLogWriter to "SystemLog".
void showLogOnTerminal();
// Stops the logs, so that every message queued so far has been written.
void flushLog();

}  // namespace KorvaneTool
