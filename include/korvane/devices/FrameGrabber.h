#pragma once
// FrameGrabber is the hardware component through which a device's images arrive: a
// camera interface (GigE, USB, a capture card). Plug-ins derive it; the
// FrameGrabberManager holds one instance per grabber found by detection (cloned from
// the prototype registered through DeviceManager::registerFrameGrabber), and devices
// hold the grabbers attached to them. A grabber is closed when made; the device manager
// opens it with connect() to ask the device detectors what is behind it and closes it
// again with disconnect(). While it is open it counts as in use and is skipped by
// detection.
//
// Threads: the core calls clone, connect, disconnect, isConnected, isGrabbing and
// grabStop on the thread of the host call that triggered them (creation or detection),
// holding the frame-grabber manager's lock or the device manager's: do not call into
// either manager from another thread and wait for it, or both threads stop. snapshot is
// called by Device::snapshot on the host's thread. A device plug-in may call every
// operation from its own acquisition thread; the grabber guards its own state.
// Decisions: the value given to the constructor is only reported by isGenICompliant();
// the operations the core never calls (format, frame rate, GPIO, raw I/O, named values)
// belong to the device plug-ins that drive the grabber.
//
// A minimal grabber:
//
//     class AcmeGrabber : public Korvane::FrameGrabber {
//     public:
//         AcmeGrabber() : FrameGrabber(false) {}
//         std::string vendorName() const override { return "Acme"; }
//         std::string modelName() const override { return "FG-1"; }
//         Korvane::FrameGrabber* clone() const override { return new AcmeGrabber(*this); }
//         std::string interfaceName() const override { return "USB3"; }
//         bool connect() override { m_open = true; return true; }
//         void disconnect() override { m_open = false; }
//         bool isConnected() const override { return m_open; }
//         bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
//         bool format(unsigned int& w, unsigned int& h, unsigned int& q) const override {
//             w = 640; h = 480; q = 129; return true;
//         }
//         bool setFrameRate(double) override { return false; }
//         double frameRate() const override { return 30.0; }
//         bool snapshot(Korvane::ImgRefPtr& image) override {
//             image = Korvane::ImageManager::get()->createAnonymous(129u, 640, 480, 1);
//             return image.isValid();
//         }
//     private:
//         std::atomic<bool> m_open{false};
//     };
//
// (A grabber that holds std::atomic members writes its copy constructor out.)

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/devices/HwComponent.h>
#include <korvane/image/Image.h>

#include <string>

namespace Korvane {

class KORVANE_API FrameGrabber : public HwComponent {
public:
    explicit FrameGrabber(bool genICompliant);
    FrameGrabber(const FrameGrabber& other) = default;
    ~FrameGrabber() override;

    bool isGenICompliant() const { return m_genICompliant; }

    HwComponentType componentType() const final;

    // A new heap copy of this prototype, closed. Called by FrameGrabberManager::create
    // (usually from a FrameGrabberDetector during detection) under the manager's lock;
    // the manager owns the copy and names it. Copy configuration, never an open handle
    // to the hardware.
    virtual FrameGrabber* clone() const = 0;
    // The kind of interface ("GigE", "USB3", "CameraLink"), for hosts that list hardware.
    virtual std::string interfaceName() const = 0;
    // Opens the grabber for use; false when it could not be opened (the device manager
    // then logs that it cannot connect). Called by device detection under the device
    // manager's lock; may block on the hardware for as long as opening takes.
    virtual bool connect() = 0;
    // Releases what connect() opened; called after detection and by
    // FrameGrabberManager's full re-detection. Must not throw.
    virtual void disconnect() = 0;
    // True while the grabber is open. Detection skips open grabbers and keeps them
    // across a re-detection; answer at once, without touching the hardware.
    virtual bool isConnected() const = 0;

    // Image format as width, height and quantum id (bit width * 16 + 2 if signed + 1 if
    // integer; 129 for 8-bit unsigned). setFormat answers false when the grabber does
    // not support the format and then keeps the old one; format answers false when it
    // cannot tell (the arguments are then left alone).
    virtual bool setFormat(unsigned int width, unsigned int height, unsigned int quantumId) = 0;
    virtual bool format(unsigned int& width, unsigned int& height,
                        unsigned int& quantumId) const = 0;
    // Frames per second; setFrameRate answers false for a rate the grabber cannot keep.
    virtual bool setFrameRate(double framesPerSecond) = 0;
    virtual double frameRate() const = 0;

    // Grabs one image into image and answers whether one arrived. Device::snapshot calls
    // it for the grabber at index 0, on the host's thread; may block until a frame is
    // there, but bound the wait (a trigger that never comes must not hang the host).
    virtual bool snapshot(ImgRefPtr& image) = 0;

    // Continuous acquisition for device plug-ins; each answers false unless overridden.
    // FrameGrabberManager's full re-detection calls grabStop() on a grabber that is
    // still grabbing before it disconnects it.
    virtual bool grabSnapshot();
    virtual bool grabStart();
    virtual bool grabStop();
    virtual bool isGrabbing() const;

    // Digital lines and raw bytes of the interface; each answers false unless overridden.
    virtual bool getGpio(int line, bool& value);
    virtual bool setGpio(int line, bool value);
    virtual bool read(unsigned char* data, unsigned int size);
    virtual bool write(const unsigned char* data, unsigned int size);

    // Named grabber values whose type the caller and the plug-in agree on; both answer
    // true unless overridden.
    virtual bool get(const std::string& name, void* value);
    virtual bool set(const std::string& name, void* value);

private:
    bool m_genICompliant;
};

}  // namespace Korvane
