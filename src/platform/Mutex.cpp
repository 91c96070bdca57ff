#include <korvane/platform/Mutex.h>

#include "platform/LockWatch.h"
#include "platform/MonotonicClock.h"
#include "platform/SpinWait.h"

#include <pthread.h>

#include <mutex>
#include <new>

namespace Korvane {

struct Mutex::Private {
    pthread_mutex_t lock;  // the re-entrant lock handed out by lock()/unlock()

    // The event is made on its first use: most locks are never waited on, and making
    // and destroying it would cost more than the lock itself.
    std::once_flag eventMade;
    bool hasEvent = false;      // set once, inside eventMade
    pthread_mutex_t eventLock;  // guards signalled; held only inside notify/wait
    pthread_cond_t eventCond;
    bool signalled = false;

    Private() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&lock, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~Private() {
        if (hasEvent) {
            pthread_cond_destroy(&eventCond);
            pthread_mutex_destroy(&eventLock);
        }
        pthread_mutex_destroy(&lock);
    }

    void makeEvent() {
        std::call_once(eventMade, [this] {
            pthread_mutex_init(&eventLock, nullptr);
            Internal::initMonotonicCondition(&eventCond);
            hasEvent = true;
        });
    }
};

namespace {

// Releases the event lock also when a cancelled thread unwinds out of a wait.
class EventLockGuard {
public:
    explicit EventLockGuard(pthread_mutex_t* m) : m_mutex(m) { pthread_mutex_lock(m_mutex); }
    ~EventLockGuard() { pthread_mutex_unlock(m_mutex); }
    EventLockGuard(const EventLockGuard&) = delete;
    EventLockGuard& operator=(const EventLockGuard&) = delete;

private:
    pthread_mutex_t* m_mutex;
};

constexpr unsigned long kInfinite = 0xFFFFFFFFul;

// The watched thread, and the Mutex it waits for.
thread_local bool thisThreadWatched = false;
pthread_mutex_t awaitedLock = PTHREAD_MUTEX_INITIALIZER;  // guards awaited
// Set only while the watched thread waits for it or has just taken it, so it is
// alive while awaitedLock is held.
Mutex* awaited = nullptr;

// Publishes m for the time the watched thread waits for it.
class AwaitedScope {
public:
    explicit AwaitedScope(Mutex* m) : m_published(thisThreadWatched) {
        if (m_published) set(m);
    }
    ~AwaitedScope() {
        if (m_published) set(nullptr);
    }
    AwaitedScope(const AwaitedScope&) = delete;
    AwaitedScope& operator=(const AwaitedScope&) = delete;

private:
    static void set(Mutex* m) {
        EventLockGuard guard(&awaitedLock);
        awaited = m;
    }
    const bool m_published;
};

// Attempts of lock() before it sleeps. Locks are held for short stretches (a buffer's
// push or pop, a property write), so a holder on another processor usually lets go
// within a few attempts, and going to sleep would cost both sides a system call.
constexpr int kLockAttempts = 100;

// Whether the lock looks free, by a plain read of its state word: retrying only then
// keeps a waiting processor from taking the lock's cache line away from the holder
// with every attempt.
bool looksFree(pthread_mutex_t& lock) {
    return __atomic_load_n(&lock.__data.__lock, __ATOMIC_RELAXED) == 0;
}

}  // namespace

namespace Internal {

void watchLockWaitsOfThisThread(bool watch) { thisThreadWatched = watch; }

bool callerHoldsLockAwaitedByWatchedThread() {
    EventLockGuard guard(&awaitedLock);
    if (!awaited || !awaited->tryLock()) return false;
    awaited->unlock();
    return true;
}

}  // namespace Internal

Mutex::Mutex() : d(new (m_storage) Private) {
    static_assert(sizeof(Private) <= storageSize && alignof(Private) <= 16,
                  "Mutex::Private does not fit the storage reserved in Mutex.h");
}

Mutex::~Mutex() { d->~Private(); }

void Mutex::lock() {
    if (pthread_mutex_trylock(&d->lock) == 0) return;
    if (Internal::spinningHelps()) {
        for (int i = 0; i < kLockAttempts; ++i) {
            Internal::relaxProcessor();
            if (looksFree(d->lock) && pthread_mutex_trylock(&d->lock) == 0) return;
        }
    }
    const AwaitedScope scope(this);
    pthread_mutex_lock(&d->lock);
}

bool Mutex::tryLock() { return pthread_mutex_trylock(&d->lock) == 0; }

void Mutex::unlock() { pthread_mutex_unlock(&d->lock); }

void Mutex::notify() {
    d->makeEvent();
    EventLockGuard guard(&d->eventLock);
    d->signalled = true;
    pthread_cond_signal(&d->eventCond);
}

void Mutex::wait() { wait(kInfinite); }

bool Mutex::wait(unsigned long ms) {
    ms &= kInfinite;
    d->makeEvent();
    EventLockGuard guard(&d->eventLock);
    if (ms == kInfinite) {
        while (!d->signalled) {
            if (pthread_cond_wait(&d->eventCond, &d->eventLock) != 0) return false;
        }
    } else {
        const timespec deadline = Internal::monotonicDeadline(ms);
        while (!d->signalled) {
            const int rc = pthread_cond_timedwait(&d->eventCond, &d->eventLock, &deadline);
            if (rc == ETIMEDOUT) return true;
            if (rc != 0) return false;
        }
    }
    d->signalled = false;
    return true;
}

}  // namespace Korvane
