#include <korvane/devices/HwComponent.h>

namespace Korvane {

namespace {

constexpr char idProperty[] = "Id";

const PropertyText& idDescription() {
    static const PropertyText text = PropertyText::permanent(
        "Unique ID for this component. Recommended is a hardware ID (e.g. MAC).");
    return text;
}

}  // namespace

HwComponent::HwComponent() : ManageableType("HWComponent") {
    addProperty(idProperty, std::string(), string_property, read_access, 0, idDescription());
}

HwComponent::~HwComponent() = default;

std::string HwComponent::id() const {
    std::string value;
    getPropertyForce(idProperty, &value);
    return value;
}

bool HwComponent::setId(const std::string& id) {
    return setPropertyForce(idProperty, id);
}

Processor::~Processor() = default;

HwComponentType Processor::componentType() const {
    return HwComponentType::Processor;
}

bool Processor::addProcesses() {
    return false;
}

bool Processor::uploadExecutable() {
    return false;
}

Sensor::~Sensor() = default;

HwComponentType Sensor::componentType() const {
    return HwComponentType::Sensor;
}

}  // namespace Korvane
