#pragma once
// The tool's view of its terminal and of Ctrl-C; the only part of the tool that
// includes POSIX headers. The interrupt handler only counts in an atomic that the
// main thread polls; the third Ctrl-C ends the tool at once (exit code 130), for a
// stop that hangs. Not the second: `timeout` and similar wrappers deliver one
// SIGINT twice (to the child and to its process group).

namespace KorvaneTool {

// Whether standard error is a terminal (progress is rewritten in place there).
bool stderrIsTerminal();
// Installs the SIGINT handler; call once from the main thread.
void catchInterrupt();
// Whether Ctrl-C was pressed since catchInterrupt.
bool interrupted();

}  // namespace KorvaneTool
