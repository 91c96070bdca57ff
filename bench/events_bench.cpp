// Throughput of the event queue from postEvent to dispatch, with a dispatcher that
// only counts, and the cost that event posting adds to a property write with and
// without a dispatcher installed.

#include <korvane/core/Object.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/events/EventManager.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

namespace {

using namespace Korvane;

class CountingDispatcher : public EventDispatcher {
public:
    explicit CountingDispatcher(std::shared_ptr<std::atomic<std::int64_t>> count)
        : m_count(std::move(count)) {}
    void dispatch(Event* event) override {
        if (event) m_count->fetch_add(1, std::memory_order_release);
    }
    bool disconnect(std::uint64_t) override { return true; }

private:
    std::shared_ptr<std::atomic<std::int64_t>> m_count;
};

// Installs a counting dispatcher for the scope and removes it again.
class CountingScope {
public:
    CountingScope() { EventManager::get()->setEventDispatcher(new CountingDispatcher(count)); }
    ~CountingScope() { EventManager::get()->setEventDispatcher(nullptr); }
    CountingScope(const CountingScope&) = delete;
    CountingScope& operator=(const CountingScope&) = delete;

    void awaitCount(std::int64_t expected) const {
        while (count->load(std::memory_order_acquire) < expected) std::this_thread::yield();
    }

    std::shared_ptr<std::atomic<std::int64_t>> count =
        std::make_shared<std::atomic<std::int64_t>>(0);
};

// Each iteration posts a batch and waits until the loop has dispatched all of it.
void PostToDispatch(benchmark::State& state) {
    const auto batch = state.range(0);
    CountingScope scope;
    EventGenerator sender;
    std::int64_t posted = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < batch; ++i) {
            EventManager::get()->postEvent(new UserEvent("tick"), &sender);
        }
        posted += batch;
        scope.awaitCount(posted);
    }
    state.SetItemsProcessed(posted);
    state.counters["per_event"] = benchmark::Counter(
        static_cast<double>(posted), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(PostToDispatch)->Arg(1)->Arg(100)->Arg(1000)->UseRealTime();

class Settings : public Object {
public:
    Settings() { addProperty("Gain", 0, int32_property, read_write_access); }
};

void PropertyWriteWithoutDispatcher(benchmark::State& state) {
    Settings settings;
    int value = 0;
    for (auto _ : state) benchmark::DoNotOptimize(settings.setProperty("Gain", ++value & 0xFFFF));
}
BENCHMARK(PropertyWriteWithoutDispatcher);

// The writer's cost only: allocation, stamping and the push, not the delivery.
void PropertyWriteWithDispatcher(benchmark::State& state) {
    CountingScope scope;
    Settings settings;
    int value = 0;
    for (auto _ : state) benchmark::DoNotOptimize(settings.setProperty("Gain", ++value & 0xFFFF));
    scope.awaitCount(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(PropertyWriteWithDispatcher)->UseRealTime();

}  // namespace
