// Buffers between threads: blocking hand-over, release by abort and flush, locking by
// policy, and stress with several producers and consumers. Every wait is bounded;
// buffers live in shared_ptrs so that a thread left behind by a failed test still
// finds its buffer.

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "buffers/BufferTestSupport.h"
#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;
using KorvaneTest::CountedImage;
using KorvaneTest::eventually;
using KorvaneTest::makeImage;
using KorvaneTest::serialOf;
using KorvaneTest::setSwitch;
using KorvaneTest::startDetached;

namespace {

using namespace std::chrono_literals;
using StringFifo = FifoTemplate<std::string>;

constexpr auto deadline = std::chrono::seconds(10);
constexpr auto stressDeadline = std::chrono::seconds(90);
// How long an operation that must block is watched before it is released. Only a
// lower bound: on a loaded machine a blocking operation merely looks blocked longer.
constexpr auto stillBlocked = 50ms;

// Items moved by each stress test: KORVANE_BUFFER_STRESS_ITEMS when set; fewer under
// ThreadSanitizer, which slows every synchronisation down.
std::size_t stressItems() {
    if (const char* text = std::getenv("KORVANE_BUFFER_STRESS_ITEMS")) return std::stoul(text);
#if defined(__SANITIZE_THREAD__)
    return 100'000;
#else
    return 1'000'000;
#endif
}

bool ready(std::future<void>& done, std::chrono::milliseconds limit = deadline) {
    return done.wait_for(limit) == std::future_status::ready;
}

bool stillRunning(std::future<void>& done) {
    return done.wait_for(stillBlocked) == std::future_status::timeout;
}

// Exposes the buffer's lock, to show which policy takes it.
class InspectableFifo : public StringFifo {
public:
    using StringFifo::StringFifo;
    Mutex& bufferLock() { return m_lock; }
};

// Sequence numbers seen by consumers, one list per consumer thread.
struct Tally {
    explicit Tally(int consumers) : seen(consumers) {}

    // True when every number below total was seen exactly once.
    bool exactlyOnce(std::size_t total, std::string* fault) const {
        std::vector<unsigned char> hits(total, 0);
        for (const auto& list : seen) {
            for (std::size_t number : list) {
                if (number >= total || hits[number]++ != 0) {
                    *fault = "unexpected or duplicated item " + std::to_string(number);
                    return false;
                }
            }
        }
        for (std::size_t number = 0; number < total; ++number) {
            if (!hits[number]) {
                *fault = "lost item " + std::to_string(number);
                return false;
            }
        }
        return true;
    }

    std::vector<std::vector<std::size_t>> seen;
    std::atomic<std::size_t> count{0};
};

// Runs producers and consumers over one string FIFO until all items have passed, then
// aborts to release the consumers. Each consumer pops until the abort.
void moveThroughFifo(const std::shared_ptr<StringFifo>& fifo, int producers, int consumers,
                     std::size_t total) {
    auto tally = std::make_shared<Tally>(consumers);
    std::vector<std::future<void>> consumerDone;
    for (int c = 0; c < consumers; ++c) {
        consumerDone.push_back(startDetached([fifo, tally, c] {
            std::string item;
            while (fifo->pop(item)) {
                tally->seen[c].push_back(std::stoul(item));
                tally->count.fetch_add(1);
            }
        }));
    }
    auto refused = std::make_shared<std::atomic<int>>(0);
    std::vector<std::future<void>> producerDone;
    for (int p = 0; p < producers; ++p) {
        producerDone.push_back(startDetached([fifo, refused, p, producers, total] {
            for (std::size_t number = p; number < total; number += producers) {
                if (!fifo->push(std::to_string(number))) refused->fetch_add(1);
            }
        }));
    }

    for (auto& done : producerDone) ASSERT_TRUE(ready(done, stressDeadline)) << "producer hangs";
    EXPECT_EQ(refused->load(), 0);
    ASSERT_TRUE(eventually([&] { return tally->count.load() == total; }, stressDeadline))
        << tally->count.load() << " of " << total << " items arrived";
    fifo->notifyAndAbort();
    for (auto& done : consumerDone) ASSERT_TRUE(ready(done)) << "consumer not released";

    EXPECT_EQ(fifo->size(), 0);
    std::string fault;
    EXPECT_TRUE(tally->exactlyOnce(total, &fault)) << fault;
}

}  // namespace

// ---- blocking hand-over ------------------------------------------------------------------

TEST(FifoTemplateThreads, BlockedPopYieldsTheItemPushedLater) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        auto fifo = std::make_shared<StringFifo>(2);
        setSwitch(*fifo, "ThreadingPolicy", policy);
        auto item = std::make_shared<std::string>();
        auto result = std::make_shared<std::atomic<bool>>(false);
        auto done = startDetached([fifo, item, result] { *result = fifo->pop(*item); });
        EXPECT_TRUE(stillRunning(done)) << policy;
        ASSERT_TRUE(fifo->push("late"));
        ASSERT_TRUE(ready(done)) << policy;
        EXPECT_TRUE(result->load());
        EXPECT_EQ(*item, "late");
    }
}

TEST(FifoTemplateThreads, WaiterOfOnePolicyWakesForAPushUnderTheOther) {
    const std::pair<const char*, const char*> switches[] = {{"Single-threaded", "Multi-threaded"},
                                                            {"Multi-threaded", "Single-threaded"}};
    for (const auto& [waitingUnder, pushingUnder] : switches) {
        auto fifo = std::make_shared<StringFifo>(2);
        setSwitch(*fifo, "ThreadingPolicy", waitingUnder);
        auto item = std::make_shared<std::string>();
        auto done = startDetached([fifo, item] { fifo->pop(*item); });
        EXPECT_TRUE(stillRunning(done)) << waitingUnder;
        setSwitch(*fifo, "ThreadingPolicy", pushingUnder);
        ASSERT_TRUE(fifo->push("across"));
        ASSERT_TRUE(ready(done)) << "waiting " << waitingUnder << ", pushing " << pushingUnder;
        EXPECT_EQ(*item, "across");
    }
}

TEST(FifoTemplateThreads, BlockedPushProceedsWhenAConsumerMakesRoom) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        auto fifo = std::make_shared<StringFifo>(1);
        setSwitch(*fifo, "ThreadingPolicy", policy);
        ASSERT_TRUE(fifo->push("first"));
        auto result = std::make_shared<std::atomic<bool>>(false);
        auto done = startDetached([fifo, result] { *result = fifo->push("second"); });
        EXPECT_TRUE(stillRunning(done)) << policy;
        std::string item;
        ASSERT_TRUE(fifo->pop(item));
        ASSERT_TRUE(ready(done)) << policy;
        EXPECT_TRUE(result->load());
        ASSERT_TRUE(fifo->pop(item));
        EXPECT_EQ(item, "second");
    }
}

TEST(FifoTemplateThreads, AbortReleasesABlockedPop) {
    auto fifo = std::make_shared<StringFifo>(2);
    auto result = std::make_shared<std::atomic<bool>>(true);
    auto done = startDetached([fifo, result] {
        std::string item;
        *result = fifo->pop(item);
    });
    EXPECT_TRUE(stillRunning(done));
    fifo->notifyAndAbort();
    ASSERT_TRUE(ready(done)) << "pop not released by notifyAndAbort";
    EXPECT_FALSE(result->load());
    EXPECT_FALSE(fifo->push("after abort"));
    fifo->flush();
    EXPECT_TRUE(fifo->push("after flush"));
}

TEST(FifoTemplateThreads, OneAbortReleasesEveryBlockedConsumer) {
    for (const char* policy : {"Single-threaded", "Multi-threaded"}) {
        auto fifo = std::make_shared<StringFifo>(2);
        setSwitch(*fifo, "ThreadingPolicy", policy);
        std::vector<std::future<void>> consumers;
        for (int i = 0; i < 4; ++i) {
            consumers.push_back(startDetached([fifo] {
                std::string item;
                fifo->pop(item);
            }));
        }
        for (auto& done : consumers) EXPECT_TRUE(stillRunning(done));
        fifo->notifySink();
        for (auto& done : consumers) ASSERT_TRUE(ready(done)) << policy;
    }
}

TEST(FifoTemplateThreads, NotifySourceReleasesABlockedPush) {
    auto fifo = std::make_shared<StringFifo>(0);
    auto result = std::make_shared<std::atomic<bool>>(true);
    auto done = startDetached([fifo, result] { *result = fifo->push("never fits"); });
    EXPECT_TRUE(stillRunning(done));
    fifo->notifySource();
    ASSERT_TRUE(ready(done));
    EXPECT_FALSE(result->load());
}

TEST(FifoTemplateThreads, FlushMakesRoomForABlockedPush) {
    auto fifo = std::make_shared<StringFifo>(1);
    fifo->push("stale");
    auto done = startDetached([fifo] { fifo->push("fresh"); });
    EXPECT_TRUE(stillRunning(done));
    fifo->flush();
    ASSERT_TRUE(ready(done)) << "push still blocked after flush";
    std::string item;
    ASSERT_TRUE(fifo->pop(item));
    EXPECT_EQ(item, "fresh");
}

TEST(FifoTemplateThreads, OnlyTheMultiThreadedPolicyTakesTheLock) {
    auto fifo = std::make_shared<InspectableFifo>(4);
    setSwitch(*fifo, "ThreadingPolicy", "Single-threaded");
    {
        MutexLock held(&fifo->bufferLock());
        auto done = startDetached([fifo] { fifo->push("unlocked"); });
        EXPECT_TRUE(ready(done)) << "a single-threaded push waited for the lock";
    }
    setSwitch(*fifo, "ThreadingPolicy", "Multi-threaded");
    std::future<void> done;
    {
        MutexLock held(&fifo->bufferLock());
        done = startDetached([fifo] { fifo->push("locked"); });
        EXPECT_TRUE(stillRunning(done)) << "a multi-threaded push ignored the lock";
    }
    ASSERT_TRUE(ready(done));
    EXPECT_EQ(fifo->size(), 2);
}

TEST(RingTemplateThreads, BlockedPopYieldsTheItemPushedLater) {
    auto ring = std::make_shared<RingTemplate<std::string>>(2);
    auto item = std::make_shared<std::string>();
    auto done = startDetached([ring, item] { ring->pop(*item); });
    EXPECT_TRUE(stillRunning(done));
    ring->push("late");
    ASSERT_TRUE(ready(done));
    EXPECT_EQ(*item, "late");
}

TEST(RingTemplateThreads, AbortReleasesABlockedPop) {
    auto ring = std::make_shared<RingTemplate<std::string>>(2);
    auto result = std::make_shared<std::atomic<bool>>(true);
    auto done = startDetached([ring, result] {
        std::string item;
        *result = ring->pop(item);
    });
    EXPECT_TRUE(stillRunning(done));
    ring->notifyAndAbort();
    ASSERT_TRUE(ready(done));
    EXPECT_FALSE(result->load());
}

// ---- stress ------------------------------------------------------------------------------

TEST(FifoTemplateThreads, ManyProducersAndConsumersLoseAndDuplicateNothing) {
    moveThroughFifo(std::make_shared<StringFifo>(64), 3, 3, stressItems());
}

TEST(FifoTemplateThreads, NonBlockingSidesLoseAndDuplicateNothing) {
    auto fifo = std::make_shared<StringFifo>(64);
    setSwitch(*fifo, "PushBlock", "Off");
    setSwitch(*fifo, "PopBlock", "Off");
    const std::size_t total = stressItems() / 20;  // both sides retry after yielding
    auto tally = std::make_shared<Tally>(2);
    auto stop = std::make_shared<std::atomic<bool>>(false);
    std::vector<std::future<void>> threads;
    for (int c = 0; c < 2; ++c) {
        threads.push_back(startDetached([fifo, tally, stop, c] {
            std::string item;
            while (!stop->load()) {
                if (!fifo->pop(item)) {
                    std::this_thread::yield();
                    continue;
                }
                tally->seen[c].push_back(std::stoul(item));
                tally->count.fetch_add(1);
            }
        }));
    }
    for (int p = 0; p < 2; ++p) {
        threads.push_back(startDetached([fifo, p, total] {
            for (std::size_t number = p; number < total; number += 2) {
                while (!fifo->push(std::to_string(number))) std::this_thread::yield();
            }
        }));
    }
    ASSERT_TRUE(eventually([&] { return tally->count.load() == total; }, stressDeadline));
    stop->store(true);
    for (auto& done : threads) ASSERT_TRUE(ready(done));
    std::string fault;
    EXPECT_TRUE(tally->exactlyOnce(total, &fault)) << fault;
}

TEST(FifoTemplateThreads, SingleThreadedPolicyHandsOverBetweenTwoThreads) {
    for (const char* block : {"On", "Off"}) {
        auto fifo = std::make_shared<StringFifo>(16);
        setSwitch(*fifo, "ThreadingPolicy", "Single-threaded");
        setSwitch(*fifo, "PushBlock", block);
        setSwitch(*fifo, "PopBlock", block);
        // Fewer items when both sides retry: on a loaded machine every yield may give
        // the processor away for a whole time slice.
        const std::size_t total = stressItems() / (std::string(block) == "On" ? 4 : 20);
        auto outOfOrder = std::make_shared<std::atomic<std::size_t>>(0);
        auto consumer = startDetached([fifo, total, outOfOrder] {
            std::string item;
            for (std::size_t expected = 0; expected < total;) {
                if (!fifo->pop(item)) {
                    std::this_thread::yield();
                    continue;
                }
                if (std::stoul(item) != expected) outOfOrder->fetch_add(1);
                ++expected;
            }
        });
        auto producer = startDetached([fifo, total] {
            for (std::size_t number = 0; number < total; ++number) {
                while (!fifo->push(std::to_string(number))) std::this_thread::yield();
            }
        });
        ASSERT_TRUE(ready(producer, stressDeadline)) << block;
        ASSERT_TRUE(ready(consumer, stressDeadline)) << block;
        EXPECT_EQ(outOfOrder->load(), 0u) << block;
        EXPECT_EQ(fifo->size(), 0) << block;
    }
}

TEST(FifoTemplateThreads, PushAndPopRaceFlush) {
    const int before = CountedImage::live;
    {
        auto fifo = std::make_shared<FifoTemplate<ImgRefPtr>>(8);
        const int perProducer = static_cast<int>(stressItems() / 50);
        auto producing = std::make_shared<std::atomic<int>>(2);
        auto duplicates = std::make_shared<std::atomic<int>>(0);
        auto seen = std::make_shared<std::vector<std::vector<unsigned char>>>(
            2, std::vector<unsigned char>(2 * perProducer, 0));
        std::vector<std::future<void>> producers;
        std::vector<std::future<void>> consumers;
        for (int c = 0; c < 2; ++c) {
            consumers.push_back(startDetached([fifo, seen, duplicates, c] {
                ImgRefPtr item;
                while (fifo->pop(item)) {
                    if ((*seen)[c][serialOf(item)]++ != 0) duplicates->fetch_add(1);
                }
            }));
        }
        for (int p = 0; p < 2; ++p) {
            producers.push_back(startDetached([fifo, producing, p, perProducer] {
                for (int i = 0; i < perProducer; ++i) fifo->push(makeImage(p * perProducer + i));
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

        EXPECT_EQ(duplicates->load(), 0);
        for (int serial = 0; serial < 2 * perProducer; ++serial) {
            ASSERT_LE((*seen)[0][serial] + (*seen)[1][serial], 1) << serial;
        }
        fifo->flush();
        EXPECT_EQ(CountedImage::live - before, 0) << "a flushed or popped image is still alive";
    }
    EXPECT_EQ(CountedImage::live - before, 0);
}

TEST(RingTemplateThreads, SlowConsumerLosesTheOldestAndOverwrittenImagesAreReleased) {
    constexpr int capacity = 4;
    const int total = static_cast<int>(stressItems() / 50);
    const int before = CountedImage::live;
    auto ring = std::make_shared<RingTemplate<ImgRefPtr>>(capacity);
    auto maxLive = std::make_shared<std::atomic<int>>(0);
    auto outOfOrder = std::make_shared<std::atomic<int>>(0);
    auto received = std::make_shared<std::atomic<int>>(0);
    auto consumer = startDetached([ring, total, outOfOrder, received] {
        ImgRefPtr item;
        int last = -1;
        while (last != total - 1 && ring->pop(item)) {
            if (serialOf(item) <= last) outOfOrder->fetch_add(1);
            last = serialOf(item);
            received->fetch_add(1);
            std::this_thread::sleep_for(20us);  // slow on purpose
        }
    });
    auto producer = startDetached([ring, total, before, maxLive] {
        for (int serial = 0; serial < total; ++serial) {
            ring->push(makeImage(serial));
            // The ring's images, plus the consumer's current and previous one.
            const int live = CountedImage::live - before;
            int seen = maxLive->load();
            while (live > seen && !maxLive->compare_exchange_weak(seen, live)) {
            }
        }
    });
    ASSERT_TRUE(ready(producer, stressDeadline)) << "a ring push blocked";
    ASSERT_TRUE(ready(consumer, stressDeadline)) << "the last image never arrived";
    EXPECT_LE(maxLive->load(), capacity + 2);
    EXPECT_EQ(outOfOrder->load(), 0);
    EXPECT_GT(received->load(), 0);
    EXPECT_EQ(ring->size(), 0);
    EXPECT_EQ(CountedImage::live - before, 0);
}

TEST(RingTemplateThreads, SingleThreadedRingIsSafeBetweenTwoThreads) {
    auto ring = std::make_shared<RingTemplate<std::string>>(8);
    setSwitch(*ring, "ThreadingPolicy", "Single-threaded");
    const std::size_t total = stressItems() / 10;
    auto outOfOrder = std::make_shared<std::atomic<int>>(0);
    auto consumer = startDetached([ring, total, outOfOrder] {
        std::string item;
        long last = -1;
        while (last != static_cast<long>(total) - 1 && ring->pop(item)) {
            const long number = std::stol(item);
            if (number <= last) outOfOrder->fetch_add(1);
            last = number;
        }
    });
    auto producer = startDetached([ring, total] {
        for (std::size_t number = 0; number < total; ++number) ring->push(std::to_string(number));
    });
    ASSERT_TRUE(ready(producer, stressDeadline));
    ASSERT_TRUE(ready(consumer, stressDeadline));
    EXPECT_EQ(outOfOrder->load(), 0);
}
