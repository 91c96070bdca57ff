#pragma once
// A VendorConfig carries the vendor-wide settings that belong to one device detector
// (the "Detector" property names its registered type). It is not registered with any
// manager: when its plug-in is installed, the organizer calls configObject() once on the
// loader's thread and drops the handle, so that the vendor code can build or load its
// settings at that moment. The plug-in owns the object.
//
// A minimal configuration:
//
//     class AcmeConfig : public Korvane::VendorConfig {
//     public:
//         AcmeConfig() : VendorConfig("AcmeDetector") {}
//         std::string vendorName() const override { return "Acme"; }
//         Korvane::ObjectRefPtr configObject() override {
//             return Korvane::ObjectRefPtr(new Korvane::Object, nullptr);
//         }
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/Object.h>

#include <string>

namespace Korvane {

class KORVANE_API VendorConfig : public ManageableType {
public:
    // Declares "Detector" (text, read-only, category "Manager") holding detector.
    explicit VendorConfig(const std::string& detector);
    VendorConfig(const VendorConfig& other) = default;
    ~VendorConfig() override;

    // The "Detector" property.
    std::string detector() const;

    // The vendor whose devices this configuration serves; the core only passes it on.
    virtual std::string vendorName() const = 0;
    // The vendor's settings as a property bag. Called once, on the loader's thread, when
    // the plug-in is installed; the core drops the handle at once. May read files; must
    // not throw (an exception fails the installation of this component, and is logged).
    virtual ObjectRefPtr configObject() = 0;
};

}  // namespace Korvane
