#include <korvane/config/PropertySerializer.h>

namespace Korvane {

PropertySerializer::~PropertySerializer() = default;

bool PropertySerializer::writeProperties(const PropertyInterface* properties,
                                         std::ostream& stream) {
    return properties && write(&properties->m_table, stream);
}

bool PropertySerializer::readProperties(PropertyInterface* properties, std::istream& stream) {
    return properties && read(&properties->m_table, stream);
}

bool PropertySerializer::addProperty(PropertyInterface* properties, const std::string& name,
                                     std::unique_ptr<Property> record) {
    return properties && record && properties->addProperty(name, std::move(record));
}

bool PropertySerializer::setProperty(PropertyInterface* properties, const std::string& name,
                                     std::unique_ptr<Property> record) {
    if (!properties || !record) return false;
    eraseProperty(properties, name);
    return addProperty(properties, name, std::move(record));
}

bool PropertySerializer::getProperty(PropertyInterface* properties, const std::string& name,
                                     Property* record) {
    if (!properties) return false;
    MutexLock lock(&properties->m_mutex);
    const Property* found = properties->m_table.find(name);
    if (!found) return false;
    if (record) *record = *found;
    return true;
}

bool PropertySerializer::eraseProperty(PropertyInterface* properties, const std::string& name) {
    return properties && properties->eraseProperty(name);
}

}  // namespace Korvane
