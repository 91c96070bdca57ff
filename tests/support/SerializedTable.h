#pragma once
// A property table that tests fill freely, one-call writing and reading of it through a
// serializer, and typed reading of its records, for the serializer and registry tests.

#include <gtest/gtest.h>
#include <korvane/core/PropertyInterface.h>

#include <sstream>
#include <string>

namespace KorvaneTest {

class Table : public Korvane::PropertyInterface {
public:
    using PropertyInterface::addProperty;
    using PropertyInterface::getPropertyForce;
};

template <class Serializer>
std::string written(const Table& table) {
    Serializer serializer;
    std::ostringstream out;
    EXPECT_TRUE(table.serialize(&serializer, out));
    return out.str();
}

template <class Serializer>
void readInto(Table* table, const std::string& text) {
    Serializer serializer;
    std::istringstream in(text);
    EXPECT_TRUE(table->deserialize(&serializer, in));
}

// The value of name as T; force reads past the access rights.
template <class T>
T valueOf(const Table& table, const std::string& name, bool force = false) {
    T value{};
    EXPECT_TRUE(force ? table.getPropertyForce(name, &value) : table.getProperty(name, &value))
        << name;
    return value;
}

// Type, access, category and description of a record, comparable in one check.
inline std::string record(Korvane::PropertyType type, Korvane::AccessType access, int category,
                          const std::string& description) {
    return std::to_string(type) + "/" + std::to_string(access) + "/" + std::to_string(category) +
           "/" + description;
}
inline std::string record(const Korvane::PropertyInterface& table, const std::string& name) {
    Korvane::PropertyInfo info;
    EXPECT_TRUE(table.propertyInfo(name, &info)) << name;
    return record(info.type, info.access, info.category, info.description);
}

// A string literal with its embedded NUL bytes.
template <std::size_t N>
std::string bytes(const char (&literal)[N]) {
    return std::string(literal, N - 1);
}

}  // namespace KorvaneTest
