#pragma once
// The four strategies of a FIFO, in the order of the FIFO's worker table:
// Unsync single-threaded, Sync single-threaded, Unsync multi-threaded, Sync
// multi-threaded. "Sync" waits on a full push or an empty pop, "Unsync" fails at
// once; "Mt" does the whole operation under the buffer's lock, "St" touches the
// queue without it (one producer and one consumer thread) and takes the lock only to
// count itself as a waiter before it sleeps. A Sync wait first spins briefly without
// the lock (BufferWorker::spinThenWaitLocked): the tests of full, empty and of a batch
// read only the queue's atomics.

#include <korvane/platform/Mutex.h>

#include "buffers/BufferWorker.h"
#include "buffers/FifoQueue.h"

namespace Korvane {
namespace Internal {

template <class T>
class FifoWorker : public BufferWorker<T> {
public:
    using BufferWorker<T>::BufferWorker;

    virtual bool push(const T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                      Mutex& notEmpty, Mutex& notFull) = 0;
    virtual bool pop(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                     Mutex& notEmpty, Mutex& notFull) = 0;
    // The same for every strategy: a copy of the front element, taken under the lock.
    virtual bool peek(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                      Mutex& notEmpty, Mutex& notFull);

protected:
    ~FifoWorker() = default;

    // Locked push and pop; Sync selects waiting. The caller does not hold the lock.
    template <bool Sync>
    bool pushLocked(const T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                    Mutex& notEmpty, Mutex& notFull);
    template <bool Sync>
    bool popLocked(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock, Mutex& notEmpty,
                   Mutex& notFull);

    // Unlocked push and pop for one thread per side.
    template <bool Sync>
    bool pushUnlocked(const T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                      Mutex& notEmpty, Mutex& notFull);
    template <bool Sync>
    bool popUnlocked(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                     Mutex& notEmpty, Mutex& notFull);

    // What a spinning wait holds out for: a quarter of the FIFO, at least one.
    static std::size_t batchOf(unsigned int maxSize) { return maxSize / 4 > 1 ? maxSize / 4 : 1; }
};

// One strategy: Sync selects waiting, Locked the multi-threaded form.
template <class T, bool Sync, bool Locked>
class FifoWorkerOf final : public FifoWorker<T> {
public:
    using FifoWorker<T>::FifoWorker;

    bool push(const T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
              Mutex& notEmpty, Mutex& notFull) override {
        if constexpr (Locked) {
            return this->template pushLocked<Sync>(item, queue, maxSize, lock, notEmpty, notFull);
        } else {
            return this->template pushUnlocked<Sync>(item, queue, maxSize, lock, notEmpty, notFull);
        }
    }
    bool pop(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock, Mutex& notEmpty,
             Mutex& notFull) override {
        if constexpr (Locked) {
            return this->template popLocked<Sync>(item, queue, maxSize, lock, notEmpty, notFull);
        } else {
            return this->template popUnlocked<Sync>(item, queue, maxSize, lock, notEmpty, notFull);
        }
    }
};

template <class T>
using FifoWorkerUnsyncSt = FifoWorkerOf<T, false, false>;
template <class T>
using FifoWorkerSyncSt = FifoWorkerOf<T, true, false>;
template <class T>
using FifoWorkerUnsyncMt = FifoWorkerOf<T, false, true>;
template <class T>
using FifoWorkerSyncMt = FifoWorkerOf<T, true, true>;

// ---- implementation -------------------------------------------------------------------

template <class T>
bool FifoWorker<T>::peek(T& item, FifoQueue<T>& queue, unsigned int, Mutex& lock, Mutex&, Mutex&) {
    ReleaseAfterUnlock<T> previous(item);
    MutexLock guard(&lock);
    if (queue.empty() || this->state().isAborted()) return false;
    item = queue.front();
    return true;
}

template <class T>
template <bool Sync>
bool FifoWorker<T>::pushLocked(const T& item, FifoQueue<T>& queue, unsigned int maxSize,
                               Mutex& lock, Mutex& notEmpty, Mutex& notFull) {
    BufferWaitState& state = this->state();
    bool wakeConsumer = false;
    bool wakeProducer = false;
    {
        MutexLock guard(&lock);
        auto full = [&] { return queue.size() >= maxSize; };
        if constexpr (Sync) {
            auto roomy = [&] { return queue.size() + batchOf(maxSize) <= maxSize; };
            if (!this->spinThenWaitLocked(lock, notFull, state.pushWaiters, full, roomy))
                return false;
        } else if (full()) {
            return false;
        }
        queue.pushBack(item);
        wakeConsumer = state.popWaiters.claimWake();
        wakeProducer = !full() && state.pushWaiters.claimWake();
    }
    if (wakeConsumer) notEmpty.notify();
    if (wakeProducer) notFull.notify();
    return true;
}

template <class T>
template <bool Sync>
bool FifoWorker<T>::popLocked(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                              Mutex& notEmpty, Mutex& notFull) {
    BufferWaitState& state = this->state();
    ReleaseAfterUnlock<T> previous(item);
    bool wakeProducer = false;
    bool wakeConsumer = false;
    {
        MutexLock guard(&lock);
        auto empty = [&] { return queue.empty(); };
        if constexpr (Sync) {
            auto plenty = [&] { return queue.size() >= batchOf(maxSize); };
            if (!this->spinThenWaitLocked(lock, notEmpty, state.popWaiters, empty, plenty))
                return false;
        } else if (empty()) {
            return false;
        }
        queue.popFront(item);
        wakeProducer = state.pushWaiters.claimWake();
        wakeConsumer = !empty() && state.popWaiters.claimWake();
    }
    if (wakeProducer) notFull.notify();
    if (wakeConsumer) notEmpty.notify();
    return true;
}

template <class T>
template <bool Sync>
bool FifoWorker<T>::pushUnlocked(const T& item, FifoQueue<T>& queue, unsigned int maxSize,
                                 Mutex& lock, Mutex& notEmpty, Mutex& notFull) {
    auto full = [&] { return queue.producerSize() >= maxSize; };
    if (full()) {
        if constexpr (Sync) {
            auto roomy = [&] { return queue.producerSize() + batchOf(maxSize) <= maxSize; };
            MutexLock guard(&lock);
            if (!this->spinThenWaitLocked(lock, notFull, this->state().pushWaiters, full, roomy))
                return false;
        } else {
            return false;
        }
    }
    queue.pushBack(item);
    if (this->state().popWaiters.anyWaiting()) notEmpty.notify();
    return true;
}

template <class T>
template <bool Sync>
bool FifoWorker<T>::popUnlocked(T& item, FifoQueue<T>& queue, unsigned int maxSize, Mutex& lock,
                                Mutex& notEmpty, Mutex& notFull) {
    auto empty = [&] { return queue.empty(); };
    if (empty()) {
        if constexpr (Sync) {
            auto plenty = [&] { return queue.size() >= batchOf(maxSize); };
            MutexLock guard(&lock);
            if (!this->spinThenWaitLocked(lock, notEmpty, this->state().popWaiters, empty, plenty))
                return false;
        } else {
            static_cast<void>(maxSize);
            return false;
        }
    }
    queue.popFront(item);
    if (this->state().pushWaiters.anyWaiting()) notFull.notify();
    return true;
}

}  // namespace Internal
}  // namespace Korvane
