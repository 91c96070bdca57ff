#pragma once
// A bounded busy wait for a condition that a running peer is about to make true, for
// use before sleeping on an event: a sleep and a wake-up cost microseconds, in which a
// running peer hands over many items. The wait first re-tests with processor pauses
// in between, then yields the processor between tests, so that a peer waiting for a
// core (more runnable threads than cores) gets one; then it gives up and the caller
// sleeps. On a machine with one processor only the yielding part runs. Its length is
// bounded (some tens of microseconds), so a spinning thread never starves the others.

namespace Korvane::Internal {

// Tells the processor that the caller spins (x86 pause, ARM yield).
inline void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield" ::: "memory");
#else
    asm volatile("" ::: "memory");
#endif
}

// Gives the processor to another runnable thread, if there is one.
void yieldProcessor();

// Whether the pausing part is worth it: false on a machine with one processor.
bool spinningHelps();

// Re-tests plenty() with a pause, then with a yield of the processor in between,
// until it answers true or the budget is spent; answers ready() then. plenty() asks for
// more than ready() (a batch rather than one item), so that two threads handing items
// to each other take turns in batches instead of contending for every item; ready()
// is what the caller needs. Both must be cheap and safe without the caller's lock.
template <class Ready, class Plenty>
bool spinUntil(Ready ready, Plenty plenty) {
    constexpr int pausesPerTest = 8;  // a test reads lines the peer writes: not too often
    constexpr int pauseTests = 16;
    constexpr int yieldTests = 16;
    if (spinningHelps()) {
        for (int i = 0; i < pauseTests; ++i) {
            if (plenty()) return true;
            for (int p = 0; p < pausesPerTest; ++p) relaxProcessor();
        }
    }
    for (int i = 0; i < yieldTests; ++i) {
        if (plenty()) return true;
        yieldProcessor();
    }
    return ready();
}

}  // namespace Korvane::Internal
