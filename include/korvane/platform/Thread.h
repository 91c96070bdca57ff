#pragma once
// Thread is an abstract thread whose body a subclass supplies in run(). The POSIX
// thread is created at construction and parked until start(); the body runs at most
// once. Ending is cooperative: a subclass tells its body to leave and then joins.
//
// destroy() ends a body that does not cooperate. It cancels the thread, which ends
// it at its next cancellation point (Mutex::wait, Thread::sleep, blocking I/O); a
// body that reaches none within 100 ms (a busy loop) is interrupted by a signal that
// switches it to asynchronous cancellation. Cancellation unwinds the body's stack, so
// scope guards such as MutexLock release their locks, except in a frame that was
// interrupted between calls (a spinning loop), whose cleanups do not run. A body
// that catches everything with catch (...) must rethrow the cancellation, or the
// runtime aborts the process.
//
// Decisions: stop() and join() on a thread that was never started return at once;
// destroying a never-started Thread ends its parked thread without running the body.
// The Thread object must outlive its thread: destroy it only after the body ended.

#include <korvane/platform/Mutex.h>

#include <memory>

namespace Korvane {

class KORVANE_API Thread : public Mutex {
public:
    ~Thread() override;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    virtual void run() = 0;
    // Sets the running flag and releases the parked thread; only the first call acts.
    virtual void start();
    // Waits without limit until the thread has ended (the same as join()).
    virtual void stop();

    void join();
    // True exactly when the thread ended within ms milliseconds.
    bool join(unsigned long long ms);
    bool isRunning();
    // Ends the thread without its cooperation (see the header comment).
    void destroy();
    // Accepted and ignored: threads carry no names.
    void setThreadName(const char* name);

    static void sleep(unsigned long long ms);
    // The entry routine: runs t->run() between setting and clearing the running flag.
    static unsigned long long execute(Thread* t);

protected:
    Thread();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

}  // namespace Korvane
