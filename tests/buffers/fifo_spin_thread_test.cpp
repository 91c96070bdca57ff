// The hand-over of a blocking FIFO between threads when the waiting side spins for a
// while before it sleeps: an item, an abort or a flush may arrive while the waiter
// spins, while it counts itself as a waiter, or while it sleeps. Busy delays of a few
// microseconds move the arrival across those phases. A lost wake-up shows as a hang,
// which the deadlines turn into a failure.

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "buffers/BufferTestSupport.h"
#include "support/Detached.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto deadline = 30s;
#if defined(__SANITIZE_THREAD__)
constexpr int roundTrips = 1'000;
constexpr int rounds = 150;
#else
constexpr int roundTrips = 5'000;
constexpr int rounds = 600;
#endif

bool ready(std::future<void>& done, std::chrono::seconds limit = deadline) {
    return done.wait_for(limit) == std::future_status::ready;
}

// Busy for about `micros` microseconds: sleeping would be far too coarse.
void busyFor(int micros) {
    const auto end = Clock::now() + std::chrono::microseconds(micros);
    while (Clock::now() < end) {
    }
}

// Delays from none to well past the spin, most of them short.
class Delays {
public:
    explicit Delays(unsigned seed) : m_random(seed) {}
    int next() {
        const int bucket = static_cast<int>(m_random() % 4);
        const int limits[] = {0, 3, 30, 200};
        return limits[bucket] ? static_cast<int>(m_random() % limits[bucket]) : 0;
    }

private:
    std::minstd_rand m_random;
};

std::shared_ptr<StringFifo> fifoWith(unsigned int capacity, const char* policy) {
    auto fifo = std::make_shared<StringFifo>(capacity);
    setSwitch(*fifo, "ThreadingPolicy", policy);
    return fifo;
}

// Runs operation on a thread of its own and returns once that thread is about to call
// it (a thread takes far longer to start than the delays last); *succeeded tells the
// result once the future is ready.
std::future<void> startOperation(std::function<bool()> operation,
                                 const std::shared_ptr<std::atomic<bool>>& succeeded) {
    auto started = std::make_shared<std::atomic<bool>>(false);
    auto done = startDetached([operation, succeeded, started] {
        started->store(true);
        succeeded->store(operation());
    });
    const auto end = Clock::now() + deadline;
    while (!started->load() && Clock::now() < end) std::this_thread::yield();
    return done;
}

}  // namespace

// Every item waits for its answer, so each side waits on every trip, once spinning,
// once asleep, depending on the delay before the answer.
TEST(FifoSpinThreads, PingPongLosesNoWakeUp) {
    for (const char* policy : policies) {
        SCOPED_TRACE(policy);
        auto ping = fifoWith(1, policy);
        auto pong = fifoWith(1, policy);
        auto echo = startDetached([ping, pong] {
            Delays delays(7);
            for (std::string item; ping->pop(item);) {
                busyFor(delays.next());
                if (!pong->push(item)) return;
            }
        });
        auto faults = std::make_shared<std::atomic<int>>(0);
        auto player = startDetached([ping, pong, faults] {
            Delays delays(11);
            std::string answer;
            for (int n = 0; n < roundTrips; ++n) {
                busyFor(delays.next());
                if (!ping->push(std::to_string(n)) || !pong->pop(answer)) return;
                if (answer != std::to_string(n)) faults->fetch_add(1);
            }
        });
        const bool finished = ready(player);
        ping->notifyAndAbort();
        pong->notifyAndAbort();
        ASSERT_TRUE(finished) << "a wake-up was lost";
        ASSERT_TRUE(ready(echo));
        EXPECT_EQ(faults->load(), 0);
    }
}

// notifySink and notifySource reach a waiter in any phase, and flush lets it wait on
// for the next item instead of failing.
TEST(FifoSpinThreads, AbortAndFlushReachAWaiterInEveryPhase) {
    for (const char* policy : policies) {
        SCOPED_TRACE(policy);
        auto fifo = fifoWith(1, policy);
        const auto pop = [fifo] {
            std::string item;
            return fifo->pop(item) && item == "item";
        };
        const auto push = [fifo] { return fifo->push("item"); };
        auto succeeded = std::make_shared<std::atomic<bool>>(false);
        Delays delays(3);
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            auto popped = startOperation(pop, succeeded);
            busyFor(delays.next());
            fifo->flush();
            busyFor(delays.next());
            ASSERT_TRUE(fifo->push("item"));
            ASSERT_TRUE(ready(popped));
            ASSERT_TRUE(succeeded->load()) << "a flush made a waiting pop fail";

            auto abortedPop = startOperation(pop, succeeded);
            busyFor(delays.next());
            fifo->notifySink();
            ASSERT_TRUE(ready(abortedPop));
            ASSERT_FALSE(succeeded->load());
            fifo->flush();

            ASSERT_TRUE(fifo->push("item"));
            auto abortedPush = startOperation(push, succeeded);
            busyFor(delays.next());
            fifo->notifySource();
            ASSERT_TRUE(ready(abortedPush));
            ASSERT_FALSE(succeeded->load());
            fifo->flush();
        }
    }
}

// Two consumers wait; two items arrive at different moments: both consumers get one,
// whether each is still spinning or already asleep when its item comes.
TEST(FifoSpinThreads, EveryWaitingConsumerGetsAnItem) {
    auto fifo = fifoWith(4, "Multi-threaded");
    Delays delays(5);
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::shared_ptr<std::atomic<bool>>> got;
        std::vector<std::future<void>> consumers;
        for (int c = 0; c < 2; ++c) {
            got.push_back(std::make_shared<std::atomic<bool>>(false));
            const auto pop = [fifo] {
                std::string item;
                return fifo->pop(item);
            };
            consumers.push_back(startOperation(pop, got.back()));
        }
        for (int i = 0; i < 2; ++i) {
            busyFor(delays.next());
            ASSERT_TRUE(fifo->push("item"));
        }
        for (auto& done : consumers) ASSERT_TRUE(ready(done)) << "round " << round;
        ASSERT_TRUE(got[0]->load() && got[1]->load()) << "round " << round;
        ASSERT_EQ(fifo->size(), 0);
    }
}
