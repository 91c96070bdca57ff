#pragma once
// A property table that tests fill freely, and one-call writing and reading of it
// through a serializer, for the serializer tests.

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

// A string literal with its embedded NUL bytes.
template <std::size_t N>
std::string bytes(const char (&literal)[N]) {
    return std::string(literal, N - 1);
}

}  // namespace KorvaneTest
