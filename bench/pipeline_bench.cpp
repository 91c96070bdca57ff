// The frame path end to end: processes on their own threads handing 640x480 8-bit
// frames through blocking, multi-threaded "ImageFifo" buffers of capacity 64, every
// process with "MaxIterations" set to the frame count (the limited loop, no pause),
// against the reference bounded queue (ReferenceQueue.h) handing the same number of
// items from one thread to another. Each benchmark iteration is one whole run of
// `frames` items; the table at the end gives nanoseconds per frame (per item for the
// reference) and the ratio to the reference's single hand-off.
//
//   Pipeline_SourceSink   source process -> ImageFifo -> sink process
//   Pipeline_Operators    source -> ImageFifo -> operator process -> ImageFifo -> sink;
//                         the operator process runs two pass-through operators, at
//                         levels 0 and 1, chained by a single-threaded "ImageFifo"
//                         (both of its ends are on the operator process's thread)
//   ..._NewFrames         the same with a frame made per push instead of recycled
//
// Frames come from an ImagePool unless made per push. A run ends when the sink has
// counted every frame; each process waits in its cleanup until its output is taken,
// as the end of a run flushes the process's buffers.

#include <benchmark/benchmark.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/ImagePool.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/ProcessInterface.h>
#include <korvane/process/PtrWrapper.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ReferenceQueue.h"

namespace {

using namespace Korvane;
using Clock = std::chrono::steady_clock;

constexpr long long frames = 100'000;
constexpr unsigned int capacity = 64;
constexpr unsigned int frameWidth = 640;
constexpr unsigned int frameHeight = 480;
constexpr unsigned int uint8QuantumId = 129;
// More than can be in flight: both FIFOs full, plus a frame in every process's hands.
constexpr unsigned int poolSize = 2 * capacity + 16;
constexpr auto drainLimit = std::chrono::seconds(10);

using ImageBuffer = BufferTemplate<ImgRefPtr>;

ImageBuffer* imageBuffer(const BufferRefPtr& buffer) {
    return dynamic_cast<ImageBuffer*>(buffer.rawPtr());
}

// Until the buffer is empty or the limit passes.
void waitDrained(ImageBuffer* buffer) {
    const auto end = Clock::now() + drainLimit;
    while (buffer && buffer->size() > 0 && Clock::now() < end) {
        std::this_thread::yield();
    }
}

// Pushes a frame per iteration, recycled through a pool or made new.
class FrameSource : public ProcessInterface {
public:
    explicit FrameSource(bool recycle)
        : ProcessInterface("BenchSource"),
          m_pool(recycle ? new ImagePool(uint8QuantumId, frameWidth, frameHeight, poolSize)
                         : nullptr) {
        addBufferSlot("Output", "Image", slot_output, "Frames.", false);
    }

protected:
    bool init() override {
        m_output = imageBuffer(bufferSlot("Output"));
        return m_output != nullptr;
    }
    bool sequence(unsigned long long) override { return m_output->push(nextFrame()); }
    bool cleanup() override {
        waitDrained(m_output);
        m_output = nullptr;
        return true;
    }

private:
    ImgRefPtr nextFrame() {
        if (!m_pool) {
            return ImageManager::get()->createAnonymous(uint8QuantumId, frameWidth, frameHeight, 1);
        }
        ImgRefPtr frame = m_pool->acquire();
        while (frame.isNull()) {
            std::this_thread::yield();
            frame = m_pool->acquire();
        }
        return frame;
    }

    std::unique_ptr<ImagePool> m_pool;  // null when frames are made per push
    ImageBuffer* m_output = nullptr;    // the bound buffer, while running
};

// Pops and counts; notes the time at which the last frame arrived.
class FrameSink : public ProcessInterface {
public:
    FrameSink() : ProcessInterface("BenchSink") {
        addBufferSlot("Input", "Image", slot_input, "Frames.", false);
    }

    long long received() const { return m_received.load(); }
    Clock::time_point lastArrival() const { return m_lastArrival; }

protected:
    bool init() override {
        m_input = imageBuffer(bufferSlot("Input"));
        m_received = 0;
        return m_input != nullptr;
    }
    bool sequence(unsigned long long) override {
        if (!m_input->pop(m_frame)) return false;
        if (m_received.fetch_add(1, std::memory_order_relaxed) + 1 == frames) {
            m_lastArrival = Clock::now();
        }
        return true;
    }
    bool cleanup() override {
        m_frame = ImgRefPtr();
        m_input = nullptr;
        return true;
    }

private:
    ImageBuffer* m_input = nullptr;  // the bound buffer, while running
    ImgRefPtr m_frame;
    std::atomic<long long> m_received{0};
    Clock::time_point m_lastArrival;  // written by the process thread before it ends
};

// Items per second, and the processor time of all threads per frame ("cpu_ns"), which
// a loaded machine disturbs less than the elapsed time.
void reportCpu(benchmark::State& state, std::clock_t before) {
    const double items = static_cast<double>(state.iterations() * frames);
    const double seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    state.SetItemsProcessed(static_cast<std::int64_t>(items));
    state.counters["cpu_ns"] = items > 0 ? seconds * 1e9 / items : 0.0;
}

// Pops a frame from "Input" and pushes it to "Output".
class PassThrough : public Operator {
public:
    PassThrough() {
        addBufferSlot("Input", "Image", slot_input, "Frames.", false);
        addBufferSlot("Output", "Image", slot_output, "The same frames.", false);
    }
    Operator* createCopy() override { return new PassThrough; }
    bool init() override {
        m_input = imageBuffer(bufferSlot("Input"));
        m_output = imageBuffer(bufferSlot("Output"));
        return m_input && m_output;
    }
    bool execute() override { return m_input->pop(m_frame) && m_output->push(m_frame); }
    bool cleanup() override {
        waitDrained(m_output);
        m_frame = ImgRefPtr();
        m_input = m_output = nullptr;
        return true;
    }
    std::string help() const override { return "Passes each frame on unchanged."; }

private:
    ImageBuffer* m_input = nullptr;  // the bound buffers, while running
    ImageBuffer* m_output = nullptr;
    ImgRefPtr m_frame;
};

template <class P>
RefPtr<P> make(P* process) {
    process->setProperty("MaxIterations", frames);
    return RefPtr<P>(process, nullptr);
}

bool reaches(const ProcessInterface& process, ProcessInterface::StatusDetail detail) {
    const auto end = Clock::now() + drainLimit;
    while (process.statusDetail() != detail) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// Starts the processes from the last (the sink) to the first (the source), each once
// the one after it iterates, since a start flushes the process's buffers; times the
// run from the source's start to the sink's last frame.
void runPipeline(benchmark::State& state, const std::vector<ProcessInterface*>& chain,
                 const FrameSink& sink) {
    const std::clock_t cpuBefore = std::clock();
    for (auto _ : state) {
        for (std::size_t i = chain.size(); i-- > 1;) {
            chain[i]->startProcess();
            if (!reaches(*chain[i], ProcessInterface::RunningIterating)) {
                state.SkipWithError("a process did not start");
                return;
            }
        }
        const auto start = Clock::now();
        chain.front()->startProcess();
        const bool done = reaches(sink, ProcessInterface::StoppingDone);
        for (ProcessInterface* process : chain) process->stopProcess();
        if (!done || sink.received() != frames) {
            state.SkipWithError("the sink did not receive every frame");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(sink.lastArrival() - start).count());
    }
    reportCpu(state, cpuBefore);
}

void sourceSink(benchmark::State& state, bool recycle) {
    auto source = make(new FrameSource(recycle));
    auto sink = make(new FrameSink);
    BufferManager* buffers = BufferManager::get();
    BufferRefPtr fifo = buffers->connect(source, "Output", sink, "Input", BufferFifo, capacity);
    if (fifo.isNull()) {
        state.SkipWithError("could not connect");
        return;
    }
    runPipeline(state, {source.rawPtr(), sink.rawPtr()}, *sink);
    buffers->disconnect(sink, "Input");
}

void Pipeline_SourceSink(benchmark::State& state) {
    sourceSink(state, true);
}
void Pipeline_SourceSink_NewFrames(benchmark::State& state) {
    sourceSink(state, false);
}

void operators(benchmark::State& state, bool recycle) {
    auto source = make(new FrameSource(recycle));
    auto sink = make(new FrameSink);
    OperatorProcessRefPtr process(new OperatorProcess, nullptr);
    process->setProperty("MaxIterations", frames);
    OperatorRefPtr first(new PassThrough, nullptr);
    OperatorRefPtr second(new PassThrough, nullptr);
    process->addOperator(first, 0);
    process->addOperator(second, 1);
    BufferManager* buffers = BufferManager::get();
    BufferRefPtr in = buffers->connect(source, "Output", first, "Input", BufferFifo, capacity);
    BufferRefPtr link = buffers->connect(first, "Output", second, "Input", BufferFifo, capacity);
    BufferRefPtr out = buffers->connect(second, "Output", sink, "Input", BufferFifo, capacity);
    if (in.isNull() || link.isNull() || out.isNull()) {
        state.SkipWithError("could not connect");
        return;
    }
    link->setProperty("ThreadingPolicy", "Single-threaded");
    link->endPropertyChange();
    runPipeline(state, {source.rawPtr(), process.rawPtr(), sink.rawPtr()}, *sink);
    buffers->disconnect(first, "Input");
    buffers->disconnect(second, "Input");
    buffers->disconnect(sink, "Input");
}

void Pipeline_Operators(benchmark::State& state) {
    operators(state, true);
}
void Pipeline_Operators_NewFrames(benchmark::State& state) {
    operators(state, false);
}

// One thread hands `frames` items to another through the reference queue.
void HandOff_Reference(benchmark::State& state) {
    const std::clock_t cpuBefore = std::clock();
    for (auto _ : state) {
        KorvaneBench::ReferenceQueue<std::shared_ptr<Image>> queue(capacity);
        auto image = std::make_shared<Image>();
        std::atomic<Clock::time_point::rep> lastArrival{0};
        const auto start = Clock::now();
        std::thread consumer([&] {
            std::shared_ptr<Image> item;
            for (long long i = 0; i < frames && queue.pop(item); ++i) {
            }
            lastArrival = Clock::now().time_since_epoch().count();
        });
        for (long long i = 0; i < frames; ++i) queue.push(image);
        consumer.join();
        const Clock::time_point end{Clock::duration(lastArrival.load())};
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    }
    reportCpu(state, cpuBefore);
}

BENCHMARK(HandOff_Reference)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Pipeline_SourceSink)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Pipeline_SourceSink_NewFrames)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Pipeline_Operators)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Pipeline_Operators_NewFrames)->UseManualTime()->Unit(benchmark::kMillisecond);

// Keeps the nanoseconds per frame of each benchmark (the median where repetitions
// report one) and prints them after all runs with the ratio to the reference.
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.error_occurred || run.iterations == 0) continue;
            if (run.run_type == Run::RT_Aggregate && !median) continue;
            const std::string name = run.run_name.function_name;
            if (m_rows.find(name) == m_rows.end()) m_order.push_back(name);
            Row& row = m_rows[name];
            if (row.fromMedian && !median) continue;
            const double seconds =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            const auto cpu = run.counters.find("cpu_ns");
            row = Row{seconds * 1e9 / frames, cpu == run.counters.end() ? 0.0 : cpu->second.value,
                      median};
        }
    }

    void printTable() const {
        const auto reference = m_rows.find("HandOff_Reference");
        std::printf("\n%-34s %10s %8s %14s\n", "benchmark", "ns/frame", "ratio", "cpu ns/frame");
        for (const std::string& name : m_order) {
            const Row& row = m_rows.at(name);
            const double ratio =
                reference == m_rows.end() ? 0.0 : row.nanoseconds / reference->second.nanoseconds;
            std::printf("%-34s %10.1f %8.2f %14.1f\n", name.c_str(), row.nanoseconds, ratio,
                        row.cpuNanoseconds);
        }
        std::printf(
            "ns/frame: elapsed time per frame through the whole pipeline (per item for the "
            "reference)\nratio: ns/frame over the reference's ns per item\n"
            "cpu ns/frame: processor time of all threads per frame\n");
    }

private:
    struct Row {
        double nanoseconds = 0.0;
        double cpuNanoseconds = 0.0;
        bool fromMedian = false;
    };

    std::vector<std::string> m_order;
    std::map<std::string, Row> m_rows;
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
