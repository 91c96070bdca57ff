#include <korvane/core/PropertyInterface.h>

#include <korvane/config/PropertySerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventManager.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Korvane {

const std::string PropertyInterface::emptyString;
const std::vector<std::string> PropertyInterface::emptyContainer;

namespace {

// The class bit that a C++ value type reads and writes, and the 64-bit type it is
// widened to on the way into a record.
template <class V>
constexpr PropertyType classOf() {
    if constexpr (std::is_floating_point_v<V>) {
        return floating_class;
    } else if constexpr (std::is_same_v<V, bool> || std::is_unsigned_v<V>) {
        return unsigned_class;
    } else {
        return signed_class;
    }
}

template <class V>
using Widened = std::conditional_t<
    std::is_floating_point_v<V>, double,
    std::conditional_t<std::is_same_v<V, bool> || std::is_unsigned_v<V>, unsigned long long,
                       long long>>;

template <class V>
V narrow(const Property& record) {
    if constexpr (std::is_floating_point_v<V>) {
        return static_cast<V>(record.value.d);
    } else if constexpr (std::is_same_v<V, bool> || std::is_unsigned_v<V>) {
        return static_cast<V>(record.value.u);
    } else {
        return static_cast<V>(record.value.s);
    }
}

bool fitsSigned(PropertyType type, long long value) {
    switch (type) {
        case int8_property: return value >= INT8_MIN && value <= INT8_MAX;
        case int16_property: return value >= INT16_MIN && value <= INT16_MAX;
        case int32_property: return value >= INT32_MIN && value <= INT32_MAX;
        default: return true;
    }
}

bool fitsUnsigned(const Property& record, unsigned long long value) {
    switch (record.type) {
        case uint8_property: return value <= UINT8_MAX;
        case uint16_property: return value <= UINT16_MAX;
        case uint32_property: return value <= UINT32_MAX;
        case enum_property: return value < record.enumNames.size();
        default: return true;
    }
}

std::unique_ptr<Property> copyRecord(const Property& record) {
    return std::make_unique<Property>(record);
}

}  // namespace

// ---- CategoryManager --------------------------------------------------------------

CategoryManager::CategoryManager()
    : m_names{{0, "Unknown"}, {1, "Manager"},    {2, "Fifo"},   {4, "Parameters"},
              {5, "Style"},   {6, "Process"},    {7, "Config"}} {}

CategoryManager::CategoryManager(const CategoryManager& other) {
    MutexLock lock(&other.m_mutex);
    m_names = other.m_names;
}

CategoryManager& CategoryManager::operator=(const CategoryManager& other) {
    if (this == &other) return *this;
    MutexLock lock(&m_mutex);
    MutexLock otherLock(&other.m_mutex);
    m_names = other.m_names;
    return *this;
}

CategoryManager::~CategoryManager() = default;

std::string CategoryManager::categoryName(unsigned int category) const {
    MutexLock lock(&m_mutex);
    auto it = m_names.find(category);
    return it == m_names.end() ? std::string() : it->second;
}

bool CategoryManager::setCategory(unsigned int category, const std::string& name) {
    MutexLock lock(&m_mutex);
    m_names[category] = name;
    return true;
}

bool CategoryManager::eraseCategory(unsigned int category) {
    MutexLock lock(&m_mutex);
    return m_names.erase(category) == 1;
}

// ---- construction and copying -----------------------------------------------------

PropertyInterface::PropertyInterface() = default;

PropertyInterface::PropertyInterface(const PropertyInterface& other)
    : EventGenerator(other), m_categories(other.m_categories) {
    copyTableFrom(other);
}

PropertyInterface& PropertyInterface::operator=(const PropertyInterface& other) {
    if (this == &other) return *this;
    MutexLock lock(&m_mutex);
    EventGenerator::operator=(other);
    m_table.clear();
    copyTableFrom(other);
    m_categories = other.m_categories;
    return *this;
}

PropertyInterface::~PropertyInterface() = default;

void PropertyInterface::copyTableFrom(const PropertyInterface& source) {
    MutexLock lock(&source.m_mutex);
    for (const auto& [name, record] : source.m_table) m_table.emplace(name, copyRecord(*record));
}

// ---- lookups ----------------------------------------------------------------------

const Property* PropertyInterface::findReadable(const std::string& name, bool force) const {
    auto it = m_table.find(name);
    if (it == m_table.end()) return nullptr;
    if (!force && !(it->second->access & read_access)) return nullptr;
    return it->second.get();
}

Property* PropertyInterface::findWritable(const std::string& name, bool force) {
    auto it = m_table.find(name);
    if (it == m_table.end()) return nullptr;
    if (!force && !(it->second->access & write_access)) return nullptr;
    return it->second.get();
}

// ---- reading ----------------------------------------------------------------------

template <class V>
bool PropertyInterface::readNumber(const std::string& name, V* out, bool force) const {
    if (!out) return false;
    MutexLock lock(&m_mutex);
    const Property* record = findReadable(name, force);
    if (!record || !hasClass(record->type, classOf<V>())) return false;
    *out = narrow<V>(*record);
    return true;
}

bool PropertyInterface::readText(const std::string& name, std::string* out, bool force) const {
    if (!out) return false;
    MutexLock lock(&m_mutex);
    const Property* record = findReadable(name, force);
    return record && getProperty(record, out);
}

#define KORVANE_NUMBER_READERS(T)                                                  \
    bool PropertyInterface::getProperty(const std::string& name, T* out) const {   \
        return readNumber(name, out, false);                                       \
    }                                                                              \
    bool PropertyInterface::getPropertyForce(const std::string& name, T* out) const { \
        return readNumber(name, out, true);                                        \
    }
KORVANE_NUMBER_READERS(signed char)
KORVANE_NUMBER_READERS(short)
KORVANE_NUMBER_READERS(int)
KORVANE_NUMBER_READERS(long)
KORVANE_NUMBER_READERS(long long)
KORVANE_NUMBER_READERS(unsigned char)
KORVANE_NUMBER_READERS(unsigned short)
KORVANE_NUMBER_READERS(unsigned int)
KORVANE_NUMBER_READERS(unsigned long)
KORVANE_NUMBER_READERS(unsigned long long)
KORVANE_NUMBER_READERS(bool)
KORVANE_NUMBER_READERS(float)
KORVANE_NUMBER_READERS(double)
#undef KORVANE_NUMBER_READERS

bool PropertyInterface::getProperty(const std::string& name, std::string* out) const {
    return readText(name, out, false);
}

bool PropertyInterface::getPropertyForce(const std::string& name, std::string* out) const {
    return readText(name, out, true);
}

bool PropertyInterface::getProperty(const std::string& name, char* buffer, int size,
                                    int* needed) const {
    std::string text;
    if (!readText(name, &text, false)) return false;
    const long long required = static_cast<long long>(text.size()) + 1;
    if (needed) *needed = static_cast<int>(required);
    if (!buffer || size < required) return false;
    std::memcpy(buffer, text.c_str(), static_cast<size_t>(required));
    return true;
}

bool PropertyInterface::getPropertyForce(const std::string& name, char* buffer, int size) const {
    std::string text;
    if (!readText(name, &text, true)) return false;
    if (!buffer || size < static_cast<long long>(text.size()) + 1) return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

// ---- writing ----------------------------------------------------------------------

// Called with the lock held; the manager only queues the event. Without a dispatcher
// the event would be deleted unread, so it is not built: a write then costs no
// allocation.
template <class Fill>
void PropertyInterface::announceChange(const std::string& name, Fill fill) {
    if (!EventManager::hasEventDispatcher()) return;
    auto* event = new PropertyEvent(name);
    fill(*event);
    EventManager::get()->postEvent(event, this);
}

template <class V>
bool PropertyInterface::writeNumber(const std::string& name, V value, bool force) {
    MutexLock lock(&m_mutex);
    Property* record = findWritable(name, force);
    if (!record || !hasClass(record->type, classOf<V>())) return false;
    const Widened<V> wide = static_cast<Widened<V>>(value);
    if (!setProperty(record, wide)) return false;
    announceChange(name, [wide](PropertyEvent& event) { event.setValue(wide); });
    return true;
}

bool PropertyInterface::writeText(const std::string& name, const std::string& value, bool force) {
    MutexLock lock(&m_mutex);
    Property* record = findWritable(name, force);
    if (!record) return false;
    if (record->type == enum_property) {
        const auto& names = record->enumNames;
        unsigned long long index = 0;
        while (index < names.size() && names[index] != value) ++index;
        if (!setProperty(record, index)) return false;
        announceChange(name, [&](PropertyEvent& event) { event.setValue(index, value); });
        return true;
    }
    if (!setProperty(record, value)) return false;
    announceChange(name, [&](PropertyEvent& event) { event.setValue(value); });
    return true;
}

#define KORVANE_NUMBER_WRITERS(T)                                                  \
    bool PropertyInterface::setProperty(const std::string& name, T value) {        \
        return writeNumber(name, value, false);                                    \
    }                                                                              \
    bool PropertyInterface::setPropertyForce(const std::string& name, T value) {   \
        return writeNumber(name, value, true);                                     \
    }
KORVANE_NUMBER_WRITERS(signed char)
KORVANE_NUMBER_WRITERS(short)
KORVANE_NUMBER_WRITERS(int)
KORVANE_NUMBER_WRITERS(long)
KORVANE_NUMBER_WRITERS(long long)
KORVANE_NUMBER_WRITERS(unsigned char)
KORVANE_NUMBER_WRITERS(unsigned short)
KORVANE_NUMBER_WRITERS(unsigned int)
KORVANE_NUMBER_WRITERS(unsigned long)
KORVANE_NUMBER_WRITERS(unsigned long long)
KORVANE_NUMBER_WRITERS(bool)
KORVANE_NUMBER_WRITERS(float)
KORVANE_NUMBER_WRITERS(double)
#undef KORVANE_NUMBER_WRITERS

bool PropertyInterface::setProperty(const std::string& name, const char* value) {
    return value && writeText(name, value, false);
}

bool PropertyInterface::setProperty(const std::string& name, const std::string& value) {
    return writeText(name, value, false);
}

bool PropertyInterface::setPropertyForce(const std::string& name, const char* value) {
    return value && writeText(name, value, true);
}

bool PropertyInterface::setPropertyForce(const std::string& name, const std::string& value) {
    return writeText(name, value, true);
}

// ---- records ----------------------------------------------------------------------

bool PropertyInterface::getProperty(const Property* record, double* out) {
    if (!record || !out || !hasClass(record->type, floating_class)) return false;
    *out = record->value.d;
    return true;
}

bool PropertyInterface::getProperty(const Property* record, long long* out) {
    if (!record || !out || !hasClass(record->type, signed_class)) return false;
    *out = record->value.s;
    return true;
}

bool PropertyInterface::getProperty(const Property* record, unsigned long long* out) {
    if (!record || !out || !hasClass(record->type, unsigned_class)) return false;
    *out = record->value.u;
    return true;
}

bool PropertyInterface::getProperty(const Property* record, std::string* out) {
    if (!record || !out) return false;
    if (record->type == enum_property) {
        if (record->value.u >= record->enumNames.size()) return false;
        *out = record->enumNames[record->value.u];
        return true;
    }
    if (!hasClass(record->type, string_class)) return false;
    *out = record->text;
    return true;
}

bool PropertyInterface::setProperty(Property* record, long long value) {
    if (!record || !hasClass(record->type, signed_class)) return false;
    if (!fitsSigned(record->type, value)) return false;
    record->value.s = value;
    record->valueSet = true;
    return true;
}

bool PropertyInterface::setProperty(Property* record, unsigned long long value) {
    if (!record || !hasClass(record->type, unsigned_class)) return false;
    if (!fitsUnsigned(*record, value)) return false;
    record->value.u = value;
    record->valueSet = true;
    return true;
}

bool PropertyInterface::setProperty(Property* record, double value) {
    if (!record || !hasClass(record->type, floating_class)) return false;
    if (record->type == float_property) {
        if (std::isfinite(value) && std::fabs(value) > FLT_MAX) return false;
        value = static_cast<double>(static_cast<float>(value));
    }
    record->value.d = value;
    record->valueSet = true;
    return true;
}

bool PropertyInterface::setProperty(Property* record, const std::string& value) {
    if (!record || !hasClass(record->type, string_class)) return false;
    record->text = value;
    record->valueSet = true;
    return true;
}

// ---- declaring --------------------------------------------------------------------

bool PropertyInterface::insertRecord(const std::string& name, std::unique_ptr<Property> record) {
    if (!record) return false;
    MutexLock lock(&m_mutex);
    const std::string cleaned = validateName(name, "_");
    return m_table.emplace(cleaned, std::move(record)).second;
}

template <class V>
bool PropertyInterface::declare(const std::string& name, V value, PropertyType type,
                                AccessType access, int category,
                                const std::string& description) {
    auto record = std::make_unique<Property>();
    record->type = type;
    record->access = access;
    record->category = category;
    record->description = description;
    if constexpr (std::is_same_v<V, std::string>) {
        if (!hasClass(type, string_class)) return false;
        record->text = value;
    } else {
        if (!hasClass(type, classOf<V>())) return false;
        if constexpr (std::is_floating_point_v<V>) {
            record->value.d = value;
        } else if constexpr (classOf<V>() == unsigned_class) {
            record->value.u = static_cast<unsigned long long>(value);
        } else {
            record->value.s = static_cast<long long>(value);
        }
    }
    return insertRecord(name, std::move(record));
}

#define KORVANE_DECLARE(T)                                                              \
    bool PropertyInterface::addProperty(const std::string& name, T value, PropertyType type, \
                                        AccessType access, int category,                 \
                                        const std::string& description) {                \
        return declare(name, value, type, access, category, description);                \
    }
KORVANE_DECLARE(signed char)
KORVANE_DECLARE(short)
KORVANE_DECLARE(int)
KORVANE_DECLARE(long)
KORVANE_DECLARE(long long)
KORVANE_DECLARE(unsigned char)
KORVANE_DECLARE(unsigned short)
KORVANE_DECLARE(unsigned int)
KORVANE_DECLARE(unsigned long)
KORVANE_DECLARE(unsigned long long)
KORVANE_DECLARE(bool)
KORVANE_DECLARE(double)
#undef KORVANE_DECLARE

bool PropertyInterface::addProperty(const std::string& name, const std::string& value,
                                    PropertyType type, AccessType access, int category,
                                    const std::string& description) {
    return declare(name, value, type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, const char* value, PropertyType type,
                                    AccessType access, int category,
                                    const std::string& description) {
    return declare(name, std::string(value ? value : ""), type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, long long index,
                                    const std::vector<std::string>& names, PropertyType type,
                                    AccessType access, int category,
                                    const std::string& description) {
    if (!hasClass(type, unsigned_class)) return false;
    auto record = std::make_unique<Property>();
    record->type = type;
    record->access = access;
    record->category = category;
    record->description = description;
    record->enumNames = names;
    record->value.s = index;
    return insertRecord(name, std::move(record));
}

bool PropertyInterface::addProperty(const std::string& name, long long index, char** names,
                                    int count, PropertyType type, AccessType access, int category,
                                    const std::string& description) {
    std::vector<std::string> list;
    for (int i = 0; names && i < count; ++i) list.emplace_back(names[i] ? names[i] : "");
    return addProperty(name, index, list, type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, std::unique_ptr<Property> record) {
    return insertRecord(name, std::move(record));
}

bool PropertyInterface::eraseProperty(const std::string& name) {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    if (it == m_table.end()) return false;
    m_table.erase(it);
    return true;
}

// ---- describing -------------------------------------------------------------------

PropertyType PropertyInterface::propertyType(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    return it == m_table.end() ? invalid_property : it->second->type;
}

AccessType PropertyInterface::propertyAccess(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    return it == m_table.end() ? not_set : it->second->access;
}

int PropertyInterface::propertyCategory(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    return it == m_table.end() ? 0 : it->second->category;
}

std::string PropertyInterface::propertyCategoryName(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    if (it == m_table.end()) return std::string();
    return m_categories.categoryName(static_cast<unsigned int>(it->second->category));
}

// The reference stays valid only while the property exists.
const std::string& PropertyInterface::propertyDescription(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    return it == m_table.end() ? emptyString : it->second->description;
}

const std::vector<std::string>& PropertyInterface::propertyEnumList(const std::string& name) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    return it == m_table.end() ? emptyContainer : it->second->enumNames;
}

bool PropertyInterface::propertyInfo(const std::string& name, PropertyInfo* info) const {
    MutexLock lock(&m_mutex);
    auto it = m_table.find(name);
    if (it == m_table.end() || !info) return false;
    const Property& record = *it->second;
    info->type = record.type;
    info->category = record.category;
    info->access = record.access;
    info->description = record.description;
    info->valueSet = record.valueSet;
    return true;
}

std::vector<std::string> PropertyInterface::propertyNameList() const {
    MutexLock lock(&m_mutex);
    std::vector<std::string> names;
    names.reserve(m_table.size());
    for (const auto& entry : m_table) names.push_back(entry.first);
    return names;
}

int PropertyInterface::propertyCount() const {
    MutexLock lock(&m_mutex);
    return static_cast<int>(m_table.size());
}

CategoryManager& PropertyInterface::propertyCategoryManager() { return m_categories; }

// ---- batches, copying, serialization ----------------------------------------------

bool PropertyInterface::activatePropertyChange() { return true; }

bool PropertyInterface::beginPropertyChange() { return true; }

bool PropertyInterface::endPropertyChange() { return activatePropertyChange(); }

PropertyInterface& PropertyInterface::assignProperties(const PropertyInterface& source,
                                                       AssignStrategy strategy) {
    if (&source == this) return *this;
    MutexLock lock(&m_mutex);
    MutexLock sourceLock(&source.m_mutex);
    if (strategy == assign_replace) {
        m_table.clear();
        for (const auto& [name, record] : source.m_table) m_table.emplace(name, copyRecord(*record));
        return *this;
    }
    if (strategy != assign_existing && strategy != assign_merge && strategy != assign_writable) {
        return *this;
    }
    for (const auto& [name, record] : source.m_table) {
        auto it = m_table.find(name);
        if (it == m_table.end()) {
            if (strategy == assign_merge) m_table.emplace(name, copyRecord(*record));
            continue;
        }
        if (it->second->type != record->type) continue;
        if (strategy == assign_writable && !(it->second->access & write_access)) continue;
        *it->second = *record;
    }
    return *this;
}

bool PropertyInterface::serialize(PropertySerializer* serializer, std::ostream& stream) const {
    if (!serializer) return false;
    MutexLock lock(&m_mutex);
    return serializer->write(&m_table, stream);
}

bool PropertyInterface::deserialize(PropertySerializer* serializer, std::istream& stream) {
    if (!serializer) return false;
    MutexLock lock(&m_mutex);
    return serializer->read(&m_table, stream);
}

}  // namespace Korvane
