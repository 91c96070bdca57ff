#pragma once
// The four strategies of a ring, in the order of the ring's worker table: Unsync
// single-threaded, Sync single-threaded, Unsync multi-threaded, Sync multi-threaded.
// A push never waits and never fails: on a full ring it overwrites the oldest
// element. "Sync" makes a pop on an empty ring wait, "Unsync" makes it fail at once.
// All four change the ring under the buffer's lock: an overwrite moves the front
// that a pop moves too, so no lock-free form exists for one producer and one consumer.

#include <korvane/platform/Mutex.h>

#include <boost/circular_buffer.hpp>
#include <utility>

#include "buffers/BufferWorker.h"

namespace Korvane {
namespace Internal {

template <class T>
using Ring = boost::circular_buffer<T>;

template <class T>
class RingWorker : public BufferWorker<T> {
public:
    using BufferWorker<T>::BufferWorker;

    virtual bool push(const T& item, Ring<T>& ring, unsigned int maxSize, Mutex& lock,
                      Mutex& notEmpty, Mutex& notFull);
    virtual bool pop(T& item, Ring<T>& ring, unsigned int maxSize, Mutex& lock, Mutex& notEmpty,
                     Mutex& notFull) = 0;
    // The same for every strategy: a copy of the oldest element, taken under the lock.
    virtual bool peek(T& item, Ring<T>& ring, unsigned int maxSize, Mutex& lock, Mutex& notEmpty,
                      Mutex& notFull);

protected:
    ~RingWorker() = default;

    // No producer ever waits for room in a ring, so a pop has nobody to signal on the
    // not-full event.
    template <bool Sync>
    bool popLocked(T& item, Ring<T>& ring, Mutex& lock, Mutex& notEmpty);
};

// One strategy: Sync selects waiting; both threading forms lock (see above).
template <class T, bool Sync>
class RingWorkerOf final : public RingWorker<T> {
public:
    using RingWorker<T>::RingWorker;

    bool pop(T& item, Ring<T>& ring, unsigned int, Mutex& lock, Mutex& notEmpty, Mutex&) override {
        return this->template popLocked<Sync>(item, ring, lock, notEmpty);
    }
};

template <class T>
using RingWorkerUnsyncSt = RingWorkerOf<T, false>;
template <class T>
using RingWorkerSyncSt = RingWorkerOf<T, true>;
template <class T>
using RingWorkerUnsyncMt = RingWorkerOf<T, false>;
template <class T>
using RingWorkerSyncMt = RingWorkerOf<T, true>;

// ---- implementation -------------------------------------------------------------------

template <class T>
bool RingWorker<T>::push(const T& item, Ring<T>& ring, unsigned int, Mutex& lock, Mutex& notEmpty,
                         Mutex&) {
    ReleaseAfterUnlock<T> overwritten;
    bool wakeConsumer = false;
    {
        MutexLock guard(&lock);
        if (ring.full() && !ring.empty()) overwritten.keepIfLast(ring.front());
        ring.push_back(item);  // on a full ring: overwrites the oldest, advances the front
        wakeConsumer = !ring.empty() && this->state().popWaiters.claimWake();
    }
    if (wakeConsumer) notEmpty.notify();
    return true;
}

template <class T>
bool RingWorker<T>::peek(T& item, Ring<T>& ring, unsigned int, Mutex& lock, Mutex&, Mutex&) {
    ReleaseAfterUnlock<T> previous(item);
    MutexLock guard(&lock);
    if (ring.empty() || this->state().isAborted()) return false;
    item = ring.front();
    return true;
}

template <class T>
template <bool Sync>
bool RingWorker<T>::popLocked(T& item, Ring<T>& ring, Mutex& lock, Mutex& notEmpty) {
    BufferWaitState& state = this->state();
    ReleaseAfterUnlock<T> previous(item);
    bool wakeConsumer = false;
    {
        MutexLock guard(&lock);
        auto empty = [&] { return ring.empty(); };
        if constexpr (Sync) {
            if (!this->waitLocked(lock, notEmpty, state.popWaiters, empty)) return false;
        } else if (empty()) {
            return false;
        }
        item = std::move(ring.front());
        ring.pop_front();
        wakeConsumer = !empty() && state.popWaiters.claimWake();
    }
    if (wakeConsumer) notEmpty.notify();
    return true;
}

}  // namespace Internal
}  // namespace Korvane
