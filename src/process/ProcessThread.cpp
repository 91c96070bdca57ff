#include "process/ProcessThread.h"

#include <cxxabi.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/process/ProcessInterface.h>

#include <exception>
#include <string>

namespace Korvane {
namespace Internal {

namespace {

// Runs step and hands the message of any exception it throws to onException, except
// abi::__forced_unwind: that is the unwinding of a thread that stopProcess had to
// destroy, and swallowing it would abort the whole program. Its handler binds a
// reference to no object (the unwinding carries none), so the sanitizer's null check
// is switched off for this small function, which must not be inlined into a caller
// that has the check.
template <class Step, class OnException>
__attribute__((noinline, no_sanitize("null"))) void guarded(Step step, OnException onException) {
    try {
        step();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& e) {
        onException(std::string(e.what()));
    } catch (...) {
        onException(std::string());
    }
}

}  // namespace

ProcessThread::ProcessThread(ProcessInterface* process) : m_process(process) {}

ProcessThread::~ProcessThread() = default;

void ProcessThread::run() {
    if (!m_process) {
        korvLogError("Tried to start ProcessThread while process==NULL.");
        return;
    }
    ProcessInterface& process = *m_process;
    guarded([&] { runProcess(process); },
            [&](const std::string& message) { endAfterEscape(process, message); });
}

void ProcessThread::runProcess(ProcessInterface& process) {
    process.setStatus(ProcessInterface::StartingBuffers);
    if (!stopRequested() && process.initBufferSlots()) {
        runBound(process);
        return;
    }
    korvLogError("Process [" + process.name() +
                 "] could not start: A required buffer slot is empty.");
    process.releaseBufferSlots();
    process.setStatus(ProcessInterface::StoppingNotStarted);
}

void ProcessThread::runBound(ProcessInterface& process) {
    process.setStatus(ProcessInterface::StartingInit);
    // An exception from the subclass skips its cleanup but not the release.
    guarded(
        [&] { initIterateCleanup(process); },
        [&](const std::string& message) {
            korvLogError("An exception occurred in process [" + process.name() + "] :" + message);
        });
    process.setStatus(ProcessInterface::StoppingRelease);
    process.flushAllBuffers();
    process.releaseBufferSlots();
    m_stop.store(false);
    process.setStatus(ProcessInterface::StoppingDone);
}

void ProcessThread::initIterateCleanup(ProcessInterface& process) {
    const bool initialised = !stopRequested() && process.init();
    if (!initialised) {
        korvLogError("Init failed of process [" + process.name() + "]");
    } else if (!stopRequested()) {
        iterate(process);
    }
    process.setStatus(ProcessInterface::StoppingCleanup);
    process.cleanup();
}

void ProcessThread::iterate(ProcessInterface& process) {
    process.setStatus(ProcessInterface::RunningIterating);
    const long long limit = process.m_maxIterations;
    if (limit == -1) {
        // Without a limit each iteration is followed by 1 ms, so that a sequence that
        // returns at once does not occupy a processor.
        for (;;) {
            const long long current = process.m_iteration.fetch_add(1);
            const bool more = process.sequence(static_cast<unsigned long long>(current));
            Thread::sleep(1);
            if (stopRequested() || !more) return;
        }
    }
    // Any other limit runs at least once; 0 and other negative values mean once.
    for (;;) {
        const long long current = process.m_iteration.fetch_add(1);
        const bool more = process.sequence(static_cast<unsigned long long>(current));
        if (current + 1 >= limit || stopRequested() || !more) return;
    }
}

// The transition rule moves Starting, Running and any Stopping below StoppingDone to
// StoppingDone, and leaves an idle process alone.
void ProcessThread::endAfterEscape(ProcessInterface& process, const std::string& message) {
    korvLogError("An exception occurred in process [" + process.name() +
                 "]. The process is stopped:" + message);
    process.setStatus(ProcessInterface::StoppingDone);
}

}  // namespace Internal
}  // namespace Korvane
