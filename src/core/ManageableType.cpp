#include <korvane/core/ManageableType.h>

namespace Korvane {

namespace {

// The category "Manager".
constexpr int managerCategory = 1;

constexpr char typeProperty[] = "Type";
constexpr char nameProperty[] = "Name";
constexpr char componentTypeProperty[] = "ComponentType";

constexpr char nameDescription[] = "The name of the instance as created by a manager.";

}  // namespace

ManageableType::ManageableType() = default;

ManageableType::ManageableType(const std::string& componentType) {
    declare(typeProperty, std::string(), "The type as registered to the manager.");
    declare(nameProperty, std::string(), nameDescription);
    declare(componentTypeProperty, componentType, "The Korvane component type of this object.");
}

// A fresh record rather than a write: the copy is not yet an instance of anything,
// and emptying its name is no change worth an event.
ManageableType::ManageableType(const ManageableType& other) : PropertyInterface(other) {
    if (eraseProperty(nameProperty)) declare(nameProperty, std::string(), nameDescription);
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
                             const char* description) {
    addProperty(property, value, string_property, read_access, managerCategory, description);
}

bool ManageableType::setOnce(const char* property, const std::string& value) {
    std::string current;
    if (!getPropertyForce(property, &current) || !current.empty()) return false;
    return setPropertyForce(property, value);
}

}  // namespace Korvane
