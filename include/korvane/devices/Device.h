#pragma once
// A Device is an image source, typically a camera, assembled from hardware components
// kept by index: frame grabbers, processors and sensors. Plug-ins derive it and register
// one prototype with the DeviceManager, which makes the working instances (clone) and
// attaches grabbers to them (connectFrameGrabber). A device holds its components by
// counted handle; attaching a grabber records the assignment with the
// FrameGrabberManager, and destroying the device withdraws its assignments.
//
// Delivering frames. A device delivers frames by pushing ImgRefPtr items into the buffer
// bound to its output slot, on a thread of its own between start() and stop(). It
// declares the slot in its constructor (element type "Image", slot_output); the host or
// a Topology connects it to a consumer through BufferManager::connect, which names the
// buffer in the slot's property. Then:
// - start(): bind the slots with initBufferSlots() (this also clears an abort left by
//   an earlier stop; answer false, starting nothing, when it fails), then start the
//   acquisition thread and return without waiting for frames.
// - the thread: loop until the stop flag is set; get the buffer with
//   bufferSlot("Output"), push each frame, and leave the loop when push answers false
//   (the buffer was aborted). A push may block while the buffer is full.
// - stop(): set the stop flag, call notifyAndAbortAllBuffers() so that a push blocked
//   in a full buffer returns at once, then join the thread and releaseBufferSlots().
//   Never wait for a frame or a trigger in stop: a Topology stops its devices on the
//   host's thread, and a stop that does not return hangs the host. A hardware wait
//   inside the loop must be bounded (a timeout of a few hundred milliseconds) so that
//   the thread sees the flag. stop() on a device that is not started returns true.
// The topology calls start and stop once each per run and ignores their results.
//
// Threads: the core calls clone under the device manager's lock; start and stop from
// the thread that starts and stops the topology (or the host); snapshot, the feature
// operations and the six identification operations from whatever thread the host uses.
// The component maps are guarded by the slot lock (m_lock), so attaching a grabber is
// safe while the acquisition thread looks up frameGrabber(0). Do not call into the
// DeviceManager from the acquisition thread and wait for it there.
// Decisions: empty component handles are refused (false, nothing recorded). A copy
// (clone) takes the slots and properties but no components: grabbers are attached to
// each working instance.
//
// A minimal device with one output slot (with <korvane/buffers/BufferTemplate.h>, <atomic>
// and <thread>):
//
//     class AcmeCamera : public Korvane::Device {
//     public:
//         AcmeCamera() {
//             addBufferSlot("Output", "Image", Korvane::slot_output, "Frames.", false);
//         }
//         AcmeCamera(const AcmeCamera& other) : Device(other) {}
//         ~AcmeCamera() override { stop(); }
//         Korvane::Device* clone() const override { return new AcmeCamera(*this); }
//         bool start() override {
//             if (m_thread.joinable() || !initBufferSlots()) return false;
//             m_stop = false;
//             m_thread = std::thread([this] { run(); });
//             return true;
//         }
//         bool stop() override {
//             if (!m_thread.joinable()) return true;
//             m_stop = true;
//             notifyAndAbortAllBuffers();  // wakes a push blocked in a full buffer
//             m_thread.join();
//             releaseBufferSlots();
//             return true;
//         }
//         bool isStarted() const override { return m_thread.joinable(); }
//         std::string vendorName() const override { return "Acme"; }
//         std::string modelName() const override { return "C-1"; }
//         std::string serialNumber() const override { return "0001"; }
//         bool setFormat(unsigned int, unsigned int, unsigned int) override { return false; }
//         bool format(unsigned int& w, unsigned int& h, unsigned int& q) const override {
//             w = 640; h = 480; q = 129; return true;
//         }
//         unsigned long long framesDelivered() const override { return m_frames; }
//     private:
//         void run() {
//             const Korvane::BufferRefPtr buffer = bufferSlot("Output");
//             auto* out =
//                 dynamic_cast<Korvane::BufferTemplate<Korvane::ImgRefPtr>*>(buffer.rawPtr());
//             while (out && !m_stop) {
//                 Korvane::ImgRefPtr frame;
//                 if (!Device::snapshot(frame)) continue;  // a bounded wait on grabber 0
//                 if (!out->push(frame)) break;            // aborted: stop() is under way
//                 ++m_frames;
//             }
//         }
//         std::thread m_thread;  // started by start(), joined by stop()
//         std::atomic<bool> m_stop{false};
//         std::atomic<unsigned long long> m_frames{0};
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/devices/FrameGrabber.h>
#include <korvane/devices/HwComponent.h>
#include <korvane/image/Image.h>
#include <korvane/process/BufferSlotInterface.h>

#include <map>
#include <string>
#include <vector>

namespace Korvane {

class DeviceDetector;

class KORVANE_API Device : public BufferSlotInterface {
public:
    Device& operator=(const Device&) = delete;
    // Withdraws the assignment of every attached grabber from the FrameGrabberManager,
    // then drops the components.
    ~Device() override;

    // Named device features whose value type the host and the plug-in agree on; both
    // answer true unless overridden. Called on the host's thread.
    virtual bool getFeature(const std::string& name, void* value);
    virtual bool setFeature(const std::string& name, void* value);
    // Shows the plug-in's own settings dialog, if it has one; answers true unless
    // overridden. Called on the host's thread; may block while the dialog is open.
    virtual bool showDialog(unsigned int flags);

    // A new heap copy of this prototype, made by DeviceManager::create under the device
    // manager's lock; the manager owns it and names it. Copy configuration, not running
    // state: the copy starts stopped and without components.
    virtual Device* clone() const = 0;
    // Begin and end acquisition; see "Delivering frames" above.
    virtual bool start() = 0;
    virtual bool stop() = 0;
    // True between a successful start() and the next stop().
    virtual bool isStarted() const = 0;

    // One image through the grabber at index 0: false when there is none, else that
    // grabber's snapshot. Override for devices that grab otherwise.
    virtual bool snapshot(ImgRefPtr& image);

    // Identification, for hosts that list devices; answer without blocking.
    virtual std::string vendorName() const = 0;
    virtual std::string modelName() const = 0;
    virtual std::string serialNumber() const = 0;
    // Image format as width, height and quantum id (see FrameGrabber::setFormat);
    // setFormat answers false, keeping the old format, when it is not supported or the
    // device is started.
    virtual bool setFormat(unsigned int width, unsigned int height, unsigned int quantumId) = 0;
    virtual bool format(unsigned int& width, unsigned int& height,
                        unsigned int& quantumId) const = 0;
    // The number of frames pushed into the output buffer since the device was made.
    virtual unsigned long long framesDelivered() const = 0;
    // The detector that recognises this device; null unless overridden. Not owned by
    // the caller.
    virtual DeviceDetector* detector() const;

    // Attach a component at index; false, keeping the component already there, when
    // the index is taken (or the handle empty). A grabber's assignment is recorded with
    // the FrameGrabberManager first, even when the index is taken.
    bool addHwComponent(int index, const FrameGrabberRefPtr& grabber);
    bool addHwComponent(int index, const ProcessorRefPtr& processor);
    bool addHwComponent(int index, const SensorRefPtr& sensor);

    // The component at index, or an empty handle.
    FrameGrabberRefPtr frameGrabber(int index) const;
    ProcessorRefPtr processor(int index) const;
    SensorRefPtr sensor(int index) const;

    // All components of a kind, by ascending index.
    std::vector<FrameGrabberRefPtr> frameGrabbers() const;
    std::vector<ProcessorRefPtr> processors() const;
    std::vector<SensorRefPtr> sensors() const;

protected:
    // A device's component type is "Device".
    Device();
    // Copies slots and properties; the component maps start empty.
    Device(const Device& other);

    // The maps themselves; hold m_lock while using them if other threads may attach.
    const std::map<int, SensorRefPtr>& sensorMap() const { return m_sensorMap; }
    const std::map<int, ProcessorRefPtr>& processorMap() const { return m_processorMap; }
    const std::map<int, FrameGrabberRefPtr>& frameGrabberMap() const { return m_frameGrabberMap; }

private:
    template <class Handle>
    bool insertComponent(std::map<int, Handle>& map, int index, const Handle& component);
    template <class Handle>
    Handle componentAt(const std::map<int, Handle>& map, int index) const;
    template <class Handle>
    std::vector<Handle> componentsOf(const std::map<int, Handle>& map) const;

    // All three guarded by m_lock.
    std::map<int, SensorRefPtr> m_sensorMap;
    std::map<int, ProcessorRefPtr> m_processorMap;
    std::map<int, FrameGrabberRefPtr> m_frameGrabberMap;
};

}  // namespace Korvane
