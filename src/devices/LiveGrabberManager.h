#pragma once
// The frame-grabber manager while it exists: devices withdraw their grabber assignments
// from their destructors, which may run during process exit after the manager is gone
// (a device held by a singleton made before the device manager).

namespace Korvane {
class FrameGrabberManager;
}

namespace Korvane::Internal {

// The singleton once made and until destroyed; null before and after.
FrameGrabberManager* liveFrameGrabberManager();

}  // namespace Korvane::Internal
