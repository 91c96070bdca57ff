#include <korvane/config/StringSerializer.h>

#include "config/ValueText.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/split.hpp>

#include <istream>
#include <ostream>
#include <vector>

namespace Korvane {

namespace {

// Field positions inside one bracketed record.
enum Field {
    name_field,
    type_field,
    value_field,
    access_field,
    category_field,
    description_field,
    names_field
};

void writeRecord(std::ostream& stream, const std::string& name, const Property& record) {
    stream << '[' << name << ';' << record.type << ';';
    Internal::writeValue(stream, record);
    stream << ';' << record.access << ';' << record.category << ';' << record.description.str()
           << ';';
    if (record.type == enum_property) stream << boost::algorithm::join(record.enumNames, ":");
    stream << ']';
}

// The text of the next complete bracket pair at or after *position, which moves past
// it; false when there is none.
bool nextBracketPair(const std::string& line, std::size_t* position, std::string* body) {
    const std::size_t open = line.find('[', *position);
    if (open == std::string::npos) return false;
    const std::size_t close = line.find(']', open + 1);
    if (close == std::string::npos) return false;
    body->assign(line, open + 1, close - open - 1);
    *position = close + 1;
    return true;
}

// The record in the text between two brackets; false when it is malformed.
bool parseRecord(const std::string& body, std::string* name, Property* record) {
    std::vector<std::string> fields;
    boost::split(fields, body, boost::is_any_of(";"));
    if (fields.size() <= description_field || fields[name_field].empty()) return false;
    unsigned int type = 0;
    unsigned int access = 0;
    unsigned int category = 0;
    if (!Internal::convertText(fields[type_field], &type) ||
        !Internal::convertText(fields[access_field], &access) ||
        !Internal::convertText(fields[category_field], &category)) {
        return false;
    }
    record->type = static_cast<PropertyType>(type);
    record->access = static_cast<AccessType>(access);
    // Categories from USER_CATEGORY up are written as negative ints; lexical_cast
    // reads "-n" into an unsigned as its two's complement, which restores them.
    record->category = static_cast<int>(category);
    record->description = std::move(fields[description_field]);
    if (!Internal::readValue(fields[value_field], record)) return false;
    // An empty names field is an empty list, not one empty name.
    if (record->type == enum_property && fields.size() > names_field &&
        !fields[names_field].empty()) {
        boost::split(record->enumNames, fields[names_field], boost::is_any_of(":"));
    }
    *name = std::move(fields[name_field]);
    return true;
}

}  // namespace

bool StringSerializer::write(const PropertyTable* table, std::ostream& stream) {
    if (!table) return false;
    stream << '{';
    for (const auto& [name, record] : *table) writeRecord(stream, name, record);
    stream << '}' << std::endl;
    return true;
}

bool StringSerializer::read(PropertyTable* table, std::istream& stream) {
    if (!table) return false;
    std::string line;
    std::getline(stream, line);
    std::size_t position = line.find('{');
    std::string body;
    while (position != std::string::npos && nextBracketPair(line, &position, &body)) {
        std::string name;
        Property record;
        if (parseRecord(body, &name, &record)) table->insertOrAssign(name, std::move(record));
    }
    return true;
}

}  // namespace Korvane
