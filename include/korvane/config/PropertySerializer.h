#pragma once
// PropertySerializer writes a property table to a stream and reads it back; the
// concrete formats derive from it. It holds no state. Locking is the caller's:
// PropertyInterface::serialize/deserialize hold the interface's lock, while
// writeProperties/readProperties do not lock.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyInterface.h>

#include <iosfwd>
#include <memory>
#include <string>

namespace Korvane {

class KORVANE_API PropertySerializer {
public:
    PropertySerializer() = default;
    PropertySerializer(const PropertySerializer&) = default;
    PropertySerializer& operator=(const PropertySerializer&) = default;
    virtual ~PropertySerializer();

    virtual bool write(const PropertyTable* table, std::ostream& stream) = 0;
    virtual bool read(PropertyTable* table, std::istream& stream) = 0;

    bool writeProperties(const PropertyInterface* properties, std::ostream& stream);
    bool readProperties(PropertyInterface* properties, std::istream& stream);

protected:
    // Adds the record under name (cleaned as by addProperty); false for null arguments.
    bool addProperty(PropertyInterface* properties, const std::string& name,
                     std::unique_ptr<Property> record);
    // Replaces the property of that name by the record; the result is that of the add.
    bool setProperty(PropertyInterface* properties, const std::string& name,
                     std::unique_ptr<Property> record);
    // True when the interface has a property of that name; copies it into record
    // when record is not null.
    bool getProperty(PropertyInterface* properties, const std::string& name, Property* record);

private:
    bool eraseProperty(PropertyInterface* properties, const std::string& name);
};

}  // namespace Korvane
