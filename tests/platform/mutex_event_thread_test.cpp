#include <korvane/platform/Mutex.h>

#include "support/Deadline.h"
#include "support/Detached.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>

using namespace Korvane;
using KorvaneTest::kGenerousDeadline;
using KorvaneTest::startDetached;

// The event of a Mutex is made on its first use, by whichever of notify and wait comes
// first: the two race here on fresh locks, and neither signal may be lost.
TEST(MutexEvent, FirstNotifyAndFirstWaitMayRaceOnAFreshMutex) {
    for (int round = 0; round < 100; ++round) {
        auto lock = std::make_shared<Mutex>();
        auto waiter = startDetached([lock] { lock->wait(); });
        lock->notify();
        ASSERT_EQ(waiter.wait_for(kGenerousDeadline), std::future_status::ready) << round;
    }
}
