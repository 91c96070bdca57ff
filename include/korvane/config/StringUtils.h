#pragma once
// Free string functions shared by the property system, the registry and the
// managers: name checking and cleaning.

#include <korvane/core/Export.h>

#include <string>

namespace Korvane {

// The characters allowed in property names.
KORVANE_API const std::string& propertyNameAlphabet();

// True if name is not empty and every character is in the property-name alphabet.
KORVANE_API bool isValidName(const std::string& name);

// name with every character outside the property-name alphabet replaced by
// replacement; a replacement that is not itself a valid name (or is null) deletes the
// character instead. An empty result becomes a single underscore.
KORVANE_API std::string validateName(const std::string& name, const char* replacement);

}  // namespace Korvane
