#pragma once
// Properties as the tool's user reads and writes them: as text. The property table
// never converts text to numbers, so this is the one place that does, by the
// property's type (signed, unsigned, bool, enumeration by its value name, floating,
// text), checking the type's range. Error texts name the property, its owner and what
// it accepts. Called on the main thread while the component is not running.

#include <korvane/core/PropertyInterface.h>

#include <string>

namespace KorvaneTool {

// Sets name of target (owner names target in errors) from text; false with error set
// when the property does not exist, is read-only, or text is no value of its type.
bool setFromText(Korvane::PropertyInterface& target, const std::string& owner,
                 const std::string& name, const std::string& text, std::string& error);

// true/1/on/yes and false/0/off/no; false for any other text.
bool parseBool(const std::string& text, bool& value);
// "Name1, Name2, ..." of every property of target.
std::string propertyNames(const Korvane::PropertyInterface& target);
// The current value as text ("(not readable)" for a write-only property).
std::string valueText(const Korvane::PropertyInterface& target, const std::string& name);
// What a property accepts: "0 to 255", "one of Horizontal, Vertical", "true or false".
std::string rangeText(const Korvane::PropertyInterface& target, const std::string& name);
// "uint32", "double", "enum", "string" ...; "read-only", "write-only", "read-write".
std::string typeText(Korvane::PropertyType type);
std::string accessText(Korvane::AccessType access);
// A numeric property read as a number of any class; fallback when it cannot be read.
double numberOf(const Korvane::PropertyInterface& target, const std::string& name, double fallback);

}  // namespace KorvaneTool
