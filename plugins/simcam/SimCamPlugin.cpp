// The module of the simulated camera: the grabber detector "SimGrabberDetector" and its
// grabber type "SimGrabber", the device detector "SimCameraDetector" and the device type
// "SimCamera". The detector answers the model name "SimCam-1"; the alias file
// data/Cameras/Alias.txt, installed with the module, maps it to "SimCamera".

#include <korvane/plugins/PluginEntry.h>

#include "SimCamera.h"
#include "SimGrabber.h"

Korvane::PluginOrganizer* korvPluginOrganizer() {
    static auto* organizer = new Korvane::PluginOrganizer(Korvane::pluginInfo(
        "KorvaneSimCam", Korvane::Version(1, 0, 0),
        "A simulated camera behind simulated frame grabbers: test frames with a moving "
        "pattern and a readable frame counter.",
        "MIT"));
    return organizer;
}

void korvPluginInit(Korvane::PluginOrganizer* organizer) {
    if (!organizer->components().empty()) return;
    using namespace KorvaneSample;
    organizer->addComponent("SimGrabber", new SimGrabber, nullptr);
    organizer->addComponent("SimGrabberDetector", new SimGrabberDetector, nullptr);
    organizer->addComponent("SimCameraDetector", new SimCameraDetector, nullptr);
    organizer->addComponent("SimCamera", new SimCamera, nullptr);
}
