#pragma once
// PropertyInterface gives an object a locked table of named, typed, self-describing
// properties. Owners declare properties in their constructors (addProperty); users
// read and write them by name with typed calls that never convert between classes
// (signed, unsigned, floating, text). Every successful public or forced write posts
// a PropertyEvent with this interface as sender, while the lock is held.
//
// The table owns its records, kept by value in name order. Names are cleaned to the
// property-name alphabet when added, but looked up exactly as given. Besides the
// overloads for the fixed-width types, long and unsigned long are accepted so that
// std::int64_t and std::uint64_t arguments are not ambiguous. assign_replace destroys
// the records it discards. Copies are deep; only immutable texts (descriptions, the
// predefined category names) are shared, so that copying an object stays cheap.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyTypes.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/platform/Mutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Korvane {

class PropertyEvent;
class PropertySerializer;

enum AssignStrategy {
    assign_existing = 1,
    assign_merge = 2,
    assign_replace = 3,
    assign_writable = 4,
};

// An immutable text shared by every copy made of it: copying costs a count, not an
// allocation. A text made with permanent() lives until the program ends and is shared
// without counting, for the descriptions an owner declares again for every object
// (keep it in a static). Copies may be used and destroyed on any thread.
class KORVANE_API PropertyText {
public:
    PropertyText() noexcept = default;
    // A null text is the empty text.
    PropertyText(const char* text);
    PropertyText(const std::string& text);
    PropertyText(std::string&& text);
    PropertyText(const PropertyText& other) noexcept : m_record(other.m_record) { share(); }
    PropertyText(PropertyText&& other) noexcept : m_record(other.m_record) {
        other.m_record = nullptr;
    }
    PropertyText& operator=(const PropertyText& other) noexcept {
        PropertyText copy(other);
        std::swap(m_record, copy.m_record);
        return *this;
    }
    PropertyText& operator=(PropertyText&& other) noexcept {
        std::swap(m_record, other.m_record);
        return *this;
    }
    ~PropertyText() { release(); }

    static PropertyText permanent(const char* text);

    const std::string& str() const noexcept { return m_record ? m_record->text : noText(); }
    operator const std::string&() const noexcept { return str(); }
    bool empty() const noexcept { return m_record == nullptr; }

private:
    struct Record {
        explicit Record(std::string t) : text(std::move(t)) {}

        std::atomic<unsigned long> holders{1};  // never counted when permanent
        bool permanent = false;
        const std::string text;
    };

    static const std::string& noText() noexcept;
    bool counted() const noexcept { return m_record && !m_record->permanent; }
    void share() noexcept {
        if (counted()) m_record->holders.fetch_add(1, std::memory_order_relaxed);
    }
    // The last holder frees the record, after every holder's reads of the text.
    void release() noexcept {
        if (counted() && m_record->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete m_record;
        }
    }

    Record* m_record = nullptr;  // null for the empty text, which has no record
};

// One property record. The numeric value is read as signed, unsigned or floating by
// the class of its type; text lives in its own field.
struct KORVANE_API Property {
    union Value {
        std::int64_t s;
        std::uint64_t u;
        double d;
    };

    // Defined with the table code, which makes records often: a constructor of our own
    // keeps value-initialization from first clearing the whole record.
    Property() noexcept;

    Value value{0};
    std::string text;
    PropertyType type = invalid_property;
    int category = 0;
    AccessType access = not_set;
    PropertyText description;
    std::vector<std::string> enumNames;
    bool valueSet = false;
};

// The table of one interface: its records by value in a single array, in the order
// they were added, and beside it their positions ordered by name in byte order, the
// order in which the table is visited. An object's properties so cost two allocations
// rather than two per property, and adding one moves no record. Erasing moves the
// records behind it, and adding may move all: pointers into the table stay valid only
// until the next add or erase.
class KORVANE_API PropertyTable {
public:
    using Entry = std::pair<std::string, Property>;

    // Visits the entries in name order.
    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        const_iterator(const Entry* entries, const std::uint32_t* position)
            : m_entries(entries), m_position(position) {}
        reference operator*() const { return m_entries[*m_position]; }
        pointer operator->() const { return &m_entries[*m_position]; }
        const_iterator& operator++() {
            ++m_position;
            return *this;
        }
        bool operator==(const const_iterator& other) const {
            return m_position == other.m_position;
        }
        bool operator!=(const const_iterator& other) const {
            return m_position != other.m_position;
        }

    private:
        const Entry* m_entries;           // not owned
        const std::uint32_t* m_position;  // not owned
    };

    PropertyTable() = default;
    // A copy keeps room for a few more records, as a new object copying a preset table
    // goes on to declare its own.
    PropertyTable(const PropertyTable& other) { *this = other; }
    PropertyTable(PropertyTable&&) noexcept = default;
    PropertyTable& operator=(const PropertyTable& other);
    PropertyTable& operator=(PropertyTable&&) noexcept = default;
    ~PropertyTable() = default;

    const_iterator begin() const noexcept { return {m_entries.data(), m_order.data()}; }
    const_iterator end() const noexcept {
        return {m_entries.data(), m_order.data() + m_order.size()};
    }
    std::size_t size() const noexcept { return m_entries.size(); }
    bool empty() const noexcept { return m_entries.empty(); }

    // Null when there is no record of that name.
    const Property* find(std::string_view name) const;
    Property* find(std::string_view name);
    // Adds an empty record under name and returns it; null, and nothing changes, when
    // the name is taken.
    Property* add(std::string_view name);
    // Adds the record or replaces the one of that name.
    void insertOrAssign(std::string_view name, Property&& record);
    bool erase(std::string_view name);
    void clear() noexcept;

private:
    // The place in m_order that holds name, or where it would go; and whether it is there.
    std::pair<std::size_t, bool> locate(std::string_view name) const;
    Property* append(std::size_t place, std::string_view name);
    void reserve(std::size_t count);

    std::vector<Entry> m_entries;        // in the order added
    std::vector<std::uint32_t> m_order;  // indices into m_entries, by name
};

struct KORVANE_API PropertyInfo {
    PropertyType type = invalid_property;
    int category = 0;
    AccessType access = not_set;
    std::string description;
    bool valueSet = false;
};

// Names of category numbers; guarded by its own lock. Until a name is set or erased
// a manager reads the predefined names, which all managers share and nobody changes;
// the first change gives it a table of its own.
class KORVANE_API CategoryManager {
public:
    static constexpr unsigned int USER_CATEGORY = 0x80000000u;

    CategoryManager();
    CategoryManager(const CategoryManager& other);
    CategoryManager& operator=(const CategoryManager& other);
    virtual ~CategoryManager();

    std::string categoryName(unsigned int category) const;
    // Inserts or renames; always true.
    bool setCategory(unsigned int category, const std::string& name);
    bool eraseCategory(unsigned int category);

private:
    using NameTable = std::map<unsigned int, std::string>;

    const NameTable& namesPrivate() const;
    NameTable& ownNamesPrivate();

    mutable Mutex m_mutex;               // guards m_names
    std::unique_ptr<NameTable> m_names;  // null while the names are the predefined ones
};

class KORVANE_API PropertyInterface : public EventGenerator {
public:
    static constexpr PropertyType invalid_property = PropertyType::invalid_property;
    static constexpr AccessType not_set = AccessType::not_set;
    static const std::string emptyString;
    static const std::vector<std::string> emptyContainer;

    PropertyInterface();
    PropertyInterface(const PropertyInterface& other);
    PropertyInterface& operator=(const PropertyInterface& other);
    ~PropertyInterface() override;

    // Reading: false when absent, of another class, or not readable.
    bool getProperty(const std::string& name, signed char* out) const;
    bool getProperty(const std::string& name, short* out) const;
    bool getProperty(const std::string& name, int* out) const;
    bool getProperty(const std::string& name, long* out) const;
    bool getProperty(const std::string& name, long long* out) const;
    bool getProperty(const std::string& name, unsigned char* out) const;
    bool getProperty(const std::string& name, unsigned short* out) const;
    bool getProperty(const std::string& name, unsigned int* out) const;
    bool getProperty(const std::string& name, unsigned long* out) const;
    bool getProperty(const std::string& name, unsigned long long* out) const;
    bool getProperty(const std::string& name, bool* out) const;
    bool getProperty(const std::string& name, float* out) const;
    bool getProperty(const std::string& name, double* out) const;
    bool getProperty(const std::string& name, std::string* out) const;
    // Stores the text's length plus one in *needed; copies only if size is enough.
    bool getProperty(const std::string& name, char* buffer, int size, int* needed) const;

    // Writing: true only when the value was stored (see the range checks).
    bool setProperty(const std::string& name, signed char value);
    bool setProperty(const std::string& name, short value);
    bool setProperty(const std::string& name, int value);
    bool setProperty(const std::string& name, long value);
    bool setProperty(const std::string& name, long long value);
    bool setProperty(const std::string& name, unsigned char value);
    bool setProperty(const std::string& name, unsigned short value);
    bool setProperty(const std::string& name, unsigned int value);
    bool setProperty(const std::string& name, unsigned long value);
    bool setProperty(const std::string& name, unsigned long long value);
    bool setProperty(const std::string& name, bool value);
    bool setProperty(const std::string& name, float value);
    bool setProperty(const std::string& name, double value);
    bool setProperty(const std::string& name, const char* value);
    bool setProperty(const std::string& name, const std::string& value);

    // Describing.
    PropertyType propertyType(const std::string& name) const;
    AccessType propertyAccess(const std::string& name) const;
    int propertyCategory(const std::string& name) const;
    std::string propertyCategoryName(const std::string& name) const;
    // The description stays valid while the property exists; the list of value names
    // only until a property is added to or erased from this interface.
    const std::string& propertyDescription(const std::string& name) const;
    const std::vector<std::string>& propertyEnumList(const std::string& name) const;
    bool propertyInfo(const std::string& name, PropertyInfo* info) const;
    std::vector<std::string> propertyNameList() const;
    int propertyCount() const;
    CategoryManager& propertyCategoryManager();

    // A batch of writes between the two calls is applied by activatePropertyChange.
    bool beginPropertyChange();
    bool endPropertyChange();

    PropertyInterface& assignProperties(const PropertyInterface& source, AssignStrategy strategy);

    // Both hold the lock for the whole operation; false for a null serializer.
    bool serialize(PropertySerializer* serializer, std::ostream& stream) const;
    bool deserialize(PropertySerializer* serializer, std::istream& stream);

protected:
    virtual bool activatePropertyChange();

    // Declaring: false unless type carries the class bit of the value's overload,
    // or when the cleaned name is already taken. A description declared for every
    // object is best passed as a static PropertyText, which the records then share.
    bool addProperty(const std::string& name, signed char value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, short value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, int value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, long value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, long long value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, unsigned char value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, unsigned short value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, unsigned int value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, unsigned long value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, unsigned long long value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, bool value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, double value, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, const char* value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, const std::string& value, PropertyType type,
                     AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    // An enumeration with its value names and initial index.
    bool addProperty(const std::string& name, long long index,
                     const std::vector<std::string>& names, PropertyType type, AccessType access,
                     int category = 0, const PropertyText& description = PropertyText());
    bool addProperty(const std::string& name, long long index, char** names, int count,
                     PropertyType type, AccessType access, int category = 0,
                     const PropertyText& description = PropertyText());
    // Inserts a ready record; the interface owns it.
    bool addProperty(const std::string& name, std::unique_ptr<Property> record);
    bool eraseProperty(const std::string& name);

    // The same as the public reads and writes, ignoring access rights.
    bool getPropertyForce(const std::string& name, signed char* out) const;
    bool getPropertyForce(const std::string& name, short* out) const;
    bool getPropertyForce(const std::string& name, int* out) const;
    bool getPropertyForce(const std::string& name, long* out) const;
    bool getPropertyForce(const std::string& name, long long* out) const;
    bool getPropertyForce(const std::string& name, unsigned char* out) const;
    bool getPropertyForce(const std::string& name, unsigned short* out) const;
    bool getPropertyForce(const std::string& name, unsigned int* out) const;
    bool getPropertyForce(const std::string& name, unsigned long* out) const;
    bool getPropertyForce(const std::string& name, unsigned long long* out) const;
    bool getPropertyForce(const std::string& name, bool* out) const;
    bool getPropertyForce(const std::string& name, float* out) const;
    bool getPropertyForce(const std::string& name, double* out) const;
    bool getPropertyForce(const std::string& name, std::string* out) const;
    bool getPropertyForce(const std::string& name, char* buffer, int size) const;

    bool setPropertyForce(const std::string& name, signed char value);
    bool setPropertyForce(const std::string& name, short value);
    bool setPropertyForce(const std::string& name, int value);
    bool setPropertyForce(const std::string& name, long value);
    bool setPropertyForce(const std::string& name, long long value);
    bool setPropertyForce(const std::string& name, unsigned char value);
    bool setPropertyForce(const std::string& name, unsigned short value);
    bool setPropertyForce(const std::string& name, unsigned int value);
    bool setPropertyForce(const std::string& name, unsigned long value);
    bool setPropertyForce(const std::string& name, unsigned long long value);
    bool setPropertyForce(const std::string& name, bool value);
    bool setPropertyForce(const std::string& name, float value);
    bool setPropertyForce(const std::string& name, double value);
    bool setPropertyForce(const std::string& name, const char* value);
    bool setPropertyForce(const std::string& name, const std::string& value);

    // Direct record access: the reads need the matching class; the writes apply the
    // range checks of the record's type and post no event.
    static bool getProperty(const Property* record, double* out);
    static bool getProperty(const Property* record, long long* out);
    static bool getProperty(const Property* record, unsigned long long* out);
    static bool getProperty(const Property* record, std::string* out);
    static bool setProperty(Property* record, long long value);
    static bool setProperty(Property* record, unsigned long long value);
    static bool setProperty(Property* record, double value);
    static bool setProperty(Property* record, const std::string& value);

private:
    friend class PropertySerializer;

    const Property* findReadable(const std::string& name, bool force) const;
    Property* findWritable(const std::string& name, bool force);
    template <class V>
    bool readNumber(const std::string& name, V* out, bool force) const;
    bool readText(const std::string& name, std::string* out, bool force) const;
    template <class V>
    bool writeNumber(const std::string& name, V value, bool force);
    bool writeText(const std::string& name, const std::string& value, bool force);
    template <class V>
    bool declare(const std::string& name, const V& value, PropertyType type, AccessType access,
                 int category, const PropertyText& description);
    // Adds an empty record under the cleaned name; null when that name is taken.
    Property* addRecordPrivate(const std::string& name);
    // The one place where writes are announced; fill sets the event's value.
    template <class Fill>
    void announceChange(const std::string& name, Fill fill);

    mutable Mutex m_mutex;  // guards m_table
    PropertyTable m_table;
    CategoryManager m_categories;
};

}  // namespace Korvane
