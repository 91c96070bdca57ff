#pragma once
// PropertyInterface gives an object a locked table of named, typed, self-describing
// properties. Owners declare properties in their constructors (addProperty); users
// read and write them by name with typed calls that never convert between classes
// (signed, unsigned, floating, text). Every successful public or forced write posts
// a PropertyEvent with this interface as sender, while the lock is held.
//
// The table owns its records. Names are cleaned to the property-name alphabet when
// added, but looked up exactly as given. Besides the overloads for the fixed-width
// types, long and unsigned long are accepted so that std::int64_t and std::uint64_t
// arguments are not ambiguous. assign_replace destroys the records it discards.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyTypes.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/platform/Mutex.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
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

// One property record. The numeric value is read as signed, unsigned or floating by
// the class of its type; text lives in its own field.
struct KORVANE_API Property {
    union Value {
        std::int64_t s;
        std::uint64_t u;
        double d;
    };

    Value value{0};
    std::string text;
    PropertyType type = invalid_property;
    int category = 0;
    AccessType access = not_set;
    std::string description;
    std::vector<std::string> enumNames;
    bool valueSet = false;
};

using PropertyTable = std::map<std::string, std::unique_ptr<Property>, std::less<>>;

struct KORVANE_API PropertyInfo {
    PropertyType type = invalid_property;
    int category = 0;
    AccessType access = not_set;
    std::string description;
    bool valueSet = false;
};

// Names of category numbers; guarded by its own lock.
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
    mutable Mutex m_mutex;  // guards m_names
    std::map<unsigned int, std::string> m_names;
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
    // or when the cleaned name is already taken.
    bool addProperty(const std::string& name, signed char value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, short value, PropertyType type, AccessType access,
                     int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, int value, PropertyType type, AccessType access,
                     int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, long value, PropertyType type, AccessType access,
                     int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, long long value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, unsigned char value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, unsigned short value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, unsigned int value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, unsigned long value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, unsigned long long value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, bool value, PropertyType type, AccessType access,
                     int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, double value, PropertyType type, AccessType access,
                     int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, const char* value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    bool addProperty(const std::string& name, const std::string& value, PropertyType type,
                     AccessType access, int category = 0, const std::string& description = "");
    // An enumeration with its value names and initial index.
    bool addProperty(const std::string& name, long long index, const std::vector<std::string>& names,
                     PropertyType type, AccessType access, int category = 0,
                     const std::string& description = "");
    bool addProperty(const std::string& name, long long index, char** names, int count,
                     PropertyType type, AccessType access, int category = 0,
                     const std::string& description = "");
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
    bool declare(const std::string& name, V value, PropertyType type, AccessType access,
                 int category, const std::string& description);
    bool insertRecord(const std::string& name, std::unique_ptr<Property> record);
    void copyTableFrom(const PropertyInterface& source);
    // The one place where writes are announced; fill sets the event's value.
    template <class Fill>
    void announceChange(const std::string& name, Fill fill);

    mutable Mutex m_mutex;  // guards m_table
    PropertyTable m_table;
    CategoryManager m_categories;
};

}  // namespace Korvane
