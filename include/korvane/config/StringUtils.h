#pragma once
// Free string functions shared by the property system, the registry and the
// managers: name checking and cleaning, %NAME% expansion, ';'-lists, random keys.
// All are pure functions callable from any thread; expand reads properties through
// their interface's own lock, one reference at a time.
//
// Decisions on expand: an opening '%' without a closing one keeps the rest of the
// text literally ("50% off" stays as it is); the scan for the next reference starts
// right after a closing '%', so "%A%%B%" is value(A) + value(B); "%%" names nothing
// and is removed. A reference to a property whose expansion is already in progress
// (a cycle such as A = %B%, B = %A%) and a reference nested deeper than 32 levels
// expand to nothing, so no setting can make expansion run away.

#include <korvane/core/Export.h>

#include <string>
#include <vector>

namespace Korvane {

class PropertyInterface;

// The characters allowed in property names.
KORVANE_API const std::string& propertyNameAlphabet();

// True if name is not empty and every character is in the property-name alphabet.
KORVANE_API bool isValidName(const std::string& name);

// name with every character outside the property-name alphabet replaced by
// replacement; a replacement that is not itself a valid name (or is null) deletes the
// character instead. An empty result becomes a single underscore.
KORVANE_API std::string validateName(const std::string& name, const char* replacement);

// Replaces each %NAME% by the text value of source's property NAME, itself expanded
// against Registry::get() whatever source is. Unknown or unreadable names, and all
// references when resolve is false, expand to nothing. A null source returns text.
KORVANE_API std::string expand(const std::string& text, bool resolve,
                               const PropertyInterface* source);

// Splits text at ';' (escape as the escape character), expands each item and splits
// each result again the same way; all items in order.
KORVANE_API std::vector<std::string> expandList(const std::string& text, const std::string& escape,
                                                bool resolve, const PropertyInterface* source);

// Tokenizer on the first characters of delimiter and escape. Escaping works only when
// both are exactly one character: e+d and e+e stand for d and e, e before anything
// else is dropped. A trailing delimiter gives no empty last item, adjacent delimiters
// give an empty one. When the text ends in an escape character or an escaped pair,
// the last item is lost. Both strings empty: no items.
KORVANE_API std::vector<std::string> split(const std::string& text, const std::string& delimiter,
                                           const std::string& escape);

// Plain cutting tokenizer: every delimiter not directly preceded by the escape
// character cuts, and the escape character in front of a delimiter is removed; an
// escape character before anything else stays. n unescaped delimiters give n + 1 items
// (empty ones included); an empty text gives none; an empty delimiter never cuts.
KORVANE_API std::vector<std::string> _split_(const std::string& text, const std::string& delimiter,
                                             const std::string& escape);

// Each item followed by separator, the last one included: {a, b} and ";" give "a;b;".
KORVANE_API std::string serialize(const std::vector<std::string>& items,
                                  const std::string& separator);

// Inserts escape[0] in text before every occurrence of chars, left to right, and
// resumes matching two characters after the insertion point (so with a chars of
// several characters, matches may overlap). Does nothing if either is empty.
// Returns the changed text.
KORVANE_API std::string escapeChars(std::string& text, const std::string& chars,
                                    const std::string& escape);

// text without leading and trailing characters from chars; a text made only of such
// characters (or empty) is returned unchanged. text itself is not changed.
KORVANE_API std::string stripChars(const std::string& text, const std::string& chars);

// "{" + groups groups of length characters from 0-9A-Z joined by "-" + "}", each
// character (calendar seconds + rand()) % 36; empty when length or groups is below 1.
KORVANE_API std::string generateKey(int length, int groups);

}  // namespace Korvane
