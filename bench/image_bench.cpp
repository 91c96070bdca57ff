// The frame path: the cost of an anonymous 640 x 480 8-bit image next to the bare
// allocation of its samples (and next to allocating them zeroed, which a frame does
// not need), and the cost per sample of a 16-bit look-up next to a plain table loop.
// The "allocs" counter is the number of heap allocations per iteration.

#include <benchmark/benchmark.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/Lut.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

std::atomic<std::uint64_t> allocations{0};

void* countedAllocation(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return countedAllocation(size);
}
void* operator new[](std::size_t size) {
    return countedAllocation(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

constexpr unsigned int frameWidth = 640;
constexpr unsigned int frameHeight = 480;
constexpr unsigned int frameSamples = frameWidth * frameHeight;

// Reports allocations per iteration for the loop that ran since `before`.
void reportAllocations(benchmark::State& state, std::uint64_t before) {
    const double count = static_cast<double>(allocations.load() - before);
    state.counters["allocs"] = benchmark::Counter(count / static_cast<double>(state.iterations()));
}

void CreateAnonymousFrame(benchmark::State& state) {
    Korvane::ImageManager* manager = Korvane::ImageManager::get();
    const std::uint64_t before = allocations.load();
    for (auto _ : state) {
        Korvane::ImgRefPtr image = manager->createAnonymous(129u, frameWidth, frameHeight, 1u);
        benchmark::DoNotOptimize(image->rawBuffer());
    }
    reportAllocations(state, before);
}
BENCHMARK(CreateAnonymousFrame);

void PlainNewFrameArray(benchmark::State& state) {
    const std::uint64_t before = allocations.load();
    for (auto _ : state) {
        auto* samples = new unsigned char[frameSamples];
        benchmark::DoNotOptimize(samples);
        delete[] samples;
    }
    reportAllocations(state, before);
}
BENCHMARK(PlainNewFrameArray);

// What the frame would cost if its samples were value-initialised.
void ZeroedNewFrameArray(benchmark::State& state) {
    for (auto _ : state) {
        auto* samples = new unsigned char[frameSamples]();
        benchmark::DoNotOptimize(samples);
        delete[] samples;
    }
}
BENCHMARK(ZeroedNewFrameArray);

std::vector<std::uint16_t> randomSamples() {
    std::mt19937 random(42);
    std::vector<std::uint16_t> samples(frameSamples);
    for (auto& sample : samples) sample = static_cast<std::uint16_t>(random());
    return samples;
}

void perSample(benchmark::State& state) {
    const auto processed = static_cast<std::int64_t>(state.iterations()) * frameSamples;
    state.SetItemsProcessed(processed);
    // Seconds per sample, printed with its SI prefix ("1.05ns").
    state.counters["per_sample"] = benchmark::Counter(
        static_cast<double>(processed), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ApplyLut16(benchmark::State& state) {
    Korvane::LutGrey16 table;
    std::vector<std::uint16_t> samples = randomSamples();
    std::vector<Korvane::RGBQUAD> colours(frameSamples);
    for (auto _ : state) {
        table.applyLut(reinterpret_cast<unsigned char*>(samples.data()), frameSamples, 2,
                       colours.data());
        benchmark::DoNotOptimize(colours.data());
        benchmark::ClobberMemory();
    }
    perSample(state);
}
BENCHMARK(ApplyLut16);

void PlainTableLoop16(benchmark::State& state) {
    Korvane::LutGrey16 source;
    std::vector<Korvane::RGBQUAD> table(65536);
    for (unsigned int i = 0; i < 65536; ++i) table[i] = source.colorAtIndex(i);
    std::vector<std::uint16_t> samples = randomSamples();
    std::vector<Korvane::RGBQUAD> colours(frameSamples);
    for (auto _ : state) {
        const std::uint16_t* in = samples.data();
        Korvane::RGBQUAD* out = colours.data();
        for (unsigned int i = 0; i < frameSamples; ++i) out[i] = table[in[i]];
        benchmark::DoNotOptimize(colours.data());
        benchmark::ClobberMemory();
    }
    perSample(state);
}
BENCHMARK(PlainTableLoop16);

}  // namespace
