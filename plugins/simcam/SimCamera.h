#pragma once
// SimCamera is a simulated camera: a Device that delivers test frames (TestPattern: a
// moving pattern with the frame number drawn in the top-left corner) into the buffer
// bound to its slot "Output", from a thread of its own between start() and stop().
// SimCameraDetector recognises it behind a SimGrabber by the model name "SimCam-1",
// which the alias file data/Cameras/Alias.txt maps to the device type "SimCamera".
// This is the sample a camera vendor copies; a real camera would fill the frame from
// its grabber where this one draws.
//
// Settings (properties, read at start()): "Width", "Height", "SampleType", "FrameRate",
// "Pattern", "FrameCount"; "FramesDropped" is read-only. Decisions:
// - A batch of writes is checked by activatePropertyChange (endPropertyChange): a value
//   out of its range refuses the whole batch, logs an error and puts back the settings
//   accepted last. start() checks again (writes without endPropertyChange) and refuses
//   to start on a bad value. Changes while started are accepted and take effect at the
//   next start; setFormat, which answers at once, refuses while started.
// - Frames come from an ImagePool made at start() for the run, with room for the
//   output buffer's MaxSize plus 4 frames; a frame comes back once every consumer has
//   let go, so a steady run allocates nothing per frame.
// - Pacing by the steady clock: frame n is due at start + n / FrameRate (no drift; a
//   run behind its schedule delivers at once until it is on time again). FrameRate 0
//   delivers as fast as the consumer takes the frames.
// - A real camera does not wait for a slow consumer. When the output buffer's
//   "PushBlock" (read at start) is "Off", a frame that finds no free pool frame or
//   whose push fails is dropped and counted in "FramesDropped" (reset by each start);
//   its frame number is used up, so consumers see the gap. When "PushBlock" is "On"
//   the thread waits for room (back-pressure) and never drops.
// - After "FrameCount" frame numbers (0: no limit; dropped frames count too) the
//   thread ends by itself; the camera counts as started until stop().
// - Each frame's "Metadata" property is set to "Frame=<n>".
// Threads: start and stop are serialised (the topology or host thread); the property,
// identification and format operations may be called from any thread.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceDetector.h>
#include <korvane/image/ImagePool.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "TestPattern.h"

namespace KorvaneSample {

class SimCamera : public Korvane::Device {
public:
    SimCamera();
    // A copy takes the settings, gets a serial number of its own and starts stopped.
    SimCamera(const SimCamera& other);
    // Stops a running acquisition first.
    ~SimCamera() override;

    bool activatePropertyChange() override;
    Korvane::Device* clone() const override { return new SimCamera(*this); }
    // Checks the settings, binds the output slot and starts the acquisition thread;
    // false (nothing started, the reason logged) on a bad setting or an unbound slot,
    // and while already started.
    bool start() override;
    // Wakes and ends the thread (a push blocked in a full buffer is aborted), unbinds
    // the slot; returns within the time one frame takes to draw.
    bool stop() override;
    bool isStarted() const override { return m_started; }
    // One frame of the current settings drawn on the caller's thread, numbered by a
    // counter of its own; no grabber is needed.
    bool snapshot(Korvane::ImgRefPtr& image) override;

    std::string vendorName() const override { return "Korvane"; }
    std::string modelName() const override { return "SimCam-1"; }
    std::string serialNumber() const override { return m_serialNumber; }
    // Width, height and quantum id (129 uint8, 257 uint16) through the properties.
    bool setFormat(unsigned int width, unsigned int height, unsigned int quantumId) override;
    bool format(unsigned int& width, unsigned int& height, unsigned int& quantumId) const override;
    unsigned long long framesDelivered() const override { return m_delivered; }
    // Frames dropped since the last start; the same as "FramesDropped".
    unsigned long long framesDropped() const { return m_dropped; }

private:
    using Clock = std::chrono::steady_clock;

    struct Settings {
        unsigned int width = 640;
        unsigned int height = 480;
        unsigned int quantumId = 129;
        double frameRate = 30.0;
        TestPattern::Kind pattern = TestPattern::Gradient;
        long long frameCount = 0;
    };

    void declareProperties();
    // The settings the properties hold now; false with the first bad value described.
    bool readSettings(Settings& settings, std::string& problem) const;
    void writeSettings(const Settings& settings);

    void run(const Settings& settings, Korvane::BufferTemplate<Korvane::ImgRefPtr>& out,
             bool blocking);
    // A free frame of the pool; waits for one when blocking. Empty when stopping, when
    // none is free (not blocking) or when no frame can be made (logged).
    Korvane::ImgRefPtr frameFrom(Korvane::ImagePool& pool, bool blocking);
    // Waits until deadline; false when stop() ended the wait.
    bool waitUntil(Clock::time_point deadline);
    bool stopping() const { return m_stopping; }
    void countDrop();

    const std::string m_serialNumber;

    mutable std::mutex m_settingsLock;  // guards m_accepted
    Settings m_accepted;                // the settings a batch falls back to

    std::mutex m_control;  // serialises start and stop; guards m_thread
    std::thread m_thread;  // the acquisition thread, from start() to stop()
    std::atomic<bool> m_started{false};

    std::mutex m_wakeLock;  // guards the waits on m_wake for m_stopping
    std::condition_variable m_wake;
    std::atomic<bool> m_stopping{false};

    std::atomic<unsigned long long> m_delivered{0};
    std::atomic<unsigned long long> m_dropped{0};
    std::atomic<std::uint64_t> m_snapshots{0};
};

// Answers the model name "SimCam-1" behind a grabber of type "SimGrabber", an empty text
// behind any other. The model name, not the device type, is what a camera reports; the
// alias file turns it into the type.
class SimCameraDetector : public Korvane::DeviceDetector {
public:
    SimCameraDetector() : DeviceDetector(Korvane::Version(1, 0, 0)) {}
    std::string detect(Korvane::FrameGrabberRefPtr grabber) override;
};

}  // namespace KorvaneSample
