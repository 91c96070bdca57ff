#pragma once
// ProcessInterface is the base of everything that runs on a thread of its own. A
// subclass supplies init, sequence and cleanup; each run binds the buffer slots,
// calls init, sequence in a loop ("MaxIterations" times, or without limit for -1) and
// cleanup, then releases the slots. The object owns its thread, on which alone init,
// sequence and cleanup run; startProcess and stopProcess may be called from any other
// thread. stopProcess repeats its stop request with an abort of the bound buffers
// every 10 ms; after 1000 attempts it destroys the thread (see Thread::destroy). The
// destructor neither stops nor joins: the owner stops the process first.
//
// Decisions: after a destroyed thread the process shows IdleStopped and its slots are
// released (its body never reached the release). A run that could not bind every
// required slot releases those it did bind, so that stopping it aborts no buffer a
// running peer still uses. The guards also catch exceptions that are not standard
// ones (logged with an empty message). startProcess and stopProcess are serialised by
// a lock of their own, taken before m_lock, so that two controlling threads never
// delete the thread under each other. statusDetail() makes the detail readable.
// sleep() looks for the thread under the lock but sleeps without it, so that a stop
// is not held up for the length of the sleep.

#include <korvane/core/Export.h>
#include <korvane/platform/Mutex.h>
#include <korvane/process/BufferSlotInterface.h>

#include <atomic>
#include <memory>
#include <string>

namespace Korvane {

namespace Internal {
class ProcessThread;
}

class KORVANE_API ProcessInterface : public BufferSlotInterface {
public:
    // The high nibble of the detail.
    enum Status : unsigned int {
        Idle = 0x10,
        Starting = 0x20,
        Running = 0x40,
        Stopping = 0x80,
    };

    enum StatusDetail : unsigned int {
        IdleNew = 0x11,               // constructed, never started
        IdleStopped = 0x12,           // stopProcess ended the thread
        IdleStartFailed = 0x1F,       // no thread could be created (or, passing, an old one ended)
        StartingThread = 0x21,        // startProcess created the thread
        StartingBuffers = 0x22,       // the thread binds the slots
        StartingInit = 0x23,          // init is called
        RunningIterating = 0x41,      // the loop runs
        RunningStopRequested = 0x42,  // stopProcess asked the thread to end
        StoppingNotStarted = 0x80,    // a slot could not be bound; init was not called
        StoppingCleanup = 0x82,       // cleanup is called
        StoppingRelease = 0x83,       // the buffers are flushed and the slots released
        StoppingDone = 0x84,          // the thread has finished its work
    };

    explicit ProcessInterface(const std::string& componentType);
    // A copy is a new, idle process with the same properties and slots.
    ProcessInterface(const ProcessInterface& other);
    ProcessInterface& operator=(const ProcessInterface&) = delete;
    ~ProcessInterface() override;

    // Starts a new run unless the thread is running; a thread that ended by itself is
    // replaced. Holds the lock for the whole start.
    void startProcess();
    // Ends the run and the thread; nothing happens while the process is idle.
    void stopProcess();

    Status status() const;
    StatusDetail statusDetail() const;
    bool isRunning() const;
    // The status is Stopping, or a stop was requested while running.
    bool isStopping() const;
    // The number of sequence calls begun since the last start.
    long long iteration() const;

protected:
    // Suspends the calling thread for ms milliseconds, but only while a process
    // thread exists.
    void sleep(unsigned long long ms);

    // Called on the process thread, in this order, by each run.
    virtual bool init() = 0;
    virtual bool sequence(unsigned long long iteration) = 0;
    virtual bool cleanup() = 0;

private:
    // The body of each run.
    friend class Internal::ProcessThread;

    // Stores d when the transition rule allows it: from Idle only to Starting, from
    // Starting anywhere, from Running to Running or Stopping, from Stopping to a later
    // Stopping detail or to Idle.
    void setStatus(StatusDetail d);
    // Repeats the stop request until the thread leaves RunningStopRequested or ends;
    // false when it had to be destroyed.
    bool requestStop(Internal::ProcessThread& thread);
    // Creates and starts the thread; the caller holds m_lock.
    void startThreadPrivate();

    // Serialises startProcess and stopProcess; the process thread never takes it.
    Mutex m_control;
    std::unique_ptr<Internal::ProcessThread> m_thread;  // guarded by m_lock; null when none
    long long m_maxIterations = -1;  // written before the thread starts, read by it
    std::atomic<long long> m_iteration{0};
    StatusDetail m_statusDetail = IdleNew;  // guarded by m_lock
};

}  // namespace Korvane
