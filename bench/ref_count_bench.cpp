// Cost of sharing a handle: copy and drop one RefPtr (atomic count) next to the same
// with a count guarded by the library's Mutex, and next to std::shared_ptr.

#include <korvane/core/RefPtr.h>
#include <korvane/platform/Mutex.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Payload {
    virtual ~Payload() = default;
    int value = 0;
};

// The alternative design: a count record that is a Mutex, as a lock-based count is.
struct LockedCount {
    Korvane::Mutex mutex;  // guards count
    unsigned count = 1;
    void increment() {
        Korvane::MutexLock lock(&mutex);
        ++count;
    }
    bool decrement() {
        Korvane::MutexLock lock(&mutex);
        return --count == 0;
    }
};

void RefPtrCopyAndDrop(benchmark::State& state) {
    Korvane::RefPtr<Payload> original(new Payload, nullptr);
    for (auto _ : state) {
        Korvane::RefPtr<Payload> copy(original);
        benchmark::DoNotOptimize(copy.rawPtr());
    }
}
BENCHMARK(RefPtrCopyAndDrop)->ThreadRange(1, 2);

void MutexCountCopyAndDrop(benchmark::State& state) {
    static LockedCount shared;
    for (auto _ : state) {
        shared.increment();
        benchmark::DoNotOptimize(shared.decrement());
    }
}
BENCHMARK(MutexCountCopyAndDrop)->ThreadRange(1, 2);

void SharedPtrCopyAndDrop(benchmark::State& state) {
    auto original = std::make_shared<Payload>();
    for (auto _ : state) {
        std::shared_ptr<Payload> copy(original);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(SharedPtrCopyAndDrop)->ThreadRange(1, 2);

void RefPtrCreateAndDestroy(benchmark::State& state) {
    for (auto _ : state) {
        Korvane::RefPtr<Payload> handle(new Payload, nullptr);
        benchmark::DoNotOptimize(handle.rawPtr());
    }
}
BENCHMARK(RefPtrCreateAndDestroy);

void MutexCountCreateAndDestroy(benchmark::State& state) {
    for (auto _ : state) {
        auto* payload = new Payload;
        auto* count = new LockedCount;
        if (count->decrement()) {
            delete count;
            delete payload;
        }
    }
}
BENCHMARK(MutexCountCreateAndDestroy);

}  // namespace
