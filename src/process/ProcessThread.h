#pragma once
// ProcessThread is the thread of one ProcessInterface; its run() is the body of one
// run of that process (bind the slots, init, the iteration loop, cleanup, release).
// The process owns its thread and outlives it. The stop flag is written by the
// thread that stops the process and polled by the body between steps and iterations.
//
// Decision: the stop flag is atomic rather than a plain bool, so that the hand-over
// between the two threads is defined without taking the process's lock.

#include <korvane/platform/Thread.h>

#include <atomic>
#include <string>

namespace Korvane {

class ProcessInterface;

namespace Internal {

class ProcessThread : public Thread {
public:
    explicit ProcessThread(ProcessInterface* process);
    ~ProcessThread() override;

    void run() override;

    void requestStop() { m_stop.store(true); }
    bool stopRequested() const { return m_stop.load(); }

private:
    // The run once the process exists; exceptions escape to run().
    void runProcess(ProcessInterface& process);
    // Everything after the slots were bound: init, loop, cleanup under their own guard,
    // then the release.
    void runBound(ProcessInterface& process);
    void initIterateCleanup(ProcessInterface& process);
    void iterate(ProcessInterface& process);
    // The end of a run that an exception left outside the inner guard.
    void endAfterEscape(ProcessInterface& process, const std::string& message);

    ProcessInterface* m_process;  // not owned
    std::atomic<bool> m_stop{false};
};

}  // namespace Internal
}  // namespace Korvane
