#include "Terminal.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>

namespace KorvaneTool {

namespace {

std::atomic<int> interrupts{0};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free count");

extern "C" void onInterrupt(int) {
    if (interrupts.fetch_add(1) + 1 >= 3) std::_Exit(130);
}

}  // namespace

bool stderrIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

void catchInterrupt() {
    std::signal(SIGINT, onInterrupt);
}

bool interrupted() {
    return interrupts.load() > 0;
}

}  // namespace KorvaneTool
