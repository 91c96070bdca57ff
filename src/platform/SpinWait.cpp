#include "platform/SpinWait.h"

#include <sched.h>
#include <unistd.h>

namespace Korvane::Internal {

void yieldProcessor() {
    sched_yield();
}

bool spinningHelps() {
    static const bool helps = sysconf(_SC_NPROCESSORS_ONLN) > 1;
    return helps;
}

}  // namespace Korvane::Internal
