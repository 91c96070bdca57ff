// Soak: ten million items through two multi-producer, multi-consumer FIFOs in a row
// (producers -> A -> relays -> B -> consumers), small enough that every side keeps
// waiting for the other. Every item must arrive exactly once, and each relay must see
// each producer's items in the order they were pushed. The full count also runs under
// AddressSanitizer (seconds); under ThreadSanitizer, where CI does not run it, it is
// two million.
#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <vector>

#include "support/Detached.h"

using namespace Korvane;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kItems = 2'000'000;
#else
constexpr std::uint64_t kItems = 10'000'000;
#endif
constexpr int kProducers = 3;
constexpr int kRelays = 2;
constexpr int kConsumers = 2;
constexpr unsigned int kFifoSize = 256;
constexpr auto kDeadline = std::chrono::minutes(4);

// Items travel as pointer values that are never dereferenced: the producer in the high
// bits and the sequence number below, plus one so that no item is null (null ends a
// relay or a consumer).
Event* encode(std::uint64_t producer, std::uint64_t sequence) {
    return reinterpret_cast<Event*>(static_cast<std::uintptr_t>((producer << 40 | sequence) + 1));
}
std::uint64_t producerOf(Event* item) {
    return (reinterpret_cast<std::uintptr_t>(item) - 1) >> 40;
}
std::uint64_t sequenceOf(Event* item) {
    return (reinterpret_cast<std::uintptr_t>(item) - 1) & ((std::uint64_t{1} << 40) - 1);
}

std::unique_ptr<FifoTemplate<Event*>> makeFifo() {
    auto fifo = std::make_unique<FifoTemplate<Event*>>(kFifoSize);
    fifo->setProperty("ThreadingPolicy", "Multi-threaded");
    fifo->setProperty("PushBlock", "On");
    fifo->setProperty("PopBlock", "On");
    fifo->endPropertyChange();
    return fifo;
}

// Everything the threads touch, shared with them so that a thread still running after
// a failed deadline never touches freed memory.
struct Soak {
    std::unique_ptr<FifoTemplate<Event*>> a = makeFifo();
    std::unique_ptr<FifoTemplate<Event*>> b = makeFifo();
    std::vector<std::atomic<std::uint8_t>> arrivals =  // per item, by its number
        std::vector<std::atomic<std::uint8_t>>(kItems);
    std::atomic<std::uint64_t> outOfOrder{0};
    std::atomic<std::uint64_t> failedCalls{0};
};

void produce(Soak& soak, std::uint64_t producer) {
    for (std::uint64_t n = producer; n < kItems; n += kProducers) {
        if (!soak.a->push(encode(producer, n / kProducers))) ++soak.failedCalls;
    }
}

void relay(Soak& soak) {
    std::vector<std::int64_t> last(kProducers, -1);
    for (;;) {
        Event* item = nullptr;
        if (!soak.a->pop(item)) ++soak.failedCalls;
        if (!item) break;
        const std::uint64_t producer = producerOf(item);
        const auto sequence = static_cast<std::int64_t>(sequenceOf(item));
        if (producer >= kProducers || sequence <= last[producer]) ++soak.outOfOrder;
        if (producer < kProducers) last[producer] = sequence;
        if (!soak.b->push(item)) ++soak.failedCalls;
    }
    soak.b->push(nullptr);
}

void consume(Soak& soak) {
    for (;;) {
        Event* item = nullptr;
        if (!soak.b->pop(item)) ++soak.failedCalls;
        if (!item) return;
        const std::uint64_t number = sequenceOf(item) * kProducers + producerOf(item);
        if (number < kItems) soak.arrivals[number].fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace

TEST(FifoSoak, EveryItemArrivesExactlyOnceThroughTwoSharedFifos) {
    auto soak = std::make_shared<Soak>();
    std::vector<std::future<void>> producers, relays, consumers;
    for (int p = 0; p < kProducers; ++p)
        producers.push_back(KorvaneTest::startDetached([soak, p] { produce(*soak, p); }));
    for (int r = 0; r < kRelays; ++r)
        relays.push_back(KorvaneTest::startDetached([soak] { relay(*soak); }));
    for (int c = 0; c < kConsumers; ++c)
        consumers.push_back(KorvaneTest::startDetached([soak] { consume(*soak); }));

    const auto end = std::chrono::steady_clock::now() + kDeadline;
    for (auto& done : producers) ASSERT_EQ(done.wait_until(end), std::future_status::ready);
    for (int r = 0; r < kRelays; ++r) soak->a->push(nullptr);
    for (auto& done : relays) ASSERT_EQ(done.wait_until(end), std::future_status::ready);
    for (auto& done : consumers) ASSERT_EQ(done.wait_until(end), std::future_status::ready);

    EXPECT_EQ(soak->failedCalls.load(), 0u);
    EXPECT_EQ(soak->outOfOrder.load(), 0u);
    std::uint64_t lost = 0, duplicated = 0;
    for (const auto& arrivals : soak->arrivals) {
        lost += arrivals.load() == 0;
        duplicated += arrivals.load() > 1;
    }
    EXPECT_EQ(lost, 0u);
    EXPECT_EQ(duplicated, 0u);
    EXPECT_EQ(soak->a->size() + soak->b->size(), 0);
}
