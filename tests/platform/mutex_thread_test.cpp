#include <korvane/platform/Mutex.h>
#include <korvane/platform/Thread.h>

#include "support/Deadline.h"
#include "support/Detached.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>

using namespace Korvane;
using KorvaneTest::eventually;
using KorvaneTest::startDetached;
using Clock = std::chrono::steady_clock;

namespace {

long long elapsedMs(Clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

// A thread whose body is a function; the body may wait on the thread's own event.
class FunctionThread : public Thread {
public:
    explicit FunctionThread(std::function<void(FunctionThread&)> body) : m_body(std::move(body)) {}
    ~FunctionThread() override {
        if (isRunning()) destroy();
    }
    void run() override {
        runs.fetch_add(1);
        m_body(*this);
    }
    std::atomic<int> runs{0};

private:
    std::function<void(FunctionThread&)> m_body;
};

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
// ThreadSanitizer neither delivers the escalation signal to a spinning thread nor
// tracks the locks taken while a cancelled thread unwinds.
constexpr const char* kNoCancellationUnderTsan = "thread cancellation is not modelled by TSan";

}  // namespace

TEST(Mutex, TimedWaitWithoutNotifyReturnsTrueAfterTimeout) {
    Mutex m;
    const auto start = Clock::now();
    EXPECT_TRUE(m.wait(10ul));
    EXPECT_GE(elapsedMs(start), 9);
}

TEST(Mutex, TwoNotifiesBeforeWaitCountAsOne) {
    Mutex m;
    m.notify();
    m.notify();
    auto start = Clock::now();
    m.wait();
    EXPECT_LT(elapsedMs(start), 1000);
    start = Clock::now();
    EXPECT_TRUE(m.wait(5ul));
    EXPECT_GE(elapsedMs(start), 4);
}

TEST(Mutex, PendingNotifyIsConsumedByTimedWait) {
    Mutex m;
    m.notify();
    const auto start = Clock::now();
    EXPECT_TRUE(m.wait(5000ul));
    EXPECT_LT(elapsedMs(start), 4000);
}

TEST(Mutex, WaitDoesNotReleaseTheLock) {
    Mutex m;
    m.lock();
    std::atomic<bool> acquired{false};
    auto other = startDetached([&] {
        m.lock();
        acquired = true;
        m.unlock();
    });
    m.wait(30ul);
    EXPECT_FALSE(acquired.load());
    m.unlock();
    EXPECT_EQ(other.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_TRUE(acquired.load());
}

TEST(Mutex, NotifyWakesWaiterOnAnotherThread) {
    Mutex m;
    auto waiter = startDetached([&] { m.wait(); });
    m.notify();
    EXPECT_EQ(waiter.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
}

TEST(Mutex, ReentrantLockBlocksOthersUntilFullyUnlocked) {
    Mutex m;
    m.lock();
    m.lock();
    std::atomic<bool> acquired{false};
    auto other = startDetached([&] {
        MutexLock lock(&m);
        acquired = true;
    });
    m.unlock();
    EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_FALSE(acquired.load());
    m.unlock();
    EXPECT_EQ(other.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_TRUE(acquired.load());
}

TEST(Thread, RunningOnlyBetweenStartAndEndOfBody) {
    std::promise<void> release;
    auto released = release.get_future().share();
    FunctionThread t([released](FunctionThread&) { released.wait(); });
    EXPECT_FALSE(t.isRunning());
    t.start();
    EXPECT_TRUE(t.isRunning());
    release.set_value();
    ASSERT_TRUE(t.join(10000));
    EXPECT_FALSE(t.isRunning());
    EXPECT_EQ(t.runs.load(), 1);
}

TEST(Thread, SecondStartDoesNotRunTheBodyAgain) {
    FunctionThread t([](FunctionThread&) {});
    t.start();
    ASSERT_TRUE(t.join(10000));
    t.start();
    EXPECT_TRUE(t.join(0));
    EXPECT_FALSE(t.isRunning());
    EXPECT_EQ(t.runs.load(), 1);
}

TEST(Thread, JoinZeroReportsWhetherEnded) {
    FunctionThread t([](FunctionThread& self) { self.wait(); });
    t.start();
    EXPECT_FALSE(t.join(0));
    t.notify();
    EXPECT_TRUE(t.join(10000));
    EXPECT_TRUE(t.join(0));
}

TEST(Thread, StopWaitsForCooperativeBody) {
    std::atomic<bool> leave{false};
    FunctionThread t([&](FunctionThread&) {
        while (!leave) Thread::sleep(1);
    });
    t.start();
    leave = true;
    auto stopped = startDetached([&] { t.stop(); });
    EXPECT_EQ(stopped.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_FALSE(t.isRunning());
}

TEST(Thread, NeverStartedThreadJoinsAtOnceAndRunsNothing) {
    auto t = std::make_unique<FunctionThread>([](FunctionThread&) {});
    EXPECT_TRUE(t->join(0));
    t->stop();
    t.reset();
    SUCCEED();
}

TEST(Thread, DestroyEndsBodyBlockedInWait) {
    if (kThreadSanitizer) GTEST_SKIP() << kNoCancellationUnderTsan;
    FunctionThread t([](FunctionThread& self) { self.wait(); });
    t.start();
    ASSERT_TRUE(eventually([&] { return t.runs.load() == 1; }));
    t.destroy();
    EXPECT_FALSE(t.isRunning());
    EXPECT_TRUE(t.join(0));
}

TEST(Thread, DestroyEndsBodyBlockedInSleep) {
    if (kThreadSanitizer) GTEST_SKIP() << kNoCancellationUnderTsan;
    FunctionThread t([](FunctionThread&) { Thread::sleep(60000); });
    t.start();
    ASSERT_TRUE(eventually([&] { return t.runs.load() == 1; }));
    const auto start = Clock::now();
    t.destroy();
    EXPECT_FALSE(t.isRunning());
    EXPECT_LT(elapsedMs(start), 30000);
}

TEST(Thread, DestroyEndsBusyLoop) {
    if (kThreadSanitizer) GTEST_SKIP() << kNoCancellationUnderTsan;
    std::atomic<bool> spinning{false};
    FunctionThread t([&](FunctionThread&) {
        spinning = true;
        for (volatile unsigned long i = 0;; i = i + 1) {
        }
    });
    t.start();
    ASSERT_TRUE(eventually([&] { return spinning.load(); }));
    t.destroy();
    EXPECT_FALSE(t.isRunning());
    EXPECT_TRUE(t.join(0));
}

TEST(Thread, DestroyReleasesScopedLocksOfABlockedBody) {
    if (kThreadSanitizer) GTEST_SKIP() << kNoCancellationUnderTsan;
    Mutex shared;
    FunctionThread t([&](FunctionThread& self) {
        MutexLock lock(&shared);
        self.wait();
    });
    t.start();
    ASSERT_TRUE(eventually([&] { return t.runs.load() == 1; }));
    t.destroy();
    auto relock = startDetached([&] { MutexLock lock(&shared); });
    EXPECT_EQ(relock.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
}

TEST(Thread, SleepLastsAtLeastTheGivenTime) {
    const auto start = Clock::now();
    Thread::sleep(15);
    EXPECT_GE(elapsedMs(start), 14);
}

TEST(Thread, SetThreadNameHasNoEffect) {
    FunctionThread t([](FunctionThread&) {});
    t.setThreadName("x");
    t.setThreadName(nullptr);
    EXPECT_FALSE(t.isRunning());
    t.start();
    EXPECT_TRUE(t.join(10000));
}
