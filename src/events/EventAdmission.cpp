#include "events/EventAdmission.h"

#include "platform/LockWatch.h"

namespace Korvane::Internal {

namespace {

// A waiting poster looks again after at most this long: the signal of leave() wakes
// only one of several waiters, and a deadlock shows no signal at all.
constexpr unsigned long kRecheckMs = 5;

}  // namespace

void EventAdmission::enter() {
    int pending = m_pending.load();
    for (;;) {
        if (pending < kBound) {
            if (m_pending.compare_exchange_weak(pending, pending + 1)) return;
            continue;
        }
        if (callerHoldsLockAwaitedByWatchedThread()) {
            m_pending.fetch_add(1);
            return;
        }
        ++m_waiting;
        m_room.wait(kRecheckMs);
        --m_waiting;
        pending = m_pending.load();
    }
}

void EventAdmission::leave() {
    m_pending.fetch_sub(1);
    if (m_waiting.load() > 0) m_room.notify();
}

}  // namespace Korvane::Internal
