#pragma once
// StringSerializer writes a whole property table, with every record's type, access,
// category, description and value names, as one line of bracketed records, and reads
// it back. Stateless: any thread, with the caller holding the table's lock.
// Nothing is escaped, so a semicolon or ']' in a text, or a ':' in a value name, does
// not survive; floating values keep only the stream's precision (six digits by
// default). Reading stops at the first incomplete bracket pair; a record with fewer
// than six fields, an empty name or a number field that does not convert is skipped
// and reading goes on. Records are taken as read, without range checks.

#include <korvane/config/PropertySerializer.h>
#include <korvane/core/Export.h>

namespace Korvane {

class KORVANE_API StringSerializer : public PropertySerializer {
public:
    // Always true for a table; false for a null one.
    bool write(const PropertyTable* table, std::ostream& stream) override;
    // False only for a null table; skipped records are not reported.
    bool read(PropertyTable* table, std::istream& stream) override;
};

}  // namespace Korvane
