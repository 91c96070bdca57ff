#pragma once
// A FrameGrabberDetector finds the frame grabbers of one kind that are present on the
// machine. A plug-in registers one detector object under a name with the
// FrameGrabberManager (through its organizer); the manager keeps it by counted handle,
// takes the registered name as the detector's type, and calls detect during every
// detection.
//
// Threads: detect runs on the thread of the host's detection call, holding the
// frame-grabber manager's lock and, when the detection came through the DeviceManager,
// the device manager's lock before it. It may call FrameGrabberManager::create from that
// thread; it must not call the DeviceManager (that would take the two locks in the
// wrong order against another thread) nor wait for a thread that does. It may block on
// the hardware while it enumerates. An exception it throws reaches the host's call
// unchanged; the managers stay usable.
//
// Decision: the manager discards both the returned list and the map; a grabber counts
// as found only when detect entered it with FrameGrabberManager::create. The list and
// the map are there for detectors that are also used on their own.
//
// A minimal detector, for a registered grabber type "AcmeGrabber":
//
//     class AcmeGrabberDetector : public Korvane::FrameGrabberDetector {
//     public:
//         std::list<Korvane::FrameGrabberRefPtr> detect(
//             int, std::map<std::string, Korvane::FrameGrabberRefPtr>& found) override {
//             std::list<Korvane::FrameGrabberRefPtr> grabbers;
//             for (int port = 0; port < acmePortCount(); ++port) {
//                 std::string name = "Acme" + std::to_string(port);
//                 auto grabber =
//                     Korvane::FrameGrabberManager::get()->create("AcmeGrabber", name, true);
//                 if (grabber.isNull()) continue;
//                 found[name] = grabber;
//                 grabbers.push_back(grabber);
//             }
//             return grabbers;
//         }
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/devices/FrameGrabber.h>

#include <list>
#include <map>
#include <string>

namespace Korvane {

class FrameGrabberManager;

class KORVANE_API FrameGrabberDetector : public ManageableType {
public:
    FrameGrabberDetector();
    FrameGrabberDetector(const FrameGrabberDetector& other) = default;
    ~FrameGrabberDetector() override;

    // Enters every grabber found as an instance of the FrameGrabberManager (create) and
    // may also report them in found and in the list it returns. arg is the host's value
    // given to the detection call (DeviceManager::detectAll or detectGrabbers); its
    // meaning is agreed between the host and the plug-in.
    virtual std::list<FrameGrabberRefPtr> detect(
        int arg, std::map<std::string, FrameGrabberRefPtr>& found) = 0;

private:
    // Gives the detector the name it is registered under as its type.
    friend class FrameGrabberManager;
};

}  // namespace Korvane
