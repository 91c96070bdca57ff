#pragma once
// HwComponent is the base of the hardware parts a Device is assembled from: frame
// grabbers (FrameGrabber.h), processors and sensors. A plug-in derives a concrete class,
// registers one prototype with the DeviceManager (through its organizer), and the
// manager hands out clones; a device holds its components through counted handles, so
// a component lives as long as any device or manager holds it. Components carry no lock
// of their own: the plug-in guards whatever state its own threads share.
//
// Decision: componentType() is final in the three kinds, so that a component always
// reports the class it really is.
//
// A minimal sensor (a processor is the same with Processor and Processor*):
//
//     class AcmeSensor : public Korvane::Sensor {
//     public:
//         AcmeSensor() { setId("acme-sensor-0"); }
//         std::string vendorName() const override { return "Acme"; }
//         std::string modelName() const override { return "S-1"; }
//         Korvane::Sensor* clone() const override { return new AcmeSensor(*this); }
//     };

#include <korvane/core/Export.h>
#include <korvane/core/ManageableType.h>

#include <string>

namespace Korvane {

// The kind of a hardware component, as componentType() reports it.
enum class HwComponentType : int {
    FrameGrabber = 1,
    Processor = 2,
    Sensor = 3,
};

class KORVANE_API HwComponent : public ManageableType {
public:
    ~HwComponent() override;

    // The "Id" property: a unique id of the physical part (a MAC address, a serial
    // number), empty until the plug-in sets it.
    std::string id() const;

    // The maker and the model of the part, for hosts that list hardware. Called on any
    // thread the host calls from; answer from fields set at construction or connection,
    // without blocking on the hardware. The core only passes the texts on.
    virtual std::string vendorName() const = 0;
    virtual std::string modelName() const = 0;
    // Which of the three kinds this is; the kinds answer it themselves.
    virtual HwComponentType componentType() const = 0;

protected:
    // Declares "Id" (text, read-only, empty); componentType names the object's kind.
    HwComponent();
    HwComponent(const HwComponent& other) = default;

    // Sets "Id"; for the plug-in's constructor or connect.
    bool setId(const std::string& id);
};

class KORVANE_API Processor : public HwComponent {
public:
    ~Processor() override;

    HwComponentType componentType() const final;
    // A new heap copy of this prototype, made by DeviceManager::createProcessor on the
    // caller's thread under the device manager's lock: do not call the DeviceManager
    // from another thread and wait for it here. The caller owns the copy.
    virtual Processor* clone() const = 0;

    // Reserved for processors that run code of their own; both answer false.
    bool addProcesses();
    bool uploadExecutable();

protected:
    Processor() = default;
    Processor(const Processor& other) = default;
};

class KORVANE_API Sensor : public HwComponent {
public:
    ~Sensor() override;

    HwComponentType componentType() const final;
    // A new heap copy of this prototype, made by DeviceManager::createSensor; as
    // Processor::clone.
    virtual Sensor* clone() const = 0;

protected:
    Sensor() = default;
    Sensor(const Sensor& other) = default;
};

}  // namespace Korvane
