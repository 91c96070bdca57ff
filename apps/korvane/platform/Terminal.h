#pragma once
// The tool's view of its terminal and of Ctrl-C; the only part of the tool that
// includes POSIX headers. The interrupt handler only sets an atomic flag that the
// main thread polls, and puts the default action back, so a second Ctrl-C ends a
// run that does not stop.

namespace KorvaneTool {

// Whether standard error is a terminal (progress is rewritten in place there).
bool stderrIsTerminal();
// Installs the SIGINT handler; call once from the main thread.
void catchInterrupt();
// Whether Ctrl-C was pressed since catchInterrupt.
bool interrupted();

}  // namespace KorvaneTool
