#pragma once
// Mutex is the library's one lock: a re-entrant lock and, independent of it, an
// auto-reset wake-up event. Waiting on the event never releases the lock. The event
// is not counted: a notify with no waiter stays pending until the next wait, and
// two notifies before a wait count as one. MutexLock holds a Mutex for a scope.
// Neither is copyable: each owns operating-system objects. The lock and the event are
// kept inside the Mutex itself, so that objects owning one cost no heap record for it.

#include <korvane/core/Export.h>

#include <cstddef>

namespace Korvane {

class KORVANE_API Mutex {
public:
    Mutex();
    virtual ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Blocks until the calling thread holds the lock; at once if it already does. A
    // lock held by another thread is retried for a short while before the caller sleeps.
    void lock();
    // Takes the lock (one more level if the caller holds it) when no other thread
    // holds it; true when the caller now holds it. Never waits.
    bool tryLock();
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

    // Room for Private; Mutex.cpp checks at compile time that it fits, so that the
    // operating-system types stay out of this header.
    static constexpr std::size_t storageSize = 160;
    alignas(16) unsigned char m_storage[storageSize];
    Private* d;  // the record built in m_storage
};

class KORVANE_API MutexLock {
public:
    // Locks m, which must not be null and must outlive this scope.
    explicit MutexLock(Mutex* m) : m_mutex(m) { m_mutex->lock(); }
    virtual ~MutexLock() { m_mutex->unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex* m_mutex;  // not owned
};

}  // namespace Korvane
