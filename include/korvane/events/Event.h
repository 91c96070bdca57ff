#pragma once
// Events: small copyable objects that tell the host what happened inside the
// library. Whoever has something to say allocates one and hands it to the event
// manager, which owns it from then on; a dispatcher must copy what it keeps.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyTypes.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace Korvane {

class KORVANE_API Event {
public:
    enum Type : std::uint32_t {
        Error = 0x01004000,
        PropertyChanged = 0x10000000,
        TypeRegistered = 0x10002001,
        TypeUnregistered = 0x10002002,
        InstanceCreated = 0x10002003,
        InstanceReleased = 0x10002004,
        User = 0x80000000,
    };

    explicit Event(Type type) : m_type(type) {}
    Event(const Event&) = default;
    Event& operator=(const Event&) = default;
    virtual ~Event();

    Type type() const { return m_type; }
    void accept() { m_accepted = true; }
    void ignore() { m_accepted = false; }
    bool accepted() const { return m_accepted; }
    // Written when the event is posted; read it only on posted events.
    std::uint64_t senderId() const { return m_senderId; }
    void setSenderId(std::uint64_t id) { m_senderId = id; }

private:
    Type m_type;
    bool m_accepted = false;
    std::uint64_t m_senderId = 0;
};

// A property was written. Each value field is set only by its own setter; the
// property type is left for the host to fill in. Integers are kept as one 64-bit
// signed and one 64-bit unsigned field: any integer type sets the field of its
// signedness, so setValue(asInt()) and setValue(asUint()) round-trip.
class KORVANE_API PropertyEvent : public Event {
public:
    explicit PropertyEvent(const std::string& name) : Event(PropertyChanged), m_name(name) {}
    ~PropertyEvent() override;

    std::string name() const { return m_name; }
    PropertyType propertyType() const { return m_propertyType; }
    void setPropertyType(PropertyType type) { m_propertyType = type; }

    std::uint64_t asUint() const { return m_unsigned; }
    std::int64_t asInt() const { return m_signed; }
    double asFloat() const { return m_floating; }
    std::string asString() const { return m_text; }

    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    void setValue(Integer value) {
        if constexpr (std::is_signed_v<Integer>)
            m_signed = static_cast<std::int64_t>(value);
        else
            m_unsigned = static_cast<std::uint64_t>(value);
    }
    void setValue(double value) { m_floating = value; }
    void setValue(const std::string& text) { m_text = text; }
    // An enumeration: its index and its value name together.
    void setValue(std::uint64_t index, const std::string& text) {
        m_unsigned = index;
        m_text = text;
    }

private:
    std::string m_name;
    PropertyType m_propertyType = invalid_property;
    std::uint64_t m_unsigned = 0;
    std::int64_t m_signed = 0;
    double m_floating = 0.0;
    std::string m_text;
};

class KORVANE_API ManagerEvent : public Event {
public:
    ManagerEvent(Type type, const std::string& typeName, const std::string& instanceName,
                 const std::string& custom)
        : Event(type), m_typeName(typeName), m_instanceName(instanceName), m_custom(custom) {}
    ~ManagerEvent() override;

    std::string typeName() const { return m_typeName; }
    std::string instanceName() const { return m_instanceName; }
    std::string custom() const { return m_custom; }

private:
    std::string m_typeName;
    std::string m_instanceName;
    std::string m_custom;
};

class KORVANE_API ProcessEvent : public Event {
public:
    explicit ProcessEvent(Type type) : Event(type) {}
    ~ProcessEvent() override;
};

class KORVANE_API ErrorEvent : public Event {
public:
    ErrorEvent(std::int64_t code, const std::string& message)
        : Event(Error), m_message(message), m_code(code) {}
    ~ErrorEvent() override;

    std::int64_t code() const { return m_code; }
    std::string message() const { return m_message; }

private:
    std::string m_message;
    std::int64_t m_code;
};

class KORVANE_API UserEvent : public Event {
public:
    explicit UserEvent(const std::string& message) : Event(User), m_message(message) {}
    ~UserEvent() override;

    std::string message() const { return m_message; }

private:
    std::string m_message;
};

}  // namespace Korvane
