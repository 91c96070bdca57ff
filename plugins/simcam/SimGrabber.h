#pragma once
// SimGrabber is a simulated frame grabber, and SimGrabberDetector the detector that
// "finds" a configurable number of them. Each detection enters the grabbers
// "SimGrabber0", "SimGrabber1", ... of type "SimGrabber" with the FrameGrabberManager;
// SimCameraDetector then recognises the simulated camera behind each one.
//
// The number of grabbers: the detector's "GrabberCount" (0 to 16, default 1), unless the
// variable "SIMCAM_GRABBERS" is set, which then gives the number instead: looked up at
// every detection in the Registry (where a host's parseEnvironment or configuration file
// puts it) and, when the Registry has no such setting, in the process environment, so
// that `SIMCAM_GRABBERS=4 korvane detect` works without help from the host. The
// variable wins because the managers hand out no detector objects: for most hosts it is
// the only setting they can reach. A value that is not a whole number from 0 to 16 is
// ignored with a warning.
// Threads: the managers call the detector and the grabbers on the thread of the host's
// detection call, under their locks; the grabber guards its own state, so a device may
// also use it from its acquisition thread.

#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/FrameGrabberDetector.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>

namespace KorvaneSample {

class SimGrabber : public Korvane::FrameGrabber {
public:
    SimGrabber();
    // A copy is closed and gets an "Id" of its own ("SIM-0", "SIM-1", ...).
    SimGrabber(const SimGrabber& other);

    std::string vendorName() const override { return "Korvane"; }
    std::string modelName() const override { return "SimGrabber"; }
    Korvane::FrameGrabber* clone() const override { return new SimGrabber(*this); }
    std::string interfaceName() const override { return "Simulated"; }
    bool connect() override;
    // Also ends grabbing.
    void disconnect() override;
    bool isConnected() const override { return m_open; }
    // 129 (uint8) or 257 (uint16), each side 1 to 16384; the default is 640 x 480 uint8.
    bool setFormat(unsigned int width, unsigned int height, unsigned int quantumId) override;
    bool format(unsigned int& width, unsigned int& height, unsigned int& quantumId) const override;
    // 0 (free running) to 100000 frames per second; only reported back.
    bool setFrameRate(double framesPerSecond) override;
    double frameRate() const override;
    // One test frame of the current format, open or not; the pattern moves by one step
    // per snapshot.
    bool snapshot(Korvane::ImgRefPtr& image) override;
    // True while connected: a frame is always ready.
    bool grabSnapshot() override { return m_open; }
    // Grabbing needs a connected grabber; grabStop answers true.
    bool grabStart() override;
    bool grabStop() override;
    bool isGrabbing() const override { return m_grabbing; }

private:
    mutable std::mutex m_lock;  // guards the format and the frame rate
    unsigned int m_width = 640;
    unsigned int m_height = 480;
    unsigned int m_quantumId = 129;
    double m_frameRate = 30.0;
    std::atomic<bool> m_open{false};
    std::atomic<bool> m_grabbing{false};
    std::atomic<std::uint64_t> m_snapshots{0};
};

class SimGrabberDetector : public Korvane::FrameGrabberDetector {
public:
    SimGrabberDetector();
    // Creates the grabbers (see above) and reports them in found and in the list.
    std::list<Korvane::FrameGrabberRefPtr> detect(
        int arg, std::map<std::string, Korvane::FrameGrabberRefPtr>& found) override;
    // The number the next detection makes.
    int grabberCount() const;
};

}  // namespace KorvaneSample
