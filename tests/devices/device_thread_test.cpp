// Devices under threads: detectors that throw leave both managers usable with their
// locks free, detection runs while devices are attached and destroyed on other threads,
// and a camera written as the Device header shows delivers frames from its own thread
// and stops while its push is blocked.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabberManager.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "devices/DeviceTestSupport.h"
#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

// The camera of the Device header's example, delivering the snapshots of grabber 0.
class ExampleCamera : public Device {
public:
    ExampleCamera() { addBufferSlot("Output", "Image", slot_output, "Frames.", false); }
    ExampleCamera(const ExampleCamera& other) : Device(other) {}
    ~ExampleCamera() override { stop(); }
    Device* clone() const override { return new ExampleCamera(*this); }
    bool start() override {
        if (m_thread.joinable() || !initBufferSlots()) return false;
        m_stop = false;
        m_thread = std::thread([this] { run(); });
        return true;
    }
    bool stop() override {
        if (!m_thread.joinable()) return true;
        m_stop = true;
        notifyAndAbortAllBuffers();  // wakes a push blocked in a full buffer
        m_thread.join();
        releaseBufferSlots();
        return true;
    }
    bool isStarted() const override { return m_thread.joinable(); }
    std::string vendorName() const override { return "Acme"; }
    std::string modelName() const override { return "C-1"; }
    std::string serialNumber() const override { return "0001"; }
    bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
    bool format(unsigned int& w, unsigned int& h, unsigned int& q) const override {
        w = 640;
        h = 480;
        q = 129;
        return true;
    }
    unsigned long long framesDelivered() const override { return m_frames; }

private:
    void run() {
        const BufferRefPtr buffer = bufferSlot("Output");
        auto* out = dynamic_cast<BufferTemplate<ImgRefPtr>*>(buffer.rawPtr());
        while (out && !m_stop) {
            ImgRefPtr frame;
            if (!Device::snapshot(frame)) continue;  // a bounded wait on grabber 0
            if (!out->push(frame)) break;            // aborted: stop() is under way
            ++m_frames;
        }
    }

    std::thread m_thread;  // started by start(), joined by stop()
    std::atomic<bool> m_stop{false};
    std::atomic<unsigned long long> m_frames{0};
};

// Whether function returned within the generous deadline, run on a detached thread.
template <class Function>
bool returnsInTime(Function function) {
    return startDetached(std::move(function)).wait_for(kGenerousDeadline) ==
           std::future_status::ready;
}

// Both managers answer another thread, so neither lock was left held.
bool locksAreFree() {
    return returnsInTime([] {
        DeviceManager::get()->deviceDetectors();
        FrameGrabberManager::get()->instanceCount();
    });
}

// Whether device->stop() returned within the deadline. The stopping thread borrows the
// device, so that the test's own handle stays the last; should the stop hang, the device
// is kept alive for that thread (leaked).
bool stopsInTime(const DeviceRefPtr& device) {
    Device* borrowed = device.rawPtr();
    if (returnsInTime([borrowed] { borrowed->stop(); })) return true;
    new DeviceRefPtr(device);
    return false;
}

class DeviceThreads : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager->registerType("Camera", plainDevice()));
        ASSERT_TRUE(manager->registerFrameGrabber("Grabber", namedGrabber("")));
    }
    void TearDown() override { resetDeviceManagers({"Grabber"}); }

    DeviceManager* manager = DeviceManager::get();
    FrameGrabberManager* grabbers = FrameGrabberManager::get();
};

}  // namespace

TEST_F(DeviceThreads, ThrowingDeviceDetectorPropagatesAndLeavesTheManagerUsable) {
    std::string name = "Thrown";
    const FrameGrabberRefPtr grabber = grabbers->create("Grabber", name, false);
    ASSERT_TRUE(manager->registerDetector("Thrower",
                                          detectorAnswering([](FrameGrabberRefPtr) -> std::string {
                                              throw std::runtime_error("detector failed");
                                          })));
    EXPECT_THROW(manager->detectDevice(grabber), std::runtime_error);
    EXPECT_TRUE(grabber->isConnected());  // left open by the throw
    ASSERT_TRUE(locksAreFree());
    grabber->disconnect();
    EXPECT_THROW(manager->detectAllDevices("Thrower"), std::runtime_error);
    ASSERT_TRUE(locksAreFree());
    grabber->disconnect();
    ASSERT_TRUE(manager->unregisterDetector("Thrower"));
    ASSERT_TRUE(manager->registerDetector(
        "Answer", detectorAnswering([](FrameGrabberRefPtr) { return "Camera"; })));
    EXPECT_EQ(manager->detectDevice("Thrown"), "Camera");
}

TEST_F(DeviceThreads, ThrowingGrabberDetectorPropagatesThroughBothManagers) {
    auto* thrower = new ScriptedGrabberDetector([](int) { throw std::logic_error("no bus"); });
    ASSERT_TRUE(
        grabbers->registerDetector("Thrower", FrameGrabberDetectorRefPtr(thrower, nullptr)));
    EXPECT_THROW(manager->detectAll(0), std::logic_error);
    EXPECT_THROW(manager->detectGrabbers(0), std::logic_error);
    ASSERT_TRUE(locksAreFree());
    ASSERT_TRUE(grabbers->unregisterDetector("Thrower"));
}

// One thread re-detects grabbers and devices while another makes devices, connects
// the grabbers it finds and releases the devices again, and a third reads the
// assignment records. Every device withdraws its assignments when it goes.
TEST_F(DeviceThreads, DetectionRunsWhileDevicesComeAndGo) {
    auto* finder = new ScriptedGrabberDetector([this](int) {
        for (const char* grabberName : {"S0", "S1", "S2"}) {
            std::string name = grabberName;
            grabbers->create("Grabber", name, false);
        }
    });
    ASSERT_TRUE(grabbers->registerDetector("Finder", FrameGrabberDetectorRefPtr(finder, nullptr)));
    ASSERT_TRUE(manager->registerDetector(
        "Cameras", detectorAnswering([](FrameGrabberRefPtr) { return "Camera"; })));
    constexpr int rounds = 60;
    std::atomic<int> found{0};
    std::future<void> detecting = startDetached([&] {
        for (int i = 0; i < rounds; ++i) found += DeviceManager::get()->detectAll(i);
    });
    std::future<void> attaching = startDetached([&] {
        for (int i = 0; i < rounds * 3; ++i) {
            std::string name = "Device";
            DeviceRefPtr device = manager->create("Camera", name, true);
            for (const std::string& grabberName : grabbers->instanceList()) {
                manager->connectFrameGrabber(device, grabbers->instance(grabberName.c_str()));
            }
            manager->releaseInstance(name.c_str());
        }
    });
    std::future<void> reading = startDetached([&] {
        for (int i = 0; i < rounds * 3; ++i) {
            for (Device* device : grabbers->assignedDevices("S1")) EXPECT_NE(device, nullptr);
        }
    });
    for (std::future<void>* running : {&detecting, &attaching, &reading})
        ASSERT_EQ(running->wait_for(kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(found.load(), rounds * 3);
    EXPECT_EQ(finder->args.size(), static_cast<std::size_t>(rounds));
    EXPECT_TRUE(grabbers->assignedGrabbers().empty());
    EXPECT_EQ(manager->instanceCount(), 0u);
}

TEST(ExampleCamera, DeliversFramesAndStopsWhilePushIsBlocked) {
    const DeviceRefPtr camera(new ExampleCamera, nullptr);
    ASSERT_TRUE(camera->addHwComponent(0, namedGrabber("CameraGrabber")));
    const OwnerHandle consumer = makeOwner();
    ASSERT_TRUE(consumer->addBufferSlot("Input", "Image", slot_input, "Frames.", false));
    const BufferRefPtr buffer =
        BufferManager::get()->connect(camera, "Output", consumer, "Input", 2);
    ASSERT_TRUE(buffer.isValid());
    ASSERT_TRUE(consumer->initBufferSlots());
    auto* frames = dynamic_cast<BufferTemplate<ImgRefPtr>*>(consumer->bufferSlot("Input").rawPtr());
    ASSERT_NE(frames, nullptr);

    for (int run = 0; run < 2; ++run) {
        SCOPED_TRACE(run);
        const unsigned long long before = camera->framesDelivered();
        ASSERT_TRUE(camera->start());
        ImgRefPtr frame;
        ASSERT_TRUE(returnsInTime([frames, &frame] { frames->pop(frame); }));
        EXPECT_EQ(frame->width(), 2u);
        // The buffer holds two frames: the camera's next push blocks until the stop.
        ASSERT_TRUE(eventually([&] { return camera->framesDelivered() >= before + 3; }));
        ASSERT_TRUE(stopsInTime(camera));
    }
    EXPECT_TRUE(camera->stop());  // not started: nothing to do
    consumer->releaseBufferSlots();
    BufferManager::get()->disconnect(camera, "Output");
}
