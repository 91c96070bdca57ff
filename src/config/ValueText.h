#pragma once
// The text form of a property value, shared by the serializers: a record's value is
// written and read by the class of its type (signed, unsigned, floating, text), with
// the stream's own formatting and boost::lexical_cast conversions.

#include <korvane/core/PropertyInterface.h>

#include <boost/lexical_cast/try_lexical_convert.hpp>

#include <ostream>
#include <string>

namespace Korvane::Internal {

// Converts the whole text; out is left alone when it does not convert.
template <class T>
bool convertText(const std::string& text, T* out) {
    T value{};
    if (!boost::conversion::try_lexical_convert(text, value)) return false;
    *out = value;
    return true;
}

// Writes nothing for a type without a class bit.
inline void writeValue(std::ostream& stream, const Property& record) {
    if (hasClass(record.type, signed_class)) {
        stream << record.value.s;
    } else if (hasClass(record.type, unsigned_class)) {
        stream << record.value.u;
    } else if (hasClass(record.type, floating_class)) {
        stream << record.value.d;
    } else if (hasClass(record.type, string_class)) {
        stream << record.text;
    }
}

// The reverse of writeValue for record->type; false when the text does not convert.
inline bool readValue(const std::string& text, Property* record) {
    if (hasClass(record->type, signed_class)) return convertText(text, &record->value.s);
    if (hasClass(record->type, unsigned_class)) return convertText(text, &record->value.u);
    if (hasClass(record->type, floating_class)) return convertText(text, &record->value.d);
    if (hasClass(record->type, string_class)) record->text = text;
    return true;
}

}  // namespace Korvane::Internal
