#pragma once
// Components of a whole acquisition setup for the topology tests: a camera that pushes
// numbered frames from a thread of its own between start and stop, an operator that
// inverts each frame, a sink operator that saves every Nth frame through the
// StorageManager, a storage that writes real PGM files, and a display that idles. The
// frame number rides in the first four samples, so a saved file tells which frame it
// holds. registerTestTypes() enters the prototypes once per test program.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/Display.h>
#include <korvane/devices/DisplayManager.h>
#include <korvane/image/ImageManager.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/Storage.h>
#include <korvane/process/StorageManager.h>
#include <korvane/process/Topology.h>
#include <korvane/process/TopologyManager.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

namespace KorvaneTest {

constexpr unsigned int kFrameWidth = 16;
constexpr unsigned int kFrameHeight = 8;

using ImageBuffer = Korvane::BufferTemplate<Korvane::ImgRefPtr>;

inline ImageBuffer* imagesOf(const Korvane::BufferRefPtr& buffer) {
    return dynamic_cast<ImageBuffer*>(buffer.rawPtr());
}

// Sample i of frame n: the four bytes of n (little end first), then (n + i) mod 256.
inline unsigned char frameSample(std::uint32_t n, unsigned int i) {
    return i < 4 ? static_cast<unsigned char>(n >> (8 * i)) : static_cast<unsigned char>(n + i);
}

inline std::uint32_t frameNumberOf(const unsigned char* samples, bool inverted) {
    std::uint32_t n = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        const unsigned char byte = inverted ? 255 - samples[i] : samples[i];
        n |= static_cast<std::uint32_t>(byte) << (8 * i);
    }
    return n;
}

class TestCamera : public Korvane::Device {
public:
    TestCamera() { addBufferSlot("Output", "Image", Korvane::slot_output, "Frames.", false); }
    TestCamera(const TestCamera& other) : Device(other) {}
    ~TestCamera() override { stop(); }

    Korvane::Device* clone() const override { return new TestCamera(*this); }

    // Set before the topology starts; called on the thread that starts (stops) it.
    std::function<void()> onStart = [] {};
    std::function<void()> onStop = [] {};

    bool start() override {
        onStart();
        starts.fetch_add(1);
        if (m_thread.joinable() || !initBufferSlots()) return false;
        m_stop = false;
        m_next = 0;
        m_thread = std::thread([this] { run(); });
        return true;
    }
    bool stop() override {
        if (!m_thread.joinable()) return true;
        onStop();
        m_stop = true;
        notifyAndAbortAllBuffers();
        m_thread.join();
        releaseBufferSlots();
        return true;
    }
    bool isStarted() const override { return m_thread.joinable(); }
    std::string vendorName() const override { return "Korvane tests"; }
    std::string modelName() const override { return "TestCamera"; }
    std::string serialNumber() const override { return "1"; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int& w, unsigned int& h, unsigned int& q) const override {
        w = kFrameWidth;
        h = kFrameHeight;
        q = 129;
        return true;
    }
    unsigned long long framesDelivered() const override { return m_delivered.load(); }

    std::atomic<int> starts{0};

private:
    void run() {
        ImageBuffer* out = imagesOf(bufferSlot("Output"));
        while (out && !m_stop) {
            Korvane::ImgRefPtr frame =
                Korvane::ImageManager::get()->createAnonymous(129u, kFrameWidth, kFrameHeight, 1);
            unsigned char* samples = frame->rawBuffer();
            for (unsigned int i = 0; i < kFrameWidth * kFrameHeight; ++i) {
                samples[i] = frameSample(m_next, i);
            }
            if (!out->push(frame)) break;  // aborted: stop() is under way
            ++m_next;
            m_delivered.fetch_add(1);
        }
    }

    std::thread m_thread;  // started by start(), joined by stop()
    std::atomic<bool> m_stop{false};
    std::uint32_t m_next = 0;  // the next frame's number; only the camera thread uses it
    std::atomic<unsigned long long> m_delivered{0};
};

// In: frames; Out: the same frames with every sample inverted.
class InvertOperator : public Korvane::Operator {
public:
    InvertOperator() {
        addBufferSlot("In", "Image", Korvane::slot_input, "Frames.", false);
        addBufferSlot("Out", "Image", Korvane::slot_output, "Inverted frames.", false);
    }
    Korvane::Operator* createCopy() override { return new InvertOperator(*this); }
    bool init() override {
        m_in = imagesOf(bufferSlot("In"));
        m_out = imagesOf(bufferSlot("Out"));
        return m_in && m_out;
    }
    bool execute() override {
        Korvane::ImgRefPtr frame;
        if (!m_in->pop(frame)) return false;
        Korvane::ImgRefPtr inverted =
            Korvane::ImageManager::get()->createAnonymous(129u, frame->width(), frame->height(), 1);
        const unsigned char* from = frame->rawBuffer();
        unsigned char* to = inverted->rawBuffer();
        for (unsigned int i = 0; i < frame->pixelCount(); ++i) to[i] = 255 - from[i];
        return m_out->push(inverted);
    }
    bool cleanup() override {
        m_in = m_out = nullptr;
        return true;
    }
    std::string help() const override { return "Inverts 8-bit frames."; }

private:
    ImageBuffer* m_in = nullptr;  // bound while the process runs
    ImageBuffer* m_out = nullptr;
};

// In: inverted frames. Saves every Nth frame it receives as directory/frame_<n>.pgm,
// n being the camera's frame number; saves nothing until configured.
class SaveEveryNth : public Korvane::Operator {
public:
    SaveEveryNth() { addBufferSlot("In", "Image", Korvane::slot_input, "Frames.", false); }
    SaveEveryNth(const SaveEveryNth& other) : Operator(other) {}
    Korvane::Operator* createCopy() override { return new SaveEveryNth(*this); }

    // Set while the process is stopped.
    void configure(std::string directory, unsigned int every) {
        m_directory = std::move(directory);
        m_every = every;
    }

    bool init() override {
        m_in = imagesOf(bufferSlot("In"));
        return m_in != nullptr;
    }
    bool execute() override {
        Korvane::ImgRefPtr frame;
        if (!m_in->pop(frame)) return false;
        const unsigned long long seen = received.fetch_add(1);
        if (m_every == 0 || seen % m_every != 0) return true;
        const std::uint32_t n = frameNumberOf(frame->rawBuffer(), true);
        const std::string file = m_directory + "/frame_" + std::to_string(n) + ".pgm";
        if (!Korvane::StorageManager::get()->saveImage(frame, file.c_str())) return false;
        saved.fetch_add(1);
        return true;
    }
    bool cleanup() override {
        m_in = nullptr;
        return true;
    }
    std::string help() const override { return "Saves every Nth frame."; }

    std::atomic<unsigned long long> received{0};
    std::atomic<unsigned long long> saved{0};

private:
    ImageBuffer* m_in = nullptr;  // bound while the process runs
    std::string m_directory;
    unsigned int m_every = 0;
};

// No slots; every execute succeeds at once, so its process runs until stopped.
class NoopOperator : public Korvane::Operator {
public:
    Korvane::Operator* createCopy() override { return new NoopOperator(*this); }
    bool init() override { return true; }
    bool execute() override { return true; }
    bool cleanup() override { return true; }
    std::string help() const override { return "Does nothing."; }
};

// Writes 8-bit single-channel images as binary PGM; reads nothing.
class PgmStorage : public Korvane::Storage {
public:
    PgmStorage() { addSaveFormat("pgm"); }
    Korvane::Storage* createCopy() override { return new PgmStorage(*this); }
    bool save(Korvane::ImgRefPtr image, const char* fileName) override {
        if (image.isNull() || image->channelCount() != 1) return false;
        std::ofstream out(fileName, std::ios::binary);
        out << "P5\n" << image->width() << ' ' << image->height() << "\n255\n";
        image->write(out);
        return static_cast<bool>(out);
    }
    bool load(Korvane::ImgRefPtr&, const char*) override { return false; }
};

class IdleDisplay : public Korvane::Display {
public:
    IdleDisplay(unsigned int w, unsigned int h) : Display(w, h) {}
    Korvane::Display* clone(unsigned int w, unsigned int h) const override {
        return new IdleDisplay(w, h);
    }
    bool show() override { return true; }
    bool hide() override { return true; }
    bool isVisible() const override { return false; }
    bool showImage(const Korvane::ImgRefPtr&) override { return true; }
    bool setLut(const Korvane::LutRefPtr&) override { return true; }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { return true; }
    bool cleanup() override { return true; }
};

// Registers "TestCamera", "Invert", "SaveEveryNth", "Noop", "IdleDisplay" and the
// "pgm" storage; later calls do nothing.
inline void registerTestTypes() {
    static const bool registered = [] {
        Korvane::DeviceManager::get()->registerType("TestCamera",
                                                    Korvane::DeviceRefPtr(new TestCamera, nullptr));
        Korvane::OperatorManager::get()->registerType(
            "Invert", Korvane::OperatorRefPtr(new InvertOperator, nullptr));
        Korvane::OperatorManager::get()->registerType(
            "SaveEveryNth", Korvane::OperatorRefPtr(new SaveEveryNth, nullptr));
        Korvane::OperatorManager::get()->registerType(
            "Noop", Korvane::OperatorRefPtr(new NoopOperator, nullptr));
        Korvane::DisplayManager::get()->registerType(
            "IdleDisplay", Korvane::DisplayRefPtr(new IdleDisplay(4, 4), nullptr));
        Korvane::StorageManager::get()->registerType(
            "TestStorage.pgm", Korvane::StorageRefPtr(new PgmStorage, nullptr));
        return true;
    }();
    (void)registered;
}

inline TestCamera& cameraOf(const Korvane::DeviceRefPtr& device) {
    return static_cast<TestCamera&>(*device);
}

inline SaveEveryNth& sinkOf(const Korvane::OperatorRefPtr& op) {
    return static_cast<SaveEveryNth&>(*op);
}

// The whole setup: TestCamera -> Invert (level 0) -> SaveEveryNth (level 1), both
// operators in one operator process, FIFOs of four frames between them, all in one
// topology that owns everything (OwnAll). Every component is made by its manager.
class AcquisitionSetup {
public:
    AcquisitionSetup(const std::string& directory, unsigned int every) {
        registerTestTypes();
        std::string names[] = {"Setup", "Camera", "Invert", "Sink", "Process"};
        topology = Korvane::TopologyManager::get()->create("Topology", names[0], true);
        camera = Korvane::DeviceManager::get()->create("TestCamera", names[1], true);
        invert = Korvane::OperatorManager::get()->create("Invert", names[2], true);
        sink = Korvane::OperatorManager::get()->create("SaveEveryNth", names[3], true);
        process = Korvane::OperatorManager::get()->createProcess(names[4], true);
        sinkOf(sink).configure(directory, every);
        process->addOperator(invert, 0);
        process->addOperator(sink, 1);
        topology->setOwnershipHint(Korvane::Topology::OwnAll);
        topology->add(camera, Korvane::Topology::StartDevices);
        topology->add(invert);
        topology->add(sink);
        topology->add(process);
        wired = topology->connect(camera, "Output", invert, "In", 4) &&
                topology->connect(invert, "Out", sink, "In", 4);
    }
    AcquisitionSetup(const AcquisitionSetup&) = delete;
    AcquisitionSetup& operator=(const AcquisitionSetup&) = delete;
    // Releases the topology, which stops and releases everything.
    ~AcquisitionSetup() {
        Korvane::TopologyManager::get()->releaseInstance(topology->name().c_str());
    }

    // What is still running or claimed after a stop, one word per finding; empty when
    // everything is idle and free.
    std::string leftovers() const {
        using Korvane::ComponentType;
        Korvane::TopologyManager* claims = Korvane::TopologyManager::get();
        std::string found;
        if (topology->isRunning()) found += " topology-running";
        if (cameraOf(camera).isStarted()) found += " camera-started";
        if (process->status() != Korvane::ProcessInterface::Idle) found += " process-not-idle";
        if (claims->isClaimedExclusive(ComponentType::Device, camera->name())) found += " camera";
        if (claims->isClaimedExclusive(ComponentType::OperatorProcess, process->name())) {
            found += " process";
        }
        for (const Korvane::OperatorRefPtr& op : {invert, sink}) {
            if (claims->isClaimedExclusive(ComponentType::Operator, op->name()))
                found += " " + op->name();
        }
        for (const std::string& buffer : topology->bufferNames()) {
            if (claims->isClaimedExclusive(ComponentType::Buffer, buffer)) found += " " + buffer;
        }
        return found;
    }

    Korvane::TopologyRefPtr topology;
    Korvane::DeviceRefPtr camera;
    Korvane::OperatorRefPtr invert;
    Korvane::OperatorRefPtr sink;
    Korvane::OperatorProcessRefPtr process;
    bool wired = false;
};

}  // namespace KorvaneTest
