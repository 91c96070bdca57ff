// Buffers between threads, and the hand-over of a blocking FIFO whose waiting side spins
// for a while before it sleeps: an item, an abort or a flush may arrive while the waiter
// spins, while it counts itself as a waiter, or while it sleeps; busy delays of a few
// microseconds move the arrival across those phases. Every wait is bounded (a lost
// wake-up shows as a failed deadline); buffers live in shared_ptrs so that a thread left
// behind by a failed test still finds its buffer.

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "buffers/BufferTestSupport.h"
#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

constexpr auto deadline = 30s;
constexpr auto stressDeadline = 90s;
// A lower bound only: on a loaded machine a blocked operation merely looks blocked longer.
constexpr auto stillBlocked = 50ms;
// Fewer under ThreadSanitizer, which slows every synchronisation down.
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t stressItems = 100'000;
constexpr int roundTrips = 1'000;
constexpr int rounds = 150;
#else
constexpr std::size_t stressItems = 1'000'000;
constexpr int roundTrips = 5'000;
constexpr int rounds = 600;
#endif

bool ready(std::future<void>& done, std::chrono::milliseconds limit = deadline) {
    return done.wait_for(limit) == std::future_status::ready;
}

// Exposes the buffer's lock, to show which policy takes it.
class InspectableFifo : public StringFifo {
public:
    using StringFifo::StringFifo;
    Mutex& bufferLock() { return m_lock; }
};

// Runs operation on threads of their own, checks that each waits, calls release and
// answers how many operations succeeded; nothing when not all were released in time.
std::optional<int> blockedUntil(std::function<bool()> operation,
                                const std::function<void()>& release, int threads = 1) {
    auto succeeded = std::make_shared<std::atomic<int>>(0);
    std::vector<std::future<void>> waiters;
    for (int i = 0; i < threads; ++i) {
        waiters.push_back(startDetached([operation, succeeded] {
            if (operation()) succeeded->fetch_add(1);
        }));
    }
    for (auto& done : waiters)
        EXPECT_EQ(done.wait_for(stillBlocked), std::future_status::timeout) << "did not wait";
    release();
    for (auto& done : waiters)
        if (!ready(done)) return std::nullopt;
    return succeeded->load();
}

// A waiter of one policy also wakes for a push under the other; one notifySink
// releases every waiting consumer.
template <class B>
void checkBlockedPopRelease() {
    for (const char* waiting : policies) {
        for (const char* pushing : policies) {
            SCOPED_TRACE(std::string("waiting ") + waiting + ", pushing " + pushing);
            auto buffer = std::make_shared<B>(2);
            setSwitch(*buffer, "ThreadingPolicy", waiting);
            auto item = std::make_shared<std::string>();
            ASSERT_EQ(blockedUntil([buffer, item] { return buffer->pop(*item); },
                                   [&] {
                                       setSwitch(*buffer, "ThreadingPolicy", pushing);
                                       buffer->push("late");
                                   }),
                      1);
            EXPECT_EQ(*item, "late");
            const auto pop = [buffer] {
                std::string ignored;
                return buffer->pop(ignored);
            };
            const auto abort = [&] { buffer->notifySink(); };
            ASSERT_EQ(blockedUntil(pop, abort, 3), 0);
        }
    }
}

// The first fault in what the consumers saw: a number seen twice or out of range, or
// one producer's numbers (number % producers) out of order. With as many numbers seen
// as were sent, none is then lost.
std::string faultIn(const std::vector<std::vector<std::size_t>>& seen, std::size_t total,
                    std::size_t producers) {
    std::vector<unsigned char> hits(total, 0);
    for (const auto& list : seen) {
        std::vector<std::size_t> next(producers, 0);
        for (const std::size_t number : list) {
            if (number >= total || hits[number]++ != 0)
                return "duplicate " + std::to_string(number);
            if (number < next[number % producers]) return "reordered " + std::to_string(number);
            next[number % producers] = number + 1;
        }
    }
    return "";
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

struct Traffic {
    const char* policy;
    const char* block;  // PushBlock and PopBlock; "Off" makes both sides retry
    std::size_t producers;
    int consumers;
    std::size_t items;
};

}  // namespace

TEST(BufferTemplateThreads, BlockedPopTakesALaterPushOrFailsOnAbort) {
    checkBlockedPopRelease<StringFifo>();
    checkBlockedPopRelease<StringRing>();
}

TEST(FifoTemplateThreads, BlockedPushProceedsWhenRoomIsMadeOrFailsOnAbort) {
    for (const char* policy : policies) {
        SCOPED_TRACE(policy);
        auto fifo = std::make_shared<StringFifo>(1);
        setSwitch(*fifo, "ThreadingPolicy", policy);
        ASSERT_TRUE(fifo->push("first"));
        const auto push = [fifo] { return fifo->push("next"); };
        std::string item;
        ASSERT_EQ(blockedUntil(push, [&] { fifo->pop(item); }), 1);
        EXPECT_EQ(item, "first");
        ASSERT_EQ(blockedUntil(push, [&] { fifo->flush(); }), 1);
        const auto abort = [&] { fifo->notifySource(); };
        ASSERT_EQ(blockedUntil(push, abort, 3), 0);
        EXPECT_EQ(fifo->size(), 1);
    }
}

TEST(FifoTemplateThreads, OnlyTheMultiThreadedPolicyTakesTheLock) {
    auto fifo = std::make_shared<InspectableFifo>(4);
    setSwitch(*fifo, "ThreadingPolicy", "Single-threaded");
    fifo->bufferLock().lock();
    auto unlocked = startDetached([fifo] { fifo->push("unlocked"); });
    EXPECT_TRUE(ready(unlocked)) << "a single-threaded push waited for the lock";
    setSwitch(*fifo, "ThreadingPolicy", "Multi-threaded");
    ASSERT_EQ(
        blockedUntil([fifo] { return fifo->push("locked"); }, [&] { fifo->bufferLock().unlock(); }),
        1);
    EXPECT_EQ(fifo->size(), 2);
}

class FifoTraffic : public ::testing::TestWithParam<Traffic> {};

TEST_P(FifoTraffic, ProducersAndConsumersLoseDuplicateAndReorderNothing) {
    const Traffic& traffic = GetParam();
    auto fifo = std::make_shared<StringFifo>(16);
    setSwitch(*fifo, "ThreadingPolicy", traffic.policy);
    setSwitch(*fifo, "PushBlock", traffic.block);
    setSwitch(*fifo, "PopBlock", traffic.block);
    const bool blocking = std::string(traffic.block) == "On";
    auto seen = std::make_shared<std::vector<std::vector<std::size_t>>>(traffic.consumers);
    auto arrived = std::make_shared<std::atomic<std::size_t>>(0);
    auto refused = std::make_shared<std::atomic<int>>(0);
    auto stop = std::make_shared<std::atomic<bool>>(false);
    std::vector<std::future<void>> consumers;
    std::vector<std::future<void>> producers;
    for (int c = 0; c < traffic.consumers; ++c) {
        consumers.push_back(startDetached([fifo, seen, arrived, stop, c] {
            for (std::string item; !stop->load();) {
                if (!fifo->pop(item)) {
                    std::this_thread::yield();
                } else {
                    (*seen)[c].push_back(std::stoul(item));
                    arrived->fetch_add(1);
                }
            }
        }));
    }
    for (std::size_t p = 0; p < traffic.producers; ++p) {
        producers.push_back(startDetached([fifo, refused, stop, blocking, p, traffic] {
            for (std::size_t n = p; n < traffic.items; n += traffic.producers) {
                while (!fifo->push(std::to_string(n)) && !stop->load()) {
                    if (blocking) refused->fetch_add(1);  // a waiting push never fails
                    std::this_thread::yield();
                }
            }
        }));
    }
    for (auto& done : producers) ASSERT_TRUE(ready(done, stressDeadline)) << "producer hangs";
    ASSERT_TRUE(eventually([&] { return arrived->load() == traffic.items; }, stressDeadline))
        << arrived->load() << " of " << traffic.items << " items arrived";
    stop->store(true);
    fifo->notifyAndAbort();
    for (auto& done : consumers) ASSERT_TRUE(ready(done)) << "consumer not released";
    EXPECT_EQ(refused->load(), 0);
    EXPECT_EQ(fifo->size(), 0);
    EXPECT_EQ(faultIn(*seen, traffic.items, traffic.producers), "");
}

// Fewer items where both sides retry: on a loaded machine a yield may cost a time slice.
INSTANTIATE_TEST_SUITE_P(FifoTemplateThreads, FifoTraffic,
                         ::testing::Values(Traffic{"Multi-threaded", "On", 3, 3, stressItems},
                                           Traffic{"Multi-threaded", "Off", 2, 2, stressItems / 20},
                                           Traffic{"Single-threaded", "On", 1, 1, stressItems / 4},
                                           Traffic{"Single-threaded", "Off", 1, 1,
                                                   stressItems / 20}));

TEST(FifoTemplateThreads, PushAndPopRaceFlush) {
    const int before = CountedImage::live;
    auto fifo = std::make_shared<FifoTemplate<ImgRefPtr>>(8);
    const int perProducer = static_cast<int>(stressItems / 50);
    auto producing = std::make_shared<std::atomic<int>>(2);
    auto seen = std::make_shared<std::vector<std::atomic<int>>>(2 * perProducer);
    std::vector<std::future<void>> producers;
    std::vector<std::future<void>> consumers;
    for (int i = 0; i < 2; ++i) {
        consumers.push_back(startDetached([fifo, seen] {
            ImgRefPtr item;
            while (fifo->pop(item)) (*seen)[serialOf(item)].fetch_add(1);
        }));
        producers.push_back(startDetached([fifo, producing, i, perProducer] {
            for (int n = 0; n < perProducer; ++n) fifo->push(makeImage(i * perProducer + n));
            producing->fetch_sub(1);
        }));
    }
    auto flusher = startDetached([fifo, producing] {
        while (producing->load() > 0) {
            fifo->flush();
            std::this_thread::yield();
        }
    });
    for (auto& done : producers) ASSERT_TRUE(ready(done, stressDeadline));
    ASSERT_TRUE(ready(flusher));
    fifo->notifyAndAbort();
    for (auto& done : consumers) ASSERT_TRUE(ready(done));

    for (int serial = 0; serial < 2 * perProducer; ++serial)
        ASSERT_LE((*seen)[serial].load(), 1) << serial;
    fifo->flush();
    EXPECT_EQ(CountedImage::live - before, 0) << "a flushed or popped image is still alive";
}

TEST(RingTemplateThreads, SlowConsumerLosesTheOldestAndOverwrittenImagesAreReleased) {
    const int total = static_cast<int>(stressItems / 50);
    for (const char* policy : policies) {
        SCOPED_TRACE(policy);
        const int before = CountedImage::live;
        auto ring = std::make_shared<RingTemplate<ImgRefPtr>>(4);
        setSwitch(*ring, "ThreadingPolicy", policy);
        auto outOfOrder = std::make_shared<std::atomic<int>>(0);
        auto consumer = startDetached([ring, total, outOfOrder] {
            ImgRefPtr item;
            for (int last = -1; last != total - 1 && ring->pop(item);) {
                if (serialOf(item) <= last) outOfOrder->fetch_add(1);
                last = serialOf(item);
                std::this_thread::sleep_for(20us);  // slow on purpose
            }
        });
        auto producer = startDetached([ring, total] {
            for (int serial = 0; serial < total; ++serial) ring->push(makeImage(serial));
        });
        ASSERT_TRUE(ready(producer, stressDeadline)) << "a ring push blocked";
        ASSERT_TRUE(ready(consumer, stressDeadline)) << "the last image never arrived";
        EXPECT_EQ(outOfOrder->load(), 0);
        EXPECT_EQ(ring->size(), 0);
        EXPECT_EQ(CountedImage::live - before, 0);
    }
}

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
