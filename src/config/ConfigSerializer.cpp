#include <korvane/config/ConfigSerializer.h>

#include "config/ValueText.h"

#include <istream>
#include <ostream>

namespace Korvane {

namespace {

std::string stripped(const std::string& text, const char* chars) {
    const std::size_t first = text.find_first_not_of(chars);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(chars) - first + 1);
}

void writeRecord(std::ostream& stream, const std::string& name, const Property& record) {
    const bool isEnum = record.type == enum_property;
    if (isEnum) {
        // The missing blank before "are:" is part of the file format.
        stream << "# The options for " << name << "are:\n";
        for (const std::string& option : record.enumNames) stream << "# " << option << '\n';
    }
    stream << "; " << record.description.str() << '\n' << name << " = ";
    if (record.type == bool_property) {
        stream << (record.value.u != 0 ? "true" : "false");
    } else {
        Internal::writeValue(stream, record);
    }
    stream << '\n';
    if (isEnum && record.value.u < record.enumNames.size()) {
        stream << record.enumNames[record.value.u];
    }
    stream << '\n' << std::endl;
}

Property recordFromText(const std::string& text, const PropertyText& description) {
    Property record;
    record.access = read_write_access;
    record.description = description;
    if (text == "true" || text == "yes" || text == "false" || text == "no") {
        record.type = bool_property;
        record.value.u = (text == "true" || text == "yes") ? 1 : 0;
    } else if (Internal::convertText(text, &record.value.d)) {
        record.type = double_property;
    } else if (Internal::convertText(text, &record.value.s)) {
        record.type = int64_property;
    } else {
        record.type = string_property;
        record.text = text;
    }
    return record;
}

// Comment lines ('#') and description lines (';') are never assignments, also when
// their text holds an '=' ("; Gain = exposure * 2").
bool isComment(const std::string& line) {
    const std::size_t first = line.find_first_not_of(" \t");
    return first != std::string::npos && (line[first] == '#' || line[first] == ';');
}

// Splits "key = value" at the first '=' and stores the typed record under the key.
void readAssignment(PropertyTable* table, const std::string& line,
                    const PropertyText& description) {
    if (isComment(line)) return;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) return;
    const char* const blanks = " \t\r";
    const std::string key = stripped(line.substr(0, equals), blanks);
    if (key.empty()) return;
    table->insertOrAssign(key,
                          recordFromText(stripped(line.substr(equals + 1), blanks), description));
}

}  // namespace

bool ConfigSerializer::write(const PropertyTable* table, std::ostream& stream) {
    if (!table) return false;
    stream << "# Korvane Properties\n# \n";
    for (const auto& [name, record] : *table) writeRecord(stream, name, record);
    return true;
}

bool ConfigSerializer::read(PropertyTable* table, std::istream& stream) {
    if (!table) return false;
    PropertyText description;  // shared by the records it describes
    std::string previous;
    std::string line;
    while (std::getline(stream, line)) {
        // A file written with CRLF line ends reads as if written with LF ones.
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '[') continue;
        if (!previous.empty() && previous[0] == ';') description = stripped(previous, "; ");
        readAssignment(table, line, description);
        previous = std::move(line);
    }
    return true;
}

}  // namespace Korvane
