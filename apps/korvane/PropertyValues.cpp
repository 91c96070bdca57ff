#include "PropertyValues.h"

#include <cerrno>
#include <cfloat>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace KorvaneTool {

using namespace Korvane;

bool parseBool(const std::string& text, bool& value) {
    for (const char* yes : {"true", "1", "on", "yes"}) {
        if (text == yes) return value = true;
    }
    for (const char* no : {"false", "0", "off", "no"}) {
        if (text == no) return !(value = false);
    }
    return false;
}

namespace {

struct Limits {
    long double low, high;
};

Limits limitsOf(PropertyType type) {
    switch (type) {
        case int8_property:
            return {INT8_MIN, INT8_MAX};
        case int16_property:
            return {INT16_MIN, INT16_MAX};
        case int32_property:
            return {INT32_MIN, INT32_MAX};
        case int64_property:
            return {static_cast<long double>(INT64_MIN), static_cast<long double>(INT64_MAX)};
        case uint8_property:
            return {0, UINT8_MAX};
        case uint16_property:
            return {0, UINT16_MAX};
        case uint32_property:
            return {0, UINT32_MAX};
        case uint64_property:
            return {0, static_cast<long double>(UINT64_MAX)};
        case float_property:
            return {-FLT_MAX, FLT_MAX};
        default:
            return {-DBL_MAX, DBL_MAX};
    }
}

// Whole numbers in full (a range end such as 4294967295 must read exactly).
std::string numberText(long double value, bool whole) {
    char text[64];
    std::snprintf(text, sizeof text, whole ? "%.0Lf" : "%.7Lg", value);
    return text;
}

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
    return text;
}

bool parseSigned(const std::string& text, long long& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtoll(text.c_str(), &end, 0);
    return *end == '\0' && errno == 0;
}

bool parseUnsigned(const std::string& text, unsigned long long& value) {
    if (text.empty() || text[0] == '-') return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtoull(text.c_str(), &end, 0);
    return *end == '\0' && errno == 0;
}

bool setTyped(PropertyInterface& target, const std::string& name, PropertyType type,
              const std::string& text) {
    const Limits limits = limitsOf(type);
    if (type == bool_property) {
        bool value = false;
        return parseBool(text, value) && target.setProperty(name, value);
    }
    if (type == enum_property) {
        const std::vector<std::string>& names = target.propertyEnumList(name);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (names[i] == text)
                return target.setProperty(name, static_cast<unsigned long long>(i));
        }
        return false;
    }
    if (hasClass(type, signed_class)) {
        long long value = 0;
        return parseSigned(text, value) && value >= limits.low && value <= limits.high &&
               target.setProperty(name, value);
    }
    if (hasClass(type, unsigned_class)) {
        unsigned long long value = 0;
        return parseUnsigned(text, value) && value <= limits.high &&
               target.setProperty(name, value);
    }
    if (hasClass(type, floating_class)) {
        char* end = nullptr;
        errno = 0;
        const double value = std::strtod(text.c_str(), &end);
        return !text.empty() && *end == '\0' && errno == 0 && value >= limits.low &&
               value <= limits.high && target.setProperty(name, value);
    }
    return target.setProperty(name, text);
}

}  // namespace

bool setFromText(PropertyInterface& target, const std::string& owner, const std::string& name,
                 const std::string& text, std::string& error) {
    const PropertyType type = target.propertyType(name);
    if (type == invalid_property) {
        error =
            owner + " has no property \"" + name + "\"; its properties: " + propertyNames(target);
        return false;
    }
    if ((target.propertyAccess(name) & write_access) == 0) {
        error = owner + "'s property " + name + " is read-only";
        return false;
    }
    if (setTyped(target, name, type, text)) return true;
    error = owner + ": \"" + text + "\" is not a value of " + name + ", which takes " +
            rangeText(target, name);
    return false;
}

std::string propertyNames(const PropertyInterface& target) {
    return joined(target.propertyNameList());
}

std::string valueText(const PropertyInterface& target, const std::string& name) {
    const PropertyType type = target.propertyType(name);
    if (type == enum_property) {
        unsigned long long index = 0;
        const std::vector<std::string>& names = target.propertyEnumList(name);
        if (!target.getProperty(name, &index)) return "(not readable)";
        return index < names.size() ? names[index] : std::to_string(index);
    }
    if (type == bool_property) {
        bool value = false;
        if (!target.getProperty(name, &value)) return "(not readable)";
        return value ? "true" : "false";
    }
    if (hasClass(type, signed_class)) {
        long long value = 0;
        return target.getProperty(name, &value) ? std::to_string(value) : "(not readable)";
    }
    if (hasClass(type, unsigned_class)) {
        unsigned long long value = 0;
        return target.getProperty(name, &value) ? std::to_string(value) : "(not readable)";
    }
    if (hasClass(type, floating_class)) {
        double value = 0;
        return target.getProperty(name, &value) ? numberText(value, false) : "(not readable)";
    }
    std::string value;
    return target.getProperty(name, &value) ? "\"" + value + "\"" : "(not readable)";
}

std::string rangeText(const PropertyInterface& target, const std::string& name) {
    const PropertyType type = target.propertyType(name);
    if (type == bool_property) return "true or false";
    if (type == enum_property) return "one of " + joined(target.propertyEnumList(name));
    if (hasClass(type, string_class)) return "any text";
    const Limits limits = limitsOf(type);
    const bool whole = !hasClass(type, floating_class);
    return std::string(whole ? "a whole number" : "a number") + " from " +
           numberText(limits.low, whole) + " to " + numberText(limits.high, whole);
}

std::string typeText(PropertyType type) {
    switch (type) {
        case int8_property:
            return "int8";
        case int16_property:
            return "int16";
        case int32_property:
            return "int32";
        case int64_property:
            return "int64";
        case bool_property:
            return "bool";
        case uint8_property:
            return "uint8";
        case uint16_property:
            return "uint16";
        case uint32_property:
            return "uint32";
        case uint64_property:
            return "uint64";
        case enum_property:
            return "enum";
        case float_property:
            return "float";
        case double_property:
            return "double";
        case string_property:
            return "string";
        default:
            return "invalid";
    }
}

std::string accessText(AccessType access) {
    switch (access) {
        case read_access:
            return "read-only";
        case write_access:
            return "write-only";
        case read_write_access:
            return "read-write";
        default:
            return "no access";
    }
}

double numberOf(const PropertyInterface& target, const std::string& name, double fallback) {
    const PropertyType type = target.propertyType(name);
    if (hasClass(type, signed_class)) {
        long long value = 0;
        return target.getProperty(name, &value) ? static_cast<double>(value) : fallback;
    }
    if (hasClass(type, unsigned_class)) {
        unsigned long long value = 0;
        return target.getProperty(name, &value) ? static_cast<double>(value) : fallback;
    }
    double value = 0;
    return hasClass(type, floating_class) && target.getProperty(name, &value) ? value : fallback;
}

}  // namespace KorvaneTool
