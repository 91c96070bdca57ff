#pragma once
// A DeviceDetector tells which device is behind an open frame grabber. A plug-in
// registers one detector object under a name with the DeviceManager (through its
// organizer); the manager keeps it by counted handle and asks it during detection. A
// detector registered again under a taken name replaces the old one when its version is
// the same or newer; the old one is then withdrawn from its plug-in.
//
// Threads: detect runs on the thread of the host's detection call, holding the device
// manager's lock (and so serialised with every other DeviceManager call); it may call
// the grabber and the DeviceManager from that thread, but must not wait for another
// thread that uses the DeviceManager or the FrameGrabberManager. An exception it throws
// reaches the host's detection call unchanged, and the grabber then stays open.
//
// A minimal detector:
//
//     class AcmeDetector : public Korvane::DeviceDetector {
//     public:
//         AcmeDetector() : DeviceDetector(Korvane::Version(1, 0, 0)) {}
//         std::string detect(Korvane::FrameGrabberRefPtr grabber) override {
//             return grabber->vendorName() == "Acme" ? "AcmeCamera" : std::string();
//         }
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/Version.h>
#include <korvane/devices/FrameGrabber.h>

#include <string>

namespace Korvane {

class KORVANE_API DeviceDetector : public ManageableType {
public:
    explicit DeviceDetector(Version version);
    DeviceDetector(const DeviceDetector& other) = default;
    ~DeviceDetector() override;

    // The version given at construction; decides which of two detectors of one name wins.
    Version version() const { return m_version; }

    // Given an open grabber, the device type (or an alias of one) of the camera behind
    // it; an empty text when this detector does not know it. The manager closes the
    // grabber afterwards; leave it open. A type the device manager does not know is
    // logged as a warning there.
    virtual std::string detect(FrameGrabberRefPtr grabber) = 0;

private:
    Version m_version;
};

}  // namespace Korvane
