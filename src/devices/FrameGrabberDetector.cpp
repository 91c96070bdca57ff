#include <korvane/devices/FrameGrabberDetector.h>

namespace Korvane {

FrameGrabberDetector::FrameGrabberDetector() : ManageableType("FrameGrabberDetector") {}

FrameGrabberDetector::~FrameGrabberDetector() = default;

}  // namespace Korvane
