#include <korvane/core/ManageableType.h>

namespace Korvane {

namespace {

// The category "Manager".
constexpr int managerCategory = 1;

constexpr char typeProperty[] = "Type";
constexpr char nameProperty[] = "Name";
constexpr char componentTypeProperty[] = "ComponentType";

// Every managed object declares these; as permanent texts they cost no allocation.
const PropertyText& typeDescription() {
    static const PropertyText text =
        PropertyText::permanent("The type as registered to the manager.");
    return text;
}

const PropertyText& nameDescription() {
    static const PropertyText text =
        PropertyText::permanent("The name of the instance as created by a manager.");
    return text;
}

const PropertyText& componentTypeDescription() {
    static const PropertyText text =
        PropertyText::permanent("The Korvane component type of this object.");
    return text;
}

}  // namespace

ManageableType::ManageableType() = default;

ManageableType::ManageableType(const std::string& componentType) {
    declare(typeProperty, std::string(), typeDescription());
    declare(nameProperty, std::string(), nameDescription());
    declare(componentTypeProperty, componentType, componentTypeDescription());
}

// A fresh record rather than a write: the copy is not yet an instance of anything,
// and emptying its name is no change worth an event. A copy of an unnamed object
// (such as the preset records a class copies for each new object) keeps its record.
ManageableType::ManageableType(const ManageableType& other) : PropertyInterface(other) {
    if (!name().empty() && eraseProperty(nameProperty)) {
        declare(nameProperty, std::string(), nameDescription());
    }
}

ManageableType::~ManageableType() = default;

std::string ManageableType::name() const {
    std::string value;
    getPropertyForce(nameProperty, &value);
    return value;
}

std::string ManageableType::type() const {
    std::string value;
    getPropertyForce(typeProperty, &value);
    return value;
}

bool ManageableType::eventProc(unsigned int, const Object&) {
    return false;
}

bool ManageableType::setName(const std::string& name) {
    return setOnce(nameProperty, name);
}

bool ManageableType::setName(const char* name) {
    return name != nullptr && setOnce(nameProperty, name);
}

bool ManageableType::setType(const std::string& type) {
    return setOnce(typeProperty, type);
}

bool ManageableType::setType(const char* type) {
    return type != nullptr && setOnce(typeProperty, type);
}

void ManageableType::declare(const char* property, const std::string& value,
                             const PropertyText& description) {
    addProperty(property, value, string_property, read_access, managerCategory, description);
}

bool ManageableType::setOnce(const char* property, const std::string& value) {
    const std::string name(property);
    std::string current;
    if (!getPropertyForce(name, &current) || !current.empty()) return false;
    return setPropertyForce(name, value);
}

}  // namespace Korvane
