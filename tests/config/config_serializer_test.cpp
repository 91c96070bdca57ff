#include <korvane/config/ConfigSerializer.h>

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "support/SerializedTable.h"

using namespace Korvane;

namespace {

using KorvaneTest::bytes;
using KorvaneTest::Table;

std::string written(const Table& table) {
    return KorvaneTest::written<ConfigSerializer>(table);
}

void readInto(Table* table, const std::string& text) {
    KorvaneTest::readInto<ConfigSerializer>(table, text);
}

double doubleOf(const Table& table, const std::string& name) {
    double value = 0;
    EXPECT_TRUE(table.getProperty(name, &value)) << name;
    return value;
}

std::string textOf(const Table& table, const std::string& name) {
    std::string value;
    EXPECT_TRUE(table.getProperty(name, &value)) << name;
    return value;
}

const char kHeader[] = "# Korvane Properties\n# \n";

}  // namespace

TEST(ConfigSerializer, EmptyTableWritesOnlyTheHeader) {
    EXPECT_EQ(written(Table()), kHeader);
}

TEST(ConfigSerializer, WritesEnumerationWithOptionsAndValueName) {
    Table table;
    table.addProperty("ThreadingPolicy", 1LL, {"Single-threaded", "Multi-threaded"}, enum_property,
                      read_write_access, 0, "Determines whether thread-safe methods are used.");
    EXPECT_EQ(written(table), std::string(kHeader) +
                                  "# The options for ThreadingPolicyare:\n"
                                  "# Single-threaded\n"
                                  "# Multi-threaded\n"
                                  "; Determines whether thread-safe methods are used.\n"
                                  "ThreadingPolicy = 1\n"
                                  "Multi-threaded\n"
                                  "\n");
}

TEST(ConfigSerializer, EnumerationIndexOutsideListLeavesValueNameLineEmpty) {
    Table table;
    table.addProperty("Mode", 5LL, {"A"}, enum_property, read_write_access);
    EXPECT_EQ(written(table),
              std::string(kHeader) + "# The options for Modeare:\n# A\n; \nMode = 5\n\n\n");
}

TEST(ConfigSerializer, WritesEachClassInNameOrderFollowedByTwoEmptyLines) {
    Table table;
    table.addProperty("Big", std::numeric_limits<unsigned long long>::max(), uint64_property,
                      read_access);
    table.addProperty("Flag", true, bool_property, read_write_access, 0, "On or off");
    table.addProperty("Gain", 2.5, double_property, read_write_access);
    table.addProperty("Offset", -7, int32_property, read_write_access);
    table.addProperty("Path", "C:\\data", string_property, read_write_access);
    table.addProperty("Quiet", false, bool_property, read_write_access);
    EXPECT_EQ(written(table), std::string(kHeader) +
                                  "; \nBig = 18446744073709551615\n\n\n"
                                  "; On or off\nFlag = true\n\n\n"
                                  "; \nGain = 2.5\n\n\n"
                                  "; \nOffset = -7\n\n\n"
                                  "; \nPath = C:\\data\n\n\n"
                                  "; \nQuiet = false\n\n\n");
}

TEST(ConfigSerializer, NumberReplacesWholeRecordByDouble) {
    Table table;
    table.addProperty("Gain", 5, int32_property, read_access, 4, "old");
    table.addProperty("Mode", 0LL, {"A", "B"}, enum_property, read_write_access);
    readInto(&table, "Gain = 2\nMode = 1\nB\n");
    EXPECT_EQ(table.propertyType("Gain"), double_property);
    EXPECT_EQ(doubleOf(table, "Gain"), 2.0);
    EXPECT_EQ(table.propertyCategory("Gain"), 0);
    EXPECT_EQ(table.propertyAccess("Gain"), read_write_access);
    EXPECT_EQ(table.propertyDescription("Gain"), "");
    EXPECT_EQ(table.propertyType("Mode"), double_property);
    EXPECT_TRUE(table.propertyEnumList("Mode").empty());
}

TEST(ConfigSerializer, TypesBooleanWordsCaseSensitively) {
    Table table;
    readInto(&table, "A = yes\nB = true\nC = no\nD = false\nE = No\nF = TRUE\n");
    for (const char* name : {"A", "B", "C", "D"}) {
        EXPECT_EQ(table.propertyType(name), bool_property) << name;
    }
    bool value = false;
    EXPECT_TRUE(table.getProperty("A", &value) && value);
    EXPECT_TRUE(table.getProperty("B", &value) && value);
    EXPECT_TRUE(table.getProperty("C", &value) && !value);
    EXPECT_TRUE(table.getProperty("D", &value) && !value);
    EXPECT_EQ(table.propertyType("E"), string_property);
    EXPECT_EQ(textOf(table, "E"), "No");
    EXPECT_EQ(textOf(table, "F"), "TRUE");
}

TEST(ConfigSerializer, TextThatIsNoNumberBecomesString) {
    Table table;
    readInto(&table, "Path = C:\\data\nEmpty =\nHex = 0x10\n");
    EXPECT_EQ(textOf(table, "Path"), "C:\\data");
    EXPECT_EQ(textOf(table, "Empty"), "");
    EXPECT_EQ(textOf(table, "Hex"), "0x10");
}

TEST(ConfigSerializer, AcceptsFloatingSpecialsAndOverlongIntegersAsDouble) {
    Table table;
    readInto(&table, "Inf = INFINITY\nNeg = -inf\nNan = nan\nHuge = 99999999999999999999999\n");
    EXPECT_EQ(doubleOf(table, "Inf"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(doubleOf(table, "Neg"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(doubleOf(table, "Nan")));
    EXPECT_EQ(doubleOf(table, "Huge"), 1e23);
}

TEST(ConfigSerializer, StripsBlanksTabsAndCarriageReturnsAndSplitsAtFirstEquals) {
    Table table;
    readInto(&table, " \tKey Name\t = \t value = text \r\n");
    EXPECT_EQ(textOf(table, "Key Name"), "value = text");
}

TEST(ConfigSerializer, DescriptionIsTheLastSemicolonLineSeen) {
    Table table;
    readInto(&table,
             ";; First comment ;;\n"
             "A = 1\n"
             "B = 2\n"
             "; Second\n"
             "\n"
             "# options\n"
             "C = 3\n");
    EXPECT_EQ(table.propertyDescription("A"), "First comment");
    EXPECT_EQ(table.propertyDescription("B"), "First comment");
    EXPECT_EQ(table.propertyDescription("C"), "Second");
}

TEST(ConfigSerializer, SkipsSectionLines) {
    Table table;
    readInto(&table, "[Section]\n[Inside = 1]\nA = 1\n");
    EXPECT_EQ(table.propertyNameList(), std::vector<std::string>{"A"});
}

TEST(ConfigSerializer, RoundTripThroughFileTypesValuesFromText) {
    Table source;
    source.addProperty("Count", 42, int32_property, read_access, 4, "How many");
    source.addProperty("Flag", true, bool_property, read_write_access, 0, "Switch");
    source.addProperty("Mode", 1LL, {"Off", "On"}, enum_property, read_write_access, 0, "Mode");
    source.addProperty("Name", "cam 1", string_property, read_access, 1, "The name");
    KorvaneTest::TempDir dir;
    ConfigSerializer serializer;
    {
        std::ofstream out(dir.file("props.txt"));
        ASSERT_TRUE(source.serialize(&serializer, out));
    }
    Table copy;
    std::ifstream in(dir.file("props.txt"));
    ASSERT_TRUE(copy.deserialize(&serializer, in));
    EXPECT_EQ(copy.propertyNameList(), source.propertyNameList());
    EXPECT_EQ(copy.propertyType("Count"), double_property);
    EXPECT_EQ(doubleOf(copy, "Count"), 42.0);
    EXPECT_EQ(copy.propertyDescription("Count"), "How many");
    EXPECT_EQ(copy.propertyType("Flag"), bool_property);
    EXPECT_EQ(copy.propertyDescription("Flag"), "Switch");
    EXPECT_EQ(doubleOf(copy, "Mode"), 1.0);
    EXPECT_EQ(textOf(copy, "Name"), "cam 1");
    EXPECT_EQ(copy.propertyAccess("Name"), read_write_access);
}

TEST(ConfigSerializer, NullTableFails) {
    ConfigSerializer serializer;
    std::istringstream in("A = 1\n");
    std::ostringstream out;
    EXPECT_FALSE(serializer.read(nullptr, in));
    EXPECT_FALSE(serializer.write(nullptr, out));
}

TEST(ConfigSerializer, MalformedLinesAreReadWithoutFailing) {
    Table table;
    readInto(&table, bytes("Bin\0ary = \xff\x00\xfe\n\xff\xff\n") +
                         ";\n"
                         "=\n"
                         "= 5\n"
                         "==\n"
                         "Overflow = 1e999999\n"
                         "Tiny = 1e-999999\n"
                         "[Unclosed\n"
                         "Truncated = 7");
    EXPECT_EQ(textOf(table, bytes("Bin\0ary")), bytes("\xff\x00\xfe"));
    EXPECT_EQ(textOf(table, "Overflow"), "1e999999");
    EXPECT_EQ(table.propertyType("Tiny"), double_property);
    EXPECT_EQ(doubleOf(table, "Truncated"), 7.0);
    EXPECT_EQ(table.propertyDescription("Truncated"), "");
    EXPECT_EQ(table.propertyCount(), 4);
}

TEST(ConfigSerializer, ReadsHundredThousandLines) {
    std::string text;
    text.reserve(2'000'000);
    for (int i = 0; i < 100'000; ++i) {
        text += (i % 2 == 0) ? "; note " + std::to_string(i)
                             : "P" + std::to_string(i % 1000) + " = " + std::to_string(i);
        text += '\n';
    }
    Table table;
    readInto(&table, text);
    EXPECT_EQ(table.propertyCount(), 500);
    EXPECT_EQ(doubleOf(table, "P999"), 99999.0);
    EXPECT_EQ(table.propertyDescription("P999"), "note 99998");
}
