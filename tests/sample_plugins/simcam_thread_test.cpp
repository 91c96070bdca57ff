// The simulated camera, loaded from its module: grabbers and cameras found by detection
// (through the alias file), frames delivered into a real "ImageFifo" from the camera's
// thread and read back from their pixels (frame number in the counter digits, the
// moving pattern), back-pressure, dropped frames, a prompt stop, pool reuse, and the
// settings it refuses.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/config/Registry.h>
#include <korvane/config/SysEnv.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/image/Image.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../../plugins/simcam/TestPattern.h"
#include "devices/DeviceTestSupport.h"
#include "support/BufferFixture.h"
#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/SamplePlugins.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr char kSimCam[] = "KorvaneSimCam";
using Images = BufferTemplate<ImgRefPtr>;

// Sample (x, y) of a one-channel frame of 8- or 16-bit samples.
unsigned int sampleAt(const Image& image, unsigned int x, unsigned int y) {
    const std::size_t i = std::size_t(y) * image.width() + x;
    if (image.pixelSize() == 2) return reinterpret_cast<const std::uint16_t*>(image.rawBuffer())[i];
    return image.rawBuffer()[i];
}

// The frame number drawn in the corner, read dot by dot; -1 when no digit is found.
long long counterOf(const Image& image) {
    namespace F = KorvaneSample::DigitFont;
    const unsigned int white = image.pixelSize() == 2 ? 65535 : 255;
    const unsigned int scale = F::scaleFor(image.height());
    long long number = -1;
    for (unsigned int d = 0;; ++d) {
        const unsigned int left = F::digitLeft(d, scale);
        if (left + F::glyphWidth * scale > image.width()) break;
        int found = -1;
        for (unsigned int digit = 0; digit < 10 && found < 0; ++digit) {
            bool same = true;
            for (unsigned int row = 0; row < F::glyphHeight && same; ++row) {
                for (unsigned int column = 0; column < F::glyphWidth && same; ++column) {
                    const unsigned int sample = sampleAt(image, left + column * scale + scale / 2,
                                                         (F::margin + row) * scale + scale / 2);
                    same = sample == (F::dot(digit, column, row) ? white : 0u);
                }
            }
            if (same) found = static_cast<int>(digit);
        }
        if (found < 0) break;
        number = (number < 0 ? 0 : number * 10) + found;
    }
    return number;
}

// The pattern's sample at (x, y) of frame n, away from the counter: a ramp or eight grey
// bars of 32 samples with a period of 256, shifted by one step per frame.
unsigned int patternAt(bool bars, unsigned int x, unsigned int y, std::uint64_t n, bool wide) {
    const unsigned int step = bars ? (x + n) % 256 : (x + y + n) % 256;
    const unsigned int level = bars ? step / 32 * 255 / 7 : step;
    return wide ? level * 257 : level;
}

// "width x height x bytes per sample".
std::string shapeOf(const Image& image) {
    return std::to_string(image.width()) + "x" + std::to_string(image.height()) + "x" +
           std::to_string(image.pixelSize());
}

// A camera of the module wired to a FIFO that the test pops from without blocking.
struct Rig {
    explicit Rig(int fifoSize = 4, bool pushBlock = true) {
        std::string name = "Cam";
        camera = DeviceManager::get()->create("SimCamera", name, true);
        sink->addBufferSlot("In", "Image", slot_input, "Frames.", false);
        if (camera.isNull()) return;
        buffer = BufferManager::get()->connect(camera, "Output", sink, "In", fifoSize);
        if (buffer.isNull()) return;
        buffer->setProperty("PopBlock", "Off");
        buffer->setProperty("PushBlock", pushBlock ? "On" : "Off");
        buffer->endPropertyChange();
        fifo = dynamic_cast<Images*>(buffer.rawPtr());
    }
    ~Rig() {
        if (camera.isValid()) camera->stop();
        if (buffer.isValid()) BufferManager::get()->releaseInstance(buffer->name().c_str());
        if (camera.isValid()) DeviceManager::get()->releaseInstance(camera->name().c_str());
    }
    // The next frame; empty, failing the test, when none comes within the deadline.
    ImgRefPtr pop() {
        ImgRefPtr frame;
        EXPECT_TRUE(eventually([&] { return fifo->pop(frame); })) << "no frame arrived";
        return frame;
    }
    // Whether the rig is wired and the camera took the frame rate (0: as fast as it can).
    bool ready(double frameRate = 0.0) {
        return fifo && camera->setProperty("FrameRate", frameRate);
    }
    void set(const std::string& property, long long value) {
        EXPECT_TRUE(camera->setProperty(property, value)) << property;
    }

    DeviceRefPtr camera;
    RefPtr<SlotOwner> sink{new SlotOwner, nullptr};
    BufferRefPtr buffer;
    Images* fifo = nullptr;
};

class SimCam : public SamplePluginTest<kSimCam> {};

TEST_F(SimCam, DetectionMakesTheConfiguredGrabbersWithTheCameraBehindEach) {
    struct Case {
        const char* variable;
        std::size_t grabbers;
        bool warned;
    };
    const Case cases[] = {
        {"", 1, false}, {"3", 3, false}, {"0", 0, false}, {"17", 1, true}, {"two", 1, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("SIMCAM_GRABBERS=") + c.variable);
        ASSERT_TRUE(SysEnv::setVariable("SIMCAM_GRABBERS", c.variable));
        EXPECT_EQ(DeviceManager::get()->detectAll(0), static_cast<int>(c.grabbers));
        const std::map<std::string, std::string> devices = DeviceManager::get()->detectAllDevices();
        ASSERT_EQ(devices.size(), c.grabbers);
        std::set<std::string> ids;
        for (std::size_t i = 0; i < c.grabbers; ++i) {
            const std::string name = "SimGrabber" + std::to_string(i);
            EXPECT_EQ(devices.at(name), "SimCamera");
            const FrameGrabberRefPtr grabber = FrameGrabberManager::get()->instance(name.c_str());
            ASSERT_TRUE(grabber.isValid());
            EXPECT_EQ(grabber->type(), "SimGrabber");
            ids.insert(grabber->id());
        }
        EXPECT_EQ(ids.size(), c.grabbers) << "grabber ids are unique";
        std::vector<std::string> warnings;
        for (const std::string& line : recorder->messages()) {
            if (line.find("[SimGrabberDetector]") != std::string::npos) warnings.push_back(line);
        }
        const std::vector<std::string> expected{
            std::string("WARNING    : [SimGrabberDetector] SIMCAM_GRABBERS \"") + c.variable +
            "\" is not a number from 0 to 16; \"GrabberCount\" is used."};
        EXPECT_EQ(warnings, c.warned ? expected : std::vector<std::string>{});
    }
    // A Registry setting, here taken from the environment by the host, comes first.
    SysEnv::setVariable("SIMCAM_GRABBERS", "2");
    Registry::get()->parseEnvironment({"SIMCAM_GRABBERS"});
    SysEnv::setVariable("SIMCAM_GRABBERS", "5");
    EXPECT_EQ(DeviceManager::get()->detectAll(0), 2);
    SysEnv::setVariable("SIMCAM_GRABBERS", "");
}

TEST_F(SimCam, TheCameraDetectorAnswersOnlyBehindItsOwnGrabbers) {
    // A grabber of another type: the camera's detector passes it over.
    ASSERT_TRUE(DeviceManager::get()->registerFrameGrabber("OtherGrabber", namedGrabber("")));
    std::string name = "Other0";
    const FrameGrabberRefPtr other = FrameGrabberManager::get()->create("OtherGrabber", name, true);
    name = "Sim0";
    const FrameGrabberRefPtr own = FrameGrabberManager::get()->create("SimGrabber", name, true);
    EXPECT_EQ(DeviceManager::get()->detectDevice(own, "SimCameraDetector"), "SimCamera");
    EXPECT_EQ(DeviceManager::get()->detectDevice(other, "SimCameraDetector"), "");
    EXPECT_EQ(DeviceManager::get()->aliases().at("SimCam-1"), "SimCamera");
    name = "ByModel";
    const DeviceRefPtr camera = DeviceManager::get()->create("SimCam-1", name, true);
    ASSERT_TRUE(camera.isValid());
    EXPECT_EQ(camera->type(), "SimCamera");
    DeviceManager::get()->releaseInstance(name.c_str());
    FrameGrabberManager::get()->releaseInstance("Other0");
    FrameGrabberManager::get()->releaseInstance("Sim0");
    DeviceManager::get()->unregisterFrameGrabber("OtherGrabber");
}

TEST_F(SimCam, GrabberOpensGrabsAndSnapsTheDefaultFormat) {
    std::string name = "Sim1";
    const FrameGrabberRefPtr grabber = FrameGrabberManager::get()->create("SimGrabber", name, true);
    ASSERT_TRUE(grabber.isValid());
    EXPECT_FALSE(grabber->isConnected());
    EXPECT_FALSE(grabber->grabStart()) << "closed";
    ASSERT_TRUE(grabber->connect());
    EXPECT_TRUE(grabber->grabStart());
    EXPECT_TRUE(grabber->isGrabbing());
    grabber->disconnect();
    EXPECT_FALSE(grabber->isGrabbing());
    EXPECT_FALSE(grabber->isConnected());
    for (std::uint64_t n = 0; n < 2; ++n) {
        ImgRefPtr image;
        ASSERT_TRUE(grabber->snapshot(image));
        EXPECT_EQ(shapeOf(*image), "640x480x1");
        EXPECT_EQ(counterOf(*image), static_cast<long long>(n));
    }
    EXPECT_TRUE(grabber->setFormat(32, 16, 257));
    EXPECT_FALSE(grabber->setFormat(32, 16, 514));
    ImgRefPtr image;
    ASSERT_TRUE(grabber->snapshot(image));
    EXPECT_EQ(shapeOf(*image), "32x16x2");
    FrameGrabberManager::get()->releaseInstance("Sim1");
}

TEST_F(SimCam, DeliversNumberedMovingFramesOfTheSetFormatUntilFrameCount) {
    struct Case {
        long long width, height;
        const char* sampleType;
        const char* pattern;
    };
    const Case cases[] = {{96, 40, "uint8", "Gradient"},
                          {97, 33, "uint16", "Gradient"},
                          {640, 480, "uint8", "Gradient"},
                          {300, 20, "uint16", "Bars"}};
    constexpr long long kFrames = 12;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.sampleType) + " " + c.pattern + " " + std::to_string(c.width));
        Rig rig(32);
        ASSERT_TRUE(rig.ready());
        rig.set("Width", c.width);
        rig.set("Height", c.height);
        EXPECT_TRUE(rig.camera->setProperty("SampleType", c.sampleType));
        EXPECT_TRUE(rig.camera->setProperty("Pattern", c.pattern));
        rig.set("FrameCount", kFrames);
        ASSERT_TRUE(rig.camera->endPropertyChange());
        ASSERT_TRUE(rig.camera->start());
        const bool wide = std::string(c.sampleType) == "uint16";
        for (long long n = 0; n < kFrames; ++n) {
            const ImgRefPtr frame = rig.pop();
            ASSERT_TRUE(frame.isValid());
            EXPECT_EQ(shapeOf(*frame), std::to_string(c.width) + "x" + std::to_string(c.height) +
                                           (wide ? "x2" : "x1"));
            EXPECT_EQ(counterOf(*frame), n);
            EXPECT_EQ(textOf(*frame, "Metadata"), "Frame=" + std::to_string(n));
            const bool bars = std::string(c.pattern) == "Bars";
            for (unsigned int x : {frame->width() - 1, frame->width() - 40}) {
                const unsigned int y = frame->height() - 1;
                EXPECT_EQ(sampleAt(*frame, x, y), patternAt(bars, x, y, n, wide)) << x;
            }
        }
        ASSERT_TRUE(eventually([&] { return rig.camera->framesDelivered() >= 12; }));
        EXPECT_EQ(rig.fifo->size(), 0) << "nothing after FrameCount frames";
        EXPECT_TRUE(rig.camera->stop());
    }
}

TEST_F(SimCam, StopReturnsWhileThePushWaitsForAFullFifoAndARestartCountsFromZero) {
    auto rig = std::make_unique<Rig>(2);
    ASSERT_TRUE(rig->ready());
    ASSERT_TRUE(rig->camera->start());
    ASSERT_TRUE(eventually([&] { return rig->fifo->size() == 2; }));
    Rig* shared = rig.get();
    std::future<void> stopped = startDetached([shared] { shared->camera->stop(); });
    if (stopped.wait_for(kGenerousDeadline) != std::future_status::ready) {
        rig.release();  // its stop is still blocked: leave it rather than hang here
        FAIL() << "stop() did not return";
    }
    EXPECT_FALSE(rig->camera->isStarted());
    long long dropped = -1;
    EXPECT_TRUE(rig->camera->getProperty("FramesDropped", &dropped));
    EXPECT_EQ(dropped, 0) << "a blocking FIFO holds the camera back instead";
    ASSERT_TRUE(rig->camera->start());
    EXPECT_EQ(counterOf(*rig->pop()), 0);
}

TEST_F(SimCam, ANonBlockingFifoDropsFramesAndTheNumbersShowTheGap) {
    Rig rig(2, false);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.camera->start());
    long long dropped = 0;
    ASSERT_TRUE(eventually(
        [&] { return rig.camera->getProperty("FramesDropped", &dropped) && dropped > 0; }));
    EXPECT_EQ(counterOf(*rig.pop()), 0);
    EXPECT_EQ(counterOf(*rig.pop()), 1);
    EXPECT_GT(counterOf(*rig.pop()), 2);
}

TEST_F(SimCam, FramesComeBackFromThePoolOnceReleased) {
    Rig rig(4);
    ASSERT_TRUE(rig.ready());
    rig.set("Width", 64);
    rig.set("Height", 8);
    rig.set("FrameCount", 300);
    ASSERT_TRUE(rig.camera->start());
    std::set<const Image*> seen;
    for (long long n = 0; n < 300; ++n) {
        const ImgRefPtr frame = rig.pop();
        ASSERT_TRUE(frame.isValid());
        EXPECT_EQ(counterOf(*frame), n);
        seen.insert(frame.rawPtr());
    }
    // The FIFO's four, the one being drawn and the one the test holds, at most.
    EXPECT_LE(seen.size(), 8u);
}

TEST_F(SimCam, PacesFramesByTheFrameRate) {
    Rig rig(16);
    ASSERT_TRUE(rig.ready(100.0));
    rig.set("FrameCount", 11);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(rig.camera->start());
    for (int n = 0; n < 11; ++n) ASSERT_TRUE(rig.pop().isValid());
    // Frame 10 is due 100 ms after the start: a loose lower bound.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(90));
}

TEST_F(SimCam, RefusesSettingsOutOfRangeAndKeepsTheLastAcceptedOnes) {
    Rig rig;
    ASSERT_NE(rig.fifo, nullptr);
    struct Case {
        const char* property;
        double value;
        const char* shown;
        const char* range;
    };
    const Case cases[] = {{"Width", 0, "0", "1 to 16384"},
                          {"Width", 16385, "16385", "1 to 16384"},
                          {"Height", -1, "-1", "1 to 16384"},
                          {"FrameRate", -1, "-1.000000", "0 to 100000"},
                          {"FrameRate", 100001, "100001.000000", "0 to 100000"},
                          {"FrameCount", -5, "-5", "0 and above"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.property) + " " + c.shown);
        const std::string property = c.property;
        ASSERT_TRUE(property == "FrameRate"
                        ? rig.camera->setProperty(property, c.value)
                        : rig.camera->setProperty(property, static_cast<long long>(c.value)));
        const std::string problem =
            "\"" + property + "\" " + c.shown + " is out of its range " + c.range;
        EXPECT_FALSE(rig.camera->start()) << "a write without endPropertyChange";
        EXPECT_FALSE(rig.camera->endPropertyChange());
        EXPECT_EQ(recorder->messages(),
                  (std::vector<std::string>{
                      "ERROR      : [SimCamera] [Cam] cannot start: " + problem + ".",
                      "ERROR      : [SimCamera] [Cam] " + problem +
                          "; the settings stay as they were."}));
        unsigned int width = 0, height = 0, quantumId = 0;
        ASSERT_TRUE(rig.camera->format(width, height, quantumId));
        EXPECT_EQ(width * 1000000 + height * 1000 + quantumId, 640u * 1000000 + 480000 + 129);
    }
    EXPECT_FALSE(rig.camera->setProperty("SampleType", "uint32"));
    EXPECT_FALSE(rig.camera->setProperty("Pattern", "Plaid"));
    EXPECT_FALSE(rig.camera->setFormat(0, 10, 129));
    EXPECT_FALSE(rig.camera->setFormat(10, 10, 514));
    EXPECT_TRUE(rig.camera->setFormat(32, 16, 257));
    std::string sampleType;
    rig.camera->getProperty("SampleType", &sampleType);
    EXPECT_EQ(sampleType, "uint16");
    ASSERT_TRUE(rig.camera->start());
    EXPECT_FALSE(rig.camera->setFormat(64, 16, 257)) << "started";
    EXPECT_FALSE(rig.camera->start()) << "already started";
}

TEST_F(SimCam, EachCameraNamesItselfWithASerialNumberOfItsOwn) {
    Rig first, second;
    ASSERT_TRUE(first.camera.isValid() && second.camera.isValid());
    EXPECT_EQ(first.camera->vendorName(), "Korvane");
    EXPECT_EQ(first.camera->modelName(), "SimCam-1");
    EXPECT_NE(first.camera->serialNumber(), second.camera->serialNumber());
}

}  // namespace
