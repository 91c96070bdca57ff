#include "Terminal.h"

#include <unistd.h>

#include <atomic>
#include <csignal>

namespace KorvaneTool {

namespace {

std::atomic<bool> interruptFlag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler needs a lock-free flag");

extern "C" void onInterrupt(int) {
    interruptFlag.store(true);
    std::signal(SIGINT, SIG_DFL);
}

}  // namespace

bool stderrIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

void catchInterrupt() {
    std::signal(SIGINT, onInterrupt);
}

bool interrupted() {
    return interruptFlag.load();
}

}  // namespace KorvaneTool
