#include <korvane/core/PropertyInterface.h>

#include <korvane/config/PropertySerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventManager.h>

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Korvane {

const std::string PropertyInterface::emptyString;
const std::vector<std::string> PropertyInterface::emptyContainer;

namespace {

// The class bit that a C++ value type reads and writes, and the 64-bit type it is
// widened to on the way into a record.
template <class V>
constexpr PropertyType classOf() {
    if constexpr (std::is_same_v<V, std::string>) {
        return string_class;
    } else if constexpr (std::is_floating_point_v<V>) {
        return floating_class;
    } else if constexpr (std::is_same_v<V, bool> || std::is_unsigned_v<V>) {
        return unsigned_class;
    } else {
        return signed_class;
    }
}

template <class V>
using Widened =
    std::conditional_t<std::is_floating_point_v<V>, double,
                       std::conditional_t<std::is_same_v<V, bool> || std::is_unsigned_v<V>,
                                          unsigned long long, long long>>;

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

// The fields that every declaration sets.
void describe(Property* record, PropertyType type, AccessType access, int category,
              const PropertyText& description) {
    record->type = type;
    record->access = access;
    record->category = category;
    record->description = description;
}

// Byte order of names, as a negative, zero or positive result. Names mostly differ in
// their first byte, which is compared here without a library call.
int compareNames(std::string_view a, std::string_view b) noexcept {
    if (!a.empty() && !b.empty() && a[0] != b[0]) {
        return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]) ? -1 : 1;
    }
    return a.compare(b);
}

// Most objects declare a handful of properties: room for them all at once.
constexpr std::size_t usualRecordCount = 8;

}  // namespace

// ---- PropertyText -----------------------------------------------------------------

PropertyText::PropertyText(const char* text)
    : m_record(text && *text ? new Record(text) : nullptr) {}

PropertyText::PropertyText(const std::string& text)
    : m_record(text.empty() ? nullptr : new Record(text)) {}

PropertyText::PropertyText(std::string&& text)
    : m_record(text.empty() ? nullptr : new Record(std::move(text))) {}

PropertyText PropertyText::permanent(const char* text) {
    PropertyText permanentText(text);
    if (permanentText.m_record) permanentText.m_record->permanent = true;
    return permanentText;
}

const std::string& PropertyText::noText() noexcept { return PropertyInterface::emptyString; }

// ---- PropertyTable ----------------------------------------------------------------

Property::Property() noexcept = default;

std::pair<std::size_t, bool> PropertyTable::locate(std::string_view name) const {
    std::size_t low = 0;
    std::size_t high = m_order.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        const int order = compareNames(m_entries[m_order[middle]].first, name);
        if (order == 0) return {middle, true};
        if (order < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return {low, false};
}

PropertyTable& PropertyTable::operator=(const PropertyTable& other) {
    if (this == &other) return *this;
    reserve(std::max(other.size() + 2, usualRecordCount));
    m_entries = other.m_entries;
    m_order = other.m_order;
    return *this;
}

void PropertyTable::reserve(std::size_t count) {
    m_entries.reserve(count);
    m_order.reserve(count);
}

Property* PropertyTable::append(std::size_t place, std::string_view name) {
    if (m_entries.capacity() == 0) reserve(usualRecordCount);
    m_entries.emplace_back(std::piecewise_construct, std::forward_as_tuple(name),
                           std::forward_as_tuple());
    m_order.insert(m_order.begin() + static_cast<std::ptrdiff_t>(place),
                   static_cast<std::uint32_t>(m_entries.size() - 1));
    return &m_entries.back().second;
}

Property* PropertyTable::find(std::string_view name) {
    const auto [place, found] = locate(name);
    return found ? &m_entries[m_order[place]].second : nullptr;
}

const Property* PropertyTable::find(std::string_view name) const {
    const auto [place, found] = locate(name);
    return found ? &m_entries[m_order[place]].second : nullptr;
}

Property* PropertyTable::add(std::string_view name) {
    const auto [place, found] = locate(name);
    return found ? nullptr : append(place, name);
}

void PropertyTable::insertOrAssign(std::string_view name, Property&& record) {
    const auto [place, found] = locate(name);
    Property* slot = found ? &m_entries[m_order[place]].second : append(place, name);
    *slot = std::move(record);
}

bool PropertyTable::erase(std::string_view name) {
    const auto [place, found] = locate(name);
    if (!found) return false;
    const std::uint32_t index = m_order[place];
    m_entries.erase(m_entries.begin() + index);
    m_order.erase(m_order.begin() + static_cast<std::ptrdiff_t>(place));
    for (std::uint32_t& position : m_order) {
        if (position > index) --position;
    }
    return true;
}

void PropertyTable::clear() noexcept {
    m_entries.clear();
    m_order.clear();
}

// ---- CategoryManager --------------------------------------------------------------

const CategoryManager::NameTable& CategoryManager::namesPrivate() const {
    static const NameTable predefined{{0, "Unknown"},    {1, "Manager"}, {2, "Fifo"},
                                      {4, "Parameters"}, {5, "Style"},   {6, "Process"},
                                      {7, "Config"}};
    return m_names ? *m_names : predefined;
}

CategoryManager::NameTable& CategoryManager::ownNamesPrivate() {
    if (!m_names) m_names = std::make_unique<NameTable>(namesPrivate());
    return *m_names;
}

CategoryManager::CategoryManager() = default;

CategoryManager::CategoryManager(const CategoryManager& other) {
    MutexLock lock(&other.m_mutex);
    if (other.m_names) m_names = std::make_unique<NameTable>(*other.m_names);
}

CategoryManager& CategoryManager::operator=(const CategoryManager& other) {
    if (this == &other) return *this;
    MutexLock lock(&m_mutex);
    MutexLock otherLock(&other.m_mutex);
    m_names = other.m_names ? std::make_unique<NameTable>(*other.m_names) : nullptr;
    return *this;
}

CategoryManager::~CategoryManager() = default;

std::string CategoryManager::categoryName(unsigned int category) const {
    MutexLock lock(&m_mutex);
    const NameTable& names = namesPrivate();
    auto it = names.find(category);
    return it == names.end() ? std::string() : it->second;
}

bool CategoryManager::setCategory(unsigned int category, const std::string& name) {
    MutexLock lock(&m_mutex);
    ownNamesPrivate()[category] = name;
    return true;
}

bool CategoryManager::eraseCategory(unsigned int category) {
    MutexLock lock(&m_mutex);
    if (namesPrivate().count(category) == 0) return false;
    ownNamesPrivate().erase(category);
    return true;
}

// ---- construction and copying -----------------------------------------------------

PropertyInterface::PropertyInterface() = default;

// The source's lock is taken in the body, after the members are built.
PropertyInterface::PropertyInterface(const PropertyInterface& other)
    : EventGenerator(other), m_categories(other.m_categories) {
    MutexLock sourceLock(&other.m_mutex);
    m_table = other.m_table;
}

PropertyInterface& PropertyInterface::operator=(const PropertyInterface& other) {
    if (this == &other) return *this;
    MutexLock lock(&m_mutex);
    EventGenerator::operator=(other);
    {
        MutexLock sourceLock(&other.m_mutex);
        m_table = other.m_table;
    }
    m_categories = other.m_categories;
    return *this;
}

PropertyInterface::~PropertyInterface() = default;

// ---- lookups ----------------------------------------------------------------------

const Property* PropertyInterface::findReadable(const std::string& name, bool force) const {
    const Property* record = m_table.find(name);
    if (!record || (!force && !(record->access & read_access))) return nullptr;
    return record;
}

Property* PropertyInterface::findWritable(const std::string& name, bool force) {
    Property* record = m_table.find(name);
    if (!record || (!force && !(record->access & write_access))) return nullptr;
    return record;
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

// A name that is already valid (the usual case) is taken as it is.
Property* PropertyInterface::addRecordPrivate(const std::string& name) {
    return isValidName(name) ? m_table.add(name) : m_table.add(validateName(name, "_"));
}

template <class V>
bool PropertyInterface::declare(const std::string& name, const V& value, PropertyType type,
                                AccessType access, int category, const PropertyText& description) {
    if (!hasClass(type, classOf<V>())) return false;
    MutexLock lock(&m_mutex);
    Property* record = addRecordPrivate(name);
    if (!record) return false;
    describe(record, type, access, category, description);
    if constexpr (std::is_same_v<V, std::string>) {
        record->text = value;
    } else if constexpr (std::is_floating_point_v<V>) {
        record->value.d = value;
    } else if constexpr (classOf<V>() == unsigned_class) {
        record->value.u = static_cast<unsigned long long>(value);
    } else {
        record->value.s = static_cast<long long>(value);
    }
    return true;
}

#define KORVANE_DECLARE(T)                                                              \
    bool PropertyInterface::addProperty(const std::string& name, T value, PropertyType type, \
                                        AccessType access, int category,                 \
                                        const PropertyText& description) {               \
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
                                    const PropertyText& description) {
    return declare(name, value, type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, const char* value, PropertyType type,
                                    AccessType access, int category,
                                    const PropertyText& description) {
    return declare(name, std::string(value ? value : ""), type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, long long index,
                                    const std::vector<std::string>& names, PropertyType type,
                                    AccessType access, int category,
                                    const PropertyText& description) {
    if (!hasClass(type, unsigned_class)) return false;
    MutexLock lock(&m_mutex);
    Property* record = addRecordPrivate(name);
    if (!record) return false;
    describe(record, type, access, category, description);
    record->enumNames = names;
    record->value.s = index;
    return true;
}

bool PropertyInterface::addProperty(const std::string& name, long long index, char** names,
                                    int count, PropertyType type, AccessType access, int category,
                                    const PropertyText& description) {
    std::vector<std::string> list;
    for (int i = 0; names && i < count; ++i) list.emplace_back(names[i] ? names[i] : "");
    return addProperty(name, index, list, type, access, category, description);
}

bool PropertyInterface::addProperty(const std::string& name, std::unique_ptr<Property> record) {
    if (!record) return false;
    MutexLock lock(&m_mutex);
    Property* slot = addRecordPrivate(name);
    if (!slot) return false;
    *slot = std::move(*record);
    return true;
}

bool PropertyInterface::eraseProperty(const std::string& name) {
    MutexLock lock(&m_mutex);
    return m_table.erase(name);
}

// ---- describing -------------------------------------------------------------------

PropertyType PropertyInterface::propertyType(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    return record ? record->type : invalid_property;
}

AccessType PropertyInterface::propertyAccess(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    return record ? record->access : not_set;
}

int PropertyInterface::propertyCategory(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    return record ? record->category : 0;
}

std::string PropertyInterface::propertyCategoryName(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    if (!record) return std::string();
    return m_categories.categoryName(static_cast<unsigned int>(record->category));
}

const std::string& PropertyInterface::propertyDescription(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    return record ? record->description.str() : emptyString;
}

const std::vector<std::string>& PropertyInterface::propertyEnumList(const std::string& name) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    return record ? record->enumNames : emptyContainer;
}

bool PropertyInterface::propertyInfo(const std::string& name, PropertyInfo* info) const {
    MutexLock lock(&m_mutex);
    const Property* record = m_table.find(name);
    if (!record || !info) return false;
    info->type = record->type;
    info->category = record->category;
    info->access = record->access;
    info->description = record->description.str();
    info->valueSet = record->valueSet;
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
        m_table = source.m_table;
        return *this;
    }
    if (strategy != assign_existing && strategy != assign_merge && strategy != assign_writable) {
        return *this;
    }
    for (const auto& [name, record] : source.m_table) {
        Property* own = m_table.find(name);
        if (!own) {
            if (strategy == assign_merge) *m_table.add(name) = record;
            continue;
        }
        if (own->type != record.type) continue;
        if (strategy == assign_writable && !(own->access & write_access)) continue;
        *own = record;
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
