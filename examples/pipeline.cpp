// A first pipeline: a source process draws synthetic 640x480 8-bit frames (a moving
// test pattern) into an "ImageFifo" that BufferManager::connect makes between its
// output slot and a consumer's input slot; the consumer maps each frame through the
// "Grey8Bit" look-up table and keeps statistics. The run logs through "SystemLog"
// into logfile.txt under the output directory and writes the last frame as a PGM.

#include <korvane/Korvane.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Korvane;

namespace {

constexpr unsigned int kWidth = 640;
constexpr unsigned int kHeight = 480;
constexpr unsigned int kUint8 = 129;  // quantum id of unsigned 8-bit samples

unsigned char* samplesOf(const ImgRefPtr& image) {
    ChannelRefPtr channel = image->channel(0);
    return static_cast<ChannelTemplate<unsigned char>*>(channel.rawPtr())->data();
}

// Draws a diagonal ramp that drifts with the frame number and a bright square that
// travels across the frame, so that consecutive frames differ everywhere.
class PatternSource : public ProcessInterface {
public:
    PatternSource() : ProcessInterface("PatternSource") {
        addBufferSlot("Output", "Image", slot_output, "Synthetic frames.", false);
    }

protected:
    bool init() override {
        m_output = dynamic_cast<BufferTemplate<ImgRefPtr>*>(bufferSlot("Output").rawPtr());
        return m_output != nullptr;
    }

    bool sequence(unsigned long long frame) override {
        ImgRefPtr image = ImageManager::get()->createAnonymous(kUint8, kWidth, kHeight, 1);
        if (image.isNull()) return false;
        draw(samplesOf(image), frame);
        return m_output->push(image);
    }

    bool cleanup() override {
        m_output = nullptr;
        return true;
    }

private:
    static void draw(unsigned char* samples, unsigned long long frame) {
        const unsigned int shift = static_cast<unsigned int>(frame * 4);
        const unsigned int squareX = static_cast<unsigned int>(frame * 8) % (kWidth - 64);
        for (unsigned int y = 0; y < kHeight; ++y) {
            unsigned char* row = samples + static_cast<size_t>(y) * kWidth;
            for (unsigned int x = 0; x < kWidth; ++x) {
                const bool inSquare = x >= squareX && x < squareX + 64 && y >= 208 && y < 272;
                row[x] = inSquare ? 255 : static_cast<unsigned char>((x + y + shift) / 5);
            }
        }
    }

    BufferTemplate<ImgRefPtr>* m_output = nullptr;  // the bound buffer, while running
};

// Maps every frame through the grey table and keeps the mean brightness, the frame
// count and the last mapped frame.
class GreyConsumer : public ProcessInterface {
public:
    GreyConsumer() : ProcessInterface("GreyConsumer") {
        addBufferSlot("Input", "Image", slot_input, "Frames to map.", false);
    }

    unsigned long long frames() const { return m_frames; }
    double meanBrightness() const { return m_frames ? m_brightnessSum / m_frames : 0.0; }
    // The red byte of each mapped colour of the last frame (the table is grey).
    const std::vector<unsigned char>& lastFrame() const { return m_lastFrame; }

protected:
    bool init() override {
        std::string name = "PipelineGrey";
        m_lut = LutManager::get()->create("Grey8Bit", name, true);
        m_input = dynamic_cast<BufferTemplate<ImgRefPtr>*>(bufferSlot("Input").rawPtr());
        m_colours.resize(static_cast<size_t>(kWidth) * kHeight);
        m_lastFrame.resize(m_colours.size());
        return m_lut.isValid() && m_input != nullptr;
    }

    bool sequence(unsigned long long) override {
        ImgRefPtr image;
        if (!m_input->pop(image) || image.isNull()) return false;
        m_lut->applyLut(samplesOf(image), kWidth * kHeight, 1, m_colours.data());
        unsigned long long sum = 0;
        for (size_t i = 0; i < m_colours.size(); ++i) {
            m_lastFrame[i] = m_colours[i].red;
            sum += m_colours[i].red;
        }
        m_brightnessSum += static_cast<double>(sum) / static_cast<double>(m_colours.size());
        ++m_frames;
        return true;
    }

    bool cleanup() override {
        LutManager::get()->releaseInstance(m_lut.isValid() ? m_lut->name().c_str() : "");
        m_lut = LutRefPtr();
        m_input = nullptr;
        return true;
    }

private:
    LutRefPtr m_lut;
    BufferTemplate<ImgRefPtr>* m_input = nullptr;  // the bound buffer, while running
    std::vector<RGBQUAD> m_colours;
    std::vector<unsigned char> m_lastFrame;
    std::atomic<unsigned long long> m_frames{0};
    double m_brightnessSum = 0.0;  // written by the process thread only
};

struct Options {
    long long frames = 1000;
    std::string outputDir = "pipeline-output";
};

[[noreturn]] void usage(const char* program, const std::string& problem) {
    std::cerr << program << ": " << problem << "\n"
              << "usage: " << program << " [--frames N] [--out DIR]\n"
              << "  --frames N  number of frames to run, 1 to 1000000 (default 1000)\n"
              << "  --out DIR   directory for logfile.txt and last_frame.pgm\n"
              << "              (default: pipeline-output)\n";
    std::exit(2);
}

Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") usage(argv[0], "help");
        if (i + 1 >= argc) usage(argv[0], "missing value after " + argument);
        const std::string value = argv[++i];
        if (argument == "--frames") {
            char* end = nullptr;
            options.frames = std::strtoll(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || options.frames < 1 || options.frames > 1000000) {
                usage(argv[0], "--frames needs a whole number from 1 to 1000000, not \"" +
                                   value + "\"");
            }
        } else if (argument == "--out") {
            if (value.empty()) usage(argv[0], "--out needs a directory");
            options.outputDir = value;
        } else {
            usage(argv[0], "unknown option " + argument);
        }
    }
    return options;
}

bool writePgm(const std::string& path, const std::vector<unsigned char>& samples) {
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << kWidth << " " << kHeight << "\n255\n";
    file.write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size()));
    return static_cast<bool>(file);
}

bool finished(const ProcessInterface& process) {
    return process.status() == ProcessInterface::Stopping ||
           process.status() == ProcessInterface::Idle;
}

// Shows the frame count until the consumer is done, on one refreshed line on a
// terminal and every tenth of the run otherwise; gives up after 10 s without progress.
void watchProgress(const GreyConsumer& consumer, long long total) {
    const bool terminal = isatty(fileno(stdout));
    unsigned long long shown = 0;
    auto lastProgress = std::chrono::steady_clock::now();
    while (!finished(consumer)) {
        const unsigned long long frames = consumer.frames();
        if (frames != shown) lastProgress = std::chrono::steady_clock::now();
        if (terminal) {
            std::printf("\rframes: %llu / %lld", frames, total);
        } else if (frames / std::max(1LL, total / 10) != shown / std::max(1LL, total / 10)) {
            std::printf("frames: %llu / %lld\n", frames, total);
        }
        std::fflush(stdout);
        shown = frames;
        if (std::chrono::steady_clock::now() - lastProgress > std::chrono::seconds(10)) {
            std::fprintf(stderr, "\nno frame arrived for 10 s; stopping\n");
            return;
        }
        Thread::sleep(100);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    std::error_code error;
    std::filesystem::create_directories(options.outputDir, error);
    const std::string outputDir = std::filesystem::absolute(options.outputDir).string() + "/";
    if (error) usage(argv[0], "cannot create " + options.outputDir + ": " + error.message());
    Registry::get()->setProperty("LOG_PATH", outputDir);

    RefPtr<PatternSource> source(new PatternSource, nullptr);
    RefPtr<GreyConsumer> consumer(new GreyConsumer, nullptr);
    // The consumer counts the frames. The source runs until it is stopped: a producer
    // that ends by itself flushes its buffer, which would drop the frames still queued.
    consumer->setProperty("MaxIterations", options.frames);

    BufferRefPtr fifo = BufferManager::get()->connect(BufferSlotPtrWrapper(source), "Output",
                                                      BufferSlotPtrWrapper(consumer), "Input",
                                                      BufferFifo, 8);
    if (fifo.isNull()) {
        std::cerr << "could not connect the source to the consumer\n";
        return 1;
    }
    korvLogInfo(LogString("[Pipeline] Running %1 frames through \"%2\".")
                    .arg(options.frames)
                    .arg(fifo->name())
                    .get());

    const auto start = std::chrono::steady_clock::now();
    consumer->startProcess();
    source->startProcess();
    watchProgress(*consumer, options.frames);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    source->stopProcess();
    consumer->stopProcess();
    BufferManager::get()->disconnect(BufferSlotPtrWrapper(consumer), "Input");

    const unsigned long long frames = consumer->frames();
    const double fps = seconds > 0 ? static_cast<double>(frames) / seconds : 0.0;
    std::printf("%sframes: %llu / %lld\n", isatty(fileno(stdout)) ? "\r" : "", frames,
                options.frames);
    korvLogInfo(LogString("[Pipeline] %1 frames in %2 s: %3 frames per second, mean brightness %4.")
                    .arg(frames)
                    .arg(seconds)
                    .arg(fps)
                    .arg(consumer->meanBrightness())
                    .get());

    const std::string pgm = outputDir + "last_frame.pgm";
    const bool written = frames > 0 && writePgm(pgm, consumer->lastFrame());
    LogManager::get()->cleanUp();  // stops "SystemLog", so logfile.txt is complete

    std::printf("%llu frames in %.2f s: %.1f frames per second, mean brightness %.1f\n", frames,
                seconds, fps, consumer->meanBrightness());
    std::printf("last frame: %s\n", written ? pgm.c_str() : "(none written)");
    std::printf("log file:   %slogfile.txt\n", outputDir.c_str());
    return frames == static_cast<unsigned long long>(options.frames) && written ? 0 : 1;
}
