#pragma once
// ConfigSerializer writes a property table as a human-readable property file
// ("# Korvane Properties") and reads such files back, typing each value from its
// text; a value read replaces the whole record of its name. Stateless: any thread,
// with the caller holding the table's lock (PropertyInterface::serialize does).
// Reading takes as description the last line starting with ';' seen before the
// assignment (empty and section lines are passed over), and ignores assignments
// whose key is empty: no property can be named "". Lines starting (after blanks) with
// '#' or ';' are comments even when they hold an '=', and a line's final '\r' is
// dropped, so files with CRLF line ends read like the others.

#include <korvane/config/PropertySerializer.h>
#include <korvane/core/Export.h>

namespace Korvane {

class KORVANE_API ConfigSerializer : public PropertySerializer {
public:
    // Always true for a table; false for a null one.
    bool write(const PropertyTable* table, std::ostream& stream) override;
    // False only for a null table: lines that do not parse are ignored.
    bool read(PropertyTable* table, std::istream& stream) override;
};

}  // namespace Korvane
