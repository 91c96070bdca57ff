#pragma once
// ManageableType is the base of every object a manager creates. It carries the
// read-only text properties "Type", "Name" and "ComponentType"; the manager sets
// Type and Name once each, and from then on they identify the object.
//
// Decisions: a copy starts without a name (Type and ComponentType are copied), so a
// clone of a named instance can be entered under a name of its own; assignment is
// deleted, since it would overwrite the identity of the target. setName and setType
// test and then write: they are not atomic against each other on one object, which is
// why only the object's manager calls them, under its own lock.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyInterface.h>

#include <string>

namespace Korvane {

class Object;

template <class T, class Traits>
class Manager;

class KORVANE_API ManageableType : public PropertyInterface {
public:
    explicit ManageableType(const std::string& componentType);
    ManageableType(const ManageableType& other);
    ManageableType& operator=(const ManageableType&) = delete;
    ~ManageableType() override;

    // The current texts of "Name" and "Type"; empty while unset.
    std::string name() const;
    std::string type() const;

    // The base handles no event.
    bool eventProc(unsigned int event, const Object& arguments);

protected:
    // Each stores the value only while the property is still empty and then answers
    // the result of the forced write; otherwise (and for a null text) false.
    bool setName(const std::string& name);
    bool setName(const char* name);
    bool setType(const std::string& type);
    bool setType(const char* type);

private:
    // The generic manager names the objects it enters (and their prototypes).
    template <class T, class Traits>
    friend class Manager;

    // Declares none of the three properties.
    ManageableType();

    void declare(const char* property, const std::string& value, const PropertyText& description);
    bool setOnce(const char* property, const std::string& value);
};

}  // namespace Korvane
