#pragma once
// The base of the worker strategies through which FIFOs and rings push, pop and
// peek, and what the workers of one buffer share: its abort flag and the number of
// threads asleep on each of its two events. A worker holds nothing else; the buffer
// hands it the container, the maximum size, the lock and the events on every call.
//
// Hand-over: a thread that must wait counts itself as a waiter under the buffer's
// lock, tests its condition once more, releases the lock, sleeps on the event and
// re-tests after taking the lock again. A locked producer or consumer signals an
// event only when a waiter is counted and no signal of its is still on the way, and
// passes the signal on when more waiters could proceed: the events do not count
// signals, so two signals before a wait wake only one waiter, and a second signal
// sent to a waiter that is already waking would only make its next wait return at
// once. A lock-free (single-threaded) producer or consumer reads the count without
// the lock, by a read-modify-write after its change: the waiter counts itself by one
// too, before it re-tests, so either the peer reads the waiter's count or the waiter
// finds the peer's change.
//
// Spinning: a FIFO's waiting operation first releases the lock and spins for a short,
// bounded while (see platform/SpinWait.h) before it counts itself as a waiter. It
// holds out for a batch (a quarter of the FIFO's items or room) rather than one, so
// that a producer and a consumer that run at once take turns in batches instead of
// contending for the lock and the queue's lines on every item; when the spin is spent
// it goes on as soon as its condition holds. A peer that makes the condition true
// meanwhile finds no waiter and signals nothing, so a hand-over between running
// threads costs no sleep, no wake-up and no system call. The waiting that follows is
// the one above, unchanged.

#include <korvane/core/RefPtr.h>
#include <korvane/platform/Mutex.h>

#include <atomic>
#include <type_traits>

#include "platform/SpinWait.h"

namespace Korvane {
namespace Internal {

// The threads waiting on one event. Guarded by the buffer's lock, except that the
// lock-free workers read count without it.
struct BufferWaiters {
    // Asleep, or about to sleep, or woken but not yet holding the lock again.
    std::atomic<int> count{0};
    // Set by the thread that signals the event for a counted waiter, cleared by the
    // waiter that wakes: while set, the signal is in the event or a woken waiter is on
    // its way back to the lock, so a further signal would add nothing.
    bool signalled = false;

    // Under the lock: whether the caller should signal the event (after unlocking).
    bool claimWake() {
        if (count.load(std::memory_order_relaxed) == 0 || signalled) return false;
        signalled = true;
        return true;
    }

    // Without the lock, after the caller's change of the container: whether a thread
    // waits for that change. A read-modify-write, not a load (see the header comment).
    bool anyWaiting() { return count.fetch_add(0, std::memory_order_acq_rel) > 0; }
};

struct BufferWaitState {
    // Set by the notify operations without the lock; the signal that follows the write
    // is what wakes the waiters, who then read it.
    alignas(64) std::atomic<bool> aborted{false};
    // On the not-empty and the not-full event. Each on a cache line of its own: a
    // lock-free producer updates the one count and its consumer the other on every call.
    alignas(64) BufferWaiters popWaiters;
    alignas(64) BufferWaiters pushWaiters;

    bool isAborted() const { return aborted.load(std::memory_order_acquire); }
};

// The switches of a FIFO or ring, read at every call without the lock: a change
// reaches the next call of each thread.
struct BufferSwitches {
    explicit BufferSwitches(int initialPushBlock) : pushBlock(initialPushBlock) {}

    // The workers' table index: the policy offset plus the block switch of the side.
    int pushIndex() const {
        return policyOffset.load(std::memory_order_relaxed) +
               pushBlock.load(std::memory_order_relaxed);
    }
    int popIndex() const {
        return policyOffset.load(std::memory_order_relaxed) +
               popBlock.load(std::memory_order_relaxed);
    }

    std::atomic<int> pushBlock;        // 0 or 1
    std::atomic<int> popBlock{1};      // 0 or 1
    std::atomic<int> policyOffset{2};  // 0 single-threaded, 2 multi-threaded
};

template <class T>
class BufferWorker {
public:
    explicit BufferWorker(BufferWaitState* state) : m_state(state) {}
    BufferWorker(const BufferWorker&) = delete;
    BufferWorker& operator=(const BufferWorker&) = delete;

protected:
    // Workers are members of their buffer's private record, never deleted through a base.
    ~BufferWorker() = default;

    BufferWaitState& state() const { return *m_state; }

    // With lock held: sleeps on event while unmet() and the buffer is not aborted,
    // counted in waiters. True when the condition holds; false when aborted, after
    // passing the wake-up on to the next waiter (one abort signal wakes only one).
    template <class Unmet>
    bool waitLocked(Mutex& lock, Mutex& event, BufferWaiters& waiters, Unmet unmet) const {
        while (unmet() && !m_state->isAborted()) {
            Registration counted(waiters);
            if (!unmet() || m_state->isAborted()) break;
            Unlocked unlocked(lock);
            event.wait();
        }
        if (!m_state->isAborted()) return true;
        if (waiters.count.load(std::memory_order_relaxed) > 0) event.notify();
        return false;
    }

    // As waitLocked, but first spins without the lock until plenty() (a batch of items
    // or of room, or an abort), or, when the spin is spent, on to the wait as usual.
    // unmet() and plenty() must be safe without the lock (a FIFO's tests read atomics).
    template <class Unmet, class Plenty>
    bool spinThenWaitLocked(Mutex& lock, Mutex& event, BufferWaiters& waiters, Unmet unmet,
                            Plenty plenty) const {
        if (unmet() && !m_state->isAborted()) {
            Unlocked unlocked(lock);
            spinUntil([&] { return !unmet() || m_state->isAborted(); },
                      [&] { return plenty() || m_state->isAborted(); });
        }
        return waitLocked(lock, event, waiters, unmet);
    }

private:
    // Counts the caller as a waiter while it holds the lock, in the order that a
    // lock-free peer relies on (BufferWaiters::anyWaiting).
    class Registration {
    public:
        explicit Registration(BufferWaiters& waiters) : m_waiters(waiters) {
            m_waiters.count.fetch_add(1, std::memory_order_acq_rel);
        }
        ~Registration() {
            m_waiters.count.fetch_sub(1, std::memory_order_relaxed);
            m_waiters.signalled = false;
        }
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;

    private:
        BufferWaiters& m_waiters;
    };

    // Releases the lock for the time of one wait; takes it back also when the wait is
    // left by thread cancellation.
    class Unlocked {
    public:
        explicit Unlocked(Mutex& lock) : m_lock(lock) { m_lock.unlock(); }
        ~Unlocked() { m_lock.lock(); }
        Unlocked(const Unlocked&) = delete;
        Unlocked& operator=(const Unlocked&) = delete;

    private:
        Mutex& m_lock;
    };

    BufferWaitState* m_state;  // not owned: the buffer's
};

// Keeps a handle that is about to be overwritten under the buffer's lock (the
// caller's argument of pop or peek, the oldest element of a full ring) alive until the
// lock is released, when it is the object's last handle: the object is then destroyed
// outside the lock. A handle that is not the last is left alone, so that the common
// case costs no extra count updates. Strings and pointers need no such care.
template <class T>
class ReleaseAfterUnlock {
public:
    ReleaseAfterUnlock() = default;
    explicit ReleaseAfterUnlock(const T& value) { keepIfLast(value); }
    ReleaseAfterUnlock(const ReleaseAfterUnlock&) = delete;
    ReleaseAfterUnlock& operator=(const ReleaseAfterUnlock&) = delete;

    void keepIfLast(const T& value) {
        if constexpr (isHandle) {
            if (value.referenceCount() == 1) m_value = value;
        }
    }

private:
    static constexpr bool isHandle = std::is_base_of_v<RefCountBase, T>;
    struct Nothing {};
    std::conditional_t<isHandle, T, Nothing> m_value;
};

}  // namespace Internal
}  // namespace Korvane
