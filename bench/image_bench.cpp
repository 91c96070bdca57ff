// The frame path: the cost of an anonymous 8-bit image next to the bare allocation of
// its samples, at 640 x 480 and at 4096 x 3072 (the image's own overhead does not grow
// with its size, as its samples are never touched), next to allocating them zeroed,
// which a frame does not need; and the cost per sample of a 16-bit look-up next to a
// plain table loop. The "allocs" counter is the number of heap allocations per iteration.

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

// Both frame sizes, given as width and height.
void frameSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({frameWidth, frameHeight})->Args({4096, 3072});
}

void CreateAnonymousFrame(benchmark::State& state) {
    Korvane::ImageManager* manager = Korvane::ImageManager::get();
    const auto width = static_cast<unsigned int>(state.range(0));
    const auto height = static_cast<unsigned int>(state.range(1));
    const std::uint64_t before = allocations.load();
    for (auto _ : state) {
        Korvane::ImgRefPtr image = manager->createAnonymous(129u, width, height, 1u);
        benchmark::DoNotOptimize(image->rawBuffer());
    }
    reportAllocations(state, before);
}
BENCHMARK(CreateAnonymousFrame)->Apply(frameSizes);

void PlainNewFrameArray(benchmark::State& state) {
    const auto samples = static_cast<std::size_t>(state.range(0) * state.range(1));
    const std::uint64_t before = allocations.load();
    for (auto _ : state) {
        auto* array = new unsigned char[samples];
        benchmark::DoNotOptimize(array);
        delete[] array;
    }
    reportAllocations(state, before);
}
BENCHMARK(PlainNewFrameArray)->Apply(frameSizes);

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
