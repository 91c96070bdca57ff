#include <korvane/devices/VendorConfig.h>

namespace Korvane {

namespace {

constexpr char detectorProperty[] = "Detector";
// The category "Manager".
constexpr int managerCategory = 1;

const PropertyText& detectorDescription() {
    static const PropertyText text = PropertyText::permanent(
        "The DeviceDetector typename that is VendorConfig is specialized for.");
    return text;
}

}  // namespace

VendorConfig::VendorConfig(const std::string& detector) : ManageableType("VendorConfig") {
    addProperty(detectorProperty, detector, string_property, read_access, managerCategory,
                detectorDescription());
}

VendorConfig::~VendorConfig() = default;

std::string VendorConfig::detector() const {
    std::string value;
    getPropertyForce(detectorProperty, &value);
    return value;
}

}  // namespace Korvane
