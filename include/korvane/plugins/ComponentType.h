#pragma once
// ComponentType names the kind of a plug-in component, and of the objects a topology
// claims. The values are fixed: plug-ins and hosts store and compare them. 10 and 15
// name no class; OperatorProcess names topology claims only and is never installed.

namespace Korvane {

enum class ComponentType : int {
    Device = 0,
    Display = 1,
    Buffer = 2,
    Image = 3,
    Log = 4,
    Lut = 5,
    Operator = 6,
    Motion = 7,
    Script = 8,
    Storage = 9,
    LogWriter = 11,
    Sensor = 12,
    Processor = 13,
    FrameGrabber = 14,
    OperatorProcess = 16,
    DeviceDetector = 17,
    FrameGrabberDetector = 18,
};

}  // namespace Korvane
