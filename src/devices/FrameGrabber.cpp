#include <korvane/devices/FrameGrabber.h>

namespace Korvane {

FrameGrabber::FrameGrabber(bool genICompliant) : m_genICompliant(genICompliant) {}

FrameGrabber::~FrameGrabber() = default;

HwComponentType FrameGrabber::componentType() const {
    return HwComponentType::FrameGrabber;
}

bool FrameGrabber::grabSnapshot() {
    return false;
}

bool FrameGrabber::grabStart() {
    return false;
}

bool FrameGrabber::grabStop() {
    return false;
}

bool FrameGrabber::isGrabbing() const {
    return false;
}

bool FrameGrabber::getGpio(int, bool&) {
    return false;
}

bool FrameGrabber::setGpio(int, bool) {
    return false;
}

bool FrameGrabber::read(unsigned char*, unsigned int) {
    return false;
}

bool FrameGrabber::write(const unsigned char*, unsigned int) {
    return false;
}

bool FrameGrabber::get(const std::string&, void*) {
    return true;
}

bool FrameGrabber::set(const std::string&, void*) {
    return true;
}

}  // namespace Korvane
