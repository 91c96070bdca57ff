#pragma once
// Mutex is the library's one lock: a re-entrant lock and, independent of it, an
// auto-reset wake-up event. Waiting on the event never releases the lock. The event
// is not counted: a notify with no waiter stays pending until the next wait, and
// two notifies before a wait count as one. MutexLock holds a Mutex for a scope.
// Neither is copyable: each owns operating-system objects.

#include <korvane/core/Export.h>

#include <memory>

namespace Korvane {

class KORVANE_API Mutex {
public:
    Mutex();
    virtual ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Blocks until the calling thread holds the lock; at once if it already does.
    void lock();
    // Releases one level of the lock.
    void unlock();

    // Signals the event; wakes at most one waiter.
    void notify();
    // Blocks until the event is signalled and consumes the signal.
    void wait();
    // Blocks at most ms milliseconds (only the low 32 bits count; 0xFFFFFFFF waits
    // forever). True when signalled and when the time ran out; false only when the
    // wait itself failed.
    bool wait(unsigned long ms);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

class KORVANE_API MutexLock {
public:
    // Locks m, which must not be null and must outlive this scope.
    explicit MutexLock(Mutex* m);
    virtual ~MutexLock();
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex* m_mutex;  // not owned
};

}  // namespace Korvane
