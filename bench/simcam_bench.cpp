// The simulated camera's cost per 640x480 frame, so that it stays far from being the
// bottleneck of a pipeline at 1000 frames per second (1 ms per frame):
//
//   SimCam_Draw/<type>   TestPattern::draw alone (pattern and counter) into one frame
//   SimCam_Deliver/<type> the camera from its module, FrameRate 0, delivering `frames`
//                        frames into a blocking "ImageFifo" of 64 that this thread pops
//                        and releases at once; "cpu_ns" is the processor time of both
//                        threads per frame
//
// <type> is 0 for uint8, 1 for uint16 samples.

#include <benchmark/benchmark.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/config/Registry.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/image/ImageManager.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/BufferSlotInterface.h>

#include <cstdint>
#include <ctime>
#include <string>

#include "../plugins/simcam/TestPattern.h"

namespace {

using namespace Korvane;

constexpr unsigned int frameWidth = 640;
constexpr unsigned int frameHeight = 480;
constexpr long long frames = 5000;

unsigned int quantumIdOf(const benchmark::State& state) {
    return state.range(0) ? 257 : 129;
}

void SimCam_Draw(benchmark::State& state) {
    const unsigned int quantumId = quantumIdOf(state);
    const KorvaneSample::TestPattern pattern(KorvaneSample::TestPattern::Gradient, quantumId,
                                             frameWidth, frameHeight);
    ImgRefPtr frame = ImageManager::get()->createAnonymous(quantumId, frameWidth, frameHeight, 1);
    std::uint64_t n = 0;
    for (auto _ : state) {
        pattern.draw(*frame, n++);
        benchmark::DoNotOptimize(frame->rawBuffer());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * frame->sizeInBytes());
}
BENCHMARK(SimCam_Draw)->Arg(0)->Arg(1);

// The other end of the camera's FIFO.
class Sink : public BufferSlotInterface {
public:
    Sink() : BufferSlotInterface("BenchSink") {
        addBufferSlot("In", "Image", slot_input, "Frames.", false);
    }
};

void SimCam_Deliver(benchmark::State& state) {
    static const bool loaded = [] {
        Registry::get()->setProperty("PLUGIN_PATH", std::string(KORVANE_BENCH_PLUGIN_DIR));
        PluginLoader::get()->loadAll();
        return PluginLoader::get()->isLoaded("KorvaneSimCam");
    }();
    if (!loaded) {
        state.SkipWithError("the module KorvaneSimCam did not load");
        return;
    }
    std::string name = "BenchCam";
    DeviceRefPtr camera = DeviceManager::get()->create("SimCamera", name, true);
    RefPtr<Sink> sink(new Sink, nullptr);
    BufferRefPtr buffer = BufferManager::get()->connect(camera, "Output", sink, "In", 64);
    auto* fifo = dynamic_cast<BufferTemplate<ImgRefPtr>*>(buffer.rawPtr());
    camera->setProperty("SampleType", state.range(0) ? "uint16" : "uint8");
    camera->setProperty("FrameRate", 0.0);
    camera->setProperty("FrameCount", frames);
    const std::clock_t before = std::clock();
    for (auto _ : state) {
        camera->start();
        ImgRefPtr frame;
        for (long long i = 0; i < frames && fifo->pop(frame); ++i) frame = ImgRefPtr();
        camera->stop();
    }
    const double items = static_cast<double>(state.iterations() * frames);
    const double seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    state.SetItemsProcessed(static_cast<std::int64_t>(items));
    state.counters["cpu_ns"] = seconds * 1e9 / items;
    BufferManager::get()->releaseInstance(buffer->name().c_str());
    DeviceManager::get()->releaseInstance(camera->name().c_str());
}
BENCHMARK(SimCam_Deliver)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
