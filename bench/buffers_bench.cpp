// The frame path side by side: handing ImgRefPtr items from a producer thread to a
// consumer thread through FifoTemplate (each of the four worker variants) and through
// RingTemplate, against a reference bounded queue (std::mutex, std::condition_variable,
// std::deque of std::shared_ptr, capacity 64, blocking both sides); the same pairs
// uncontended on one thread; property writes and reads; handle copies. A table at the
// end gives nanoseconds per item and the ratio to each group's reference.

#include <benchmark/benchmark.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/core/RefPtr.h>
#include <korvane/image/Image.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ReferenceQueue.h"

namespace {

using namespace Korvane;
using KorvaneBench::ReferenceQueue;

constexpr unsigned int capacity = 64;

void applySwitches(PropertyInterface& buffer, const char* policy, const char* block) {
    buffer.setProperty("ThreadingPolicy", policy);
    buffer.setProperty("PushBlock", block);
    buffer.setProperty("PopBlock", block);
    buffer.endPropertyChange();
}

// Producer on the benchmark thread, consumer on its own thread. A non-blocking side
// retries after a yield. The consumer is released at the end by stop().
template <class Queue, class Item>
void handOff(benchmark::State& state, Queue& queue, const Item& item, bool mayLose,
             void (*stop)(Queue&)) {
    std::atomic<std::int64_t> received{0};
    std::atomic<bool> stopping{false};
    std::thread consumer([&] {
        Item out;
        while (!stopping.load(std::memory_order_relaxed)) {
            if (queue.pop(out)) {
                received.fetch_add(1, std::memory_order_relaxed);
            } else {
                std::this_thread::yield();
            }
        }
    });
    std::int64_t pushed = 0;
    for (auto _ : state) {
        while (!queue.push(item)) std::this_thread::yield();
        ++pushed;
    }
    while (!mayLose && received.load() < pushed) std::this_thread::yield();
    stopping = true;
    stop(queue);
    consumer.join();
    state.SetItemsProcessed(pushed);
    state.counters["delivered"] = pushed ? static_cast<double>(received.load()) / pushed : 0.0;
}

template <class Buffer>
void abortBuffer(Buffer& buffer) {
    buffer.notifyAndAbort();
}

void closeReference(ReferenceQueue<std::shared_ptr<Image>>& queue) {
    queue.close();
}

ImgRefPtr anImage() {
    return ImgRefPtr(new Image, nullptr);
}

void HandOff_Reference(benchmark::State& state) {
    ReferenceQueue<std::shared_ptr<Image>> queue(capacity);
    auto image = std::make_shared<Image>();
    handOff(state, queue, image, false, &closeReference);
}

void handOffFifo(benchmark::State& state, const char* policy, const char* block) {
    FifoTemplate<ImgRefPtr> fifo(capacity);
    applySwitches(fifo, policy, block);
    handOff(state, fifo, anImage(), false, &abortBuffer<FifoTemplate<ImgRefPtr>>);
}

void HandOff_Fifo_SyncMt(benchmark::State& state) {
    handOffFifo(state, "Multi-threaded", "On");
}
void HandOff_Fifo_UnsyncMt(benchmark::State& state) {
    handOffFifo(state, "Multi-threaded", "Off");
}
void HandOff_Fifo_SyncSt(benchmark::State& state) {
    handOffFifo(state, "Single-threaded", "On");
}
void HandOff_Fifo_UnsyncSt(benchmark::State& state) {
    handOffFifo(state, "Single-threaded", "Off");
}

void HandOff_Ring_SyncMt(benchmark::State& state) {
    RingTemplate<ImgRefPtr> ring(capacity);
    handOff(state, ring, anImage(), true, &abortBuffer<RingTemplate<ImgRefPtr>>);
}

BENCHMARK(HandOff_Reference)->UseRealTime();
BENCHMARK(HandOff_Fifo_SyncMt)->UseRealTime();
BENCHMARK(HandOff_Fifo_UnsyncMt)->UseRealTime();
BENCHMARK(HandOff_Fifo_SyncSt)->UseRealTime();
BENCHMARK(HandOff_Fifo_UnsyncSt)->UseRealTime();
BENCHMARK(HandOff_Ring_SyncMt)->UseRealTime();

// ---- one thread, no contention: a push followed by a pop --------------------------------

void PushPop_Reference(benchmark::State& state) {
    ReferenceQueue<std::shared_ptr<Image>> queue(capacity);
    auto image = std::make_shared<Image>();
    std::shared_ptr<Image> out;
    for (auto _ : state) {
        queue.push(image);
        queue.pop(out);
    }
    state.SetItemsProcessed(state.iterations());
}

template <template <class> class Discipline>
void pushPop(benchmark::State& state, const char* policy, const char* block) {
    Discipline<ImgRefPtr> buffer(capacity);
    applySwitches(buffer, policy, block);
    ImgRefPtr image = anImage();
    ImgRefPtr out;
    for (auto _ : state) {
        buffer.push(image);
        buffer.pop(out);
    }
    state.SetItemsProcessed(state.iterations());
}

void PushPop_Fifo_SyncMt(benchmark::State& state) {
    pushPop<FifoTemplate>(state, "Multi-threaded", "On");
}
void PushPop_Fifo_SyncSt(benchmark::State& state) {
    pushPop<FifoTemplate>(state, "Single-threaded", "On");
}
void PushPop_Ring_SyncMt(benchmark::State& state) {
    pushPop<RingTemplate>(state, "Multi-threaded", "On");
}

// A push alone. The FIFO is flushed after every capacity pushes, which the figure
// includes; a ring push on a full ring overwrites, which is its steady state.
void Push_Fifo_SyncMt(benchmark::State& state) {
    FifoTemplate<ImgRefPtr> fifo(capacity);
    ImgRefPtr image = anImage();
    unsigned int held = 0;
    for (auto _ : state) {
        fifo.push(image);
        if (++held == capacity) {
            fifo.flush();
            held = 0;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void Push_Ring_Full(benchmark::State& state) {
    RingTemplate<ImgRefPtr> ring(capacity);
    ImgRefPtr image = anImage();
    for (auto _ : state) ring.push(image);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(PushPop_Reference);
BENCHMARK(PushPop_Fifo_SyncMt);
BENCHMARK(PushPop_Fifo_SyncSt);
BENCHMARK(PushPop_Ring_SyncMt);
BENCHMARK(Push_Fifo_SyncMt);
BENCHMARK(Push_Ring_Full);

// ---- properties ----------------------------------------------------------------------

class Settings : public PropertyInterface {
public:
    Settings() {
        addProperty("Gain", 0, int32_property, read_write_access);
        addProperty("Label", std::string(), string_property, read_write_access);
    }
};

void Property_SetInt32(benchmark::State& state) {
    Settings settings;
    int value = 0;
    for (auto _ : state) benchmark::DoNotOptimize(settings.setProperty("Gain", ++value & 0xFFFF));
}

void Property_GetInt32(benchmark::State& state) {
    Settings settings;
    int value = 0;
    for (auto _ : state) {
        settings.getProperty("Gain", &value);
        benchmark::DoNotOptimize(value);
    }
}

void Property_SetString(benchmark::State& state) {
    Settings settings;
    const std::string label = "camera-left";
    for (auto _ : state) benchmark::DoNotOptimize(settings.setProperty("Label", label));
}

void Property_GetString(benchmark::State& state) {
    Settings settings;
    settings.setProperty("Label", "camera-left");
    std::string value;
    for (auto _ : state) {
        settings.getProperty("Label", &value);
        benchmark::DoNotOptimize(value.data());
    }
}

BENCHMARK(Property_SetInt32);
BENCHMARK(Property_GetInt32);
BENCHMARK(Property_SetString);
BENCHMARK(Property_GetString);

// ---- handles -------------------------------------------------------------------------

void Handle_SharedPtrCopyAndDrop(benchmark::State& state) {
    auto original = std::make_shared<Image>();
    for (auto _ : state) {
        std::shared_ptr<Image> copy(original);
        benchmark::DoNotOptimize(copy.get());
    }
}

void Handle_RefPtrCopyAndDrop(benchmark::State& state) {
    ImgRefPtr original = anImage();
    for (auto _ : state) {
        ImgRefPtr copy(original);
        benchmark::DoNotOptimize(copy.rawPtr());
    }
}

BENCHMARK(Handle_SharedPtrCopyAndDrop);
BENCHMARK(Handle_RefPtrCopyAndDrop);

// ---- the table -----------------------------------------------------------------------

// Keeps each run's nanoseconds per iteration for the table printed after all runs.
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
            std::string name = run.benchmark_name();
            name = name.substr(0, name.find('/'));
            if (m_nanoseconds.find(name) == m_nanoseconds.end()) m_order.push_back(name);
            m_nanoseconds[name] = run.real_accumulated_time * 1e9 / run.iterations;
        }
    }

    // Each group (the name up to the first '_') is compared with its reference.
    void printTable() const {
        const std::map<std::string, std::string> references = {
            {"HandOff", "HandOff_Reference"},
            {"PushPop", "PushPop_Reference"},
            {"Push", "Push_Fifo_SyncMt"},
            {"Handle", "Handle_SharedPtrCopyAndDrop"},
        };
        std::printf("\n%-32s %12s %10s  %s\n", "benchmark", "ns/item", "ratio", "reference");
        for (const std::string& name : m_order) {
            const double ns = m_nanoseconds.at(name);
            const auto group = references.find(name.substr(0, name.find('_')));
            if (group == references.end() || !m_nanoseconds.count(group->second)) {
                std::printf("%-32s %12.1f\n", name.c_str(), ns);
                continue;
            }
            std::printf("%-32s %12.1f %10.2f  %s\n", name.c_str(), ns,
                        ns / m_nanoseconds.at(group->second), group->second.c_str());
        }
    }

private:
    std::vector<std::string> m_order;
    std::map<std::string, double> m_nanoseconds;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable();
    benchmark::Shutdown();
    return 0;
}
