#include <korvane/config/StringSerializer.h>

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

#include "support/SerializedTable.h"

using namespace Korvane;

namespace {

using KorvaneTest::bytes;
using KorvaneTest::Table;

std::string written(const Table& table) {
    return KorvaneTest::written<StringSerializer>(table);
}

void readInto(Table* table, const std::string& text) {
    KorvaneTest::readInto<StringSerializer>(table, text);
}

// One record of every type, access right and kind of category.
void fillEveryType(Table* table) {
    const int userCategory = static_cast<int>(CategoryManager::USER_CATEGORY);
    table->addProperty("B", true, bool_property, read_write_access, 5, "bool");
    table->addProperty("D", -0.25, double_property, write_access, 6, "double");
    table->addProperty("E", 2LL, {"Zero", "One", "Two"}, enum_property, read_access, 7, "enum");
    table->addProperty("F", 1.5, float_property, read_write_access, userCategory, "float");
    table->addProperty("I16", static_cast<short>(-300), int16_property, not_set, 0, "");
    table->addProperty("I32", -70000, int32_property, read_write_access, 1, "int32");
    table->addProperty("I64", std::numeric_limits<long long>::min(), int64_property,
                       read_write_access, 2, "int64");
    table->addProperty("I8", static_cast<signed char>(-128), int8_property, read_access, 4, "");
    table->addProperty("S", "some text: with colon", string_property, read_write_access, 4, "s");
    table->addProperty("U16", static_cast<unsigned short>(65535), uint16_property,
                       read_write_access, 4, "");
    table->addProperty("U32", 4294967295u, uint32_property, read_write_access, 4, "");
    table->addProperty("U64", std::numeric_limits<unsigned long long>::max(), uint64_property,
                       read_write_access, 4, "");
    table->addProperty("U8", static_cast<unsigned char>(255), uint8_property, read_write_access, 4,
                       "");
}

}  // namespace

TEST(StringSerializer, EmptyTableWritesBracesAndLineEnd) {
    EXPECT_EQ(written(Table()), "{}\n");
}

TEST(StringSerializer, WritesOneLineOfBracketedRecords) {
    Table table;
    table.addProperty("Name", "cam1", string_property, read_access, 1,
                      "The name of the instance as created by a manager.");
    table.addProperty("ThreadingPolicy", 1LL, {"Single-threaded", "Multi-threaded"}, enum_property,
                      read_write_access, 0, "Determines whether thread-safe methods are used.");
    EXPECT_EQ(written(table),
              "{[Name;257;cam1;1;1;The name of the instance as created by a manager.;]"
              "[ThreadingPolicy;70;1;3;0;Determines whether thread-safe methods are used.;"
              "Single-threaded:Multi-threaded]}\n");
}

TEST(StringSerializer, WritesFloatingValuesWithTheStreamsPrecision) {
    Table table;
    table.addProperty("Pi", 3.14159265358979, double_property, read_write_access);
    table.addProperty("Flag", true, bool_property, read_write_access);
    EXPECT_EQ(written(table), "{[Flag;65;1;3;0;;][Pi;130;3.14159;3;0;;]}\n");
}

TEST(StringSerializer, RoundTripReproducesEveryRecord) {
    Table source;
    fillEveryType(&source);
    const std::string line = written(source);
    Table copy;
    readInto(&copy, line);
    EXPECT_EQ(written(copy), line);
    for (const std::string& name : source.propertyNameList()) {
        PropertyInfo expected;
        PropertyInfo actual;
        ASSERT_TRUE(source.propertyInfo(name, &expected));
        ASSERT_TRUE(copy.propertyInfo(name, &actual)) << name;
        EXPECT_EQ(actual.type, expected.type) << name;
        EXPECT_EQ(actual.access, expected.access) << name;
        EXPECT_EQ(actual.category, expected.category) << name;
        EXPECT_EQ(actual.description, expected.description) << name;
        EXPECT_EQ(copy.propertyEnumList(name), source.propertyEnumList(name)) << name;
    }
    long long i64 = 0;
    unsigned long long u64 = 0;
    double d = 0;
    std::string text;
    EXPECT_TRUE(copy.getPropertyForce("I64", &i64));
    EXPECT_EQ(i64, std::numeric_limits<long long>::min());
    EXPECT_TRUE(copy.getPropertyForce("U64", &u64));
    EXPECT_EQ(u64, std::numeric_limits<unsigned long long>::max());
    EXPECT_TRUE(copy.getPropertyForce("D", &d));
    EXPECT_EQ(d, -0.25);
    EXPECT_TRUE(copy.getPropertyForce("E", &text));
    EXPECT_EQ(text, "Two");
    EXPECT_TRUE(copy.getPropertyForce("S", &text));
    EXPECT_EQ(text, "some text: with colon");
    EXPECT_EQ(copy.propertyCategory("F"), static_cast<int>(CategoryManager::USER_CATEGORY));
}

TEST(StringSerializer, ReadReplacesExistingRecordEntirely) {
    Table table;
    table.addProperty("Gain", 1LL, {"A", "B"}, enum_property, read_write_access, 4, "old");
    readInto(&table, "{[Gain;130;2.5;1;6;new;ignored:names]}\n");
    EXPECT_EQ(table.propertyType("Gain"), double_property);
    EXPECT_EQ(table.propertyAccess("Gain"), read_access);
    EXPECT_EQ(table.propertyCategory("Gain"), 6);
    EXPECT_EQ(table.propertyDescription("Gain"), "new");
    EXPECT_TRUE(table.propertyEnumList("Gain").empty());
    double gain = 0;
    EXPECT_TRUE(table.getProperty("Gain", &gain));
    EXPECT_EQ(gain, 2.5);
}

TEST(StringSerializer, EmptyValueNamesGiveAnEmptyList) {
    Table table;
    readInto(&table, "{[Mode;70;0;3;0;d;]}");
    EXPECT_EQ(table.propertyType("Mode"), enum_property);
    EXPECT_TRUE(table.propertyEnumList("Mode").empty());
}

TEST(StringSerializer, StopsAtFirstIncompleteBracketPair) {
    Table table;
    readInto(&table, "{[A;36;1;3;0;a;][B;36;2;3;0;b;");
    EXPECT_EQ(table.propertyNameList(), std::vector<std::string>{"A"});
}

TEST(StringSerializer, ClosingBraceIsNotNeeded) {
    Table table;
    readInto(&table, "{[A;36;1;3;0;a;][B;36;2;3;0;b;]");
    EXPECT_EQ(table.propertyNameList(), (std::vector<std::string>{"A", "B"}));
}

TEST(StringSerializer, ReadsNothingWithoutOpeningBraceOrFromEmptyStream) {
    Table table;
    readInto(&table, "[A;36;1;3;0;a;]}\n");
    readInto(&table, "");
    EXPECT_EQ(table.propertyCount(), 0);
}

TEST(StringSerializer, ReadsOnlyTheFirstLine) {
    Table table;
    readInto(&table, "{[A;36;1;3;0;a;]}\n{[B;36;1;3;0;b;]}\n");
    EXPECT_EQ(table.propertyNameList(), std::vector<std::string>{"A"});
}

TEST(StringSerializer, SkipsMalformedRecordsAndReadsOn) {
    Table table;
    readInto(&table,
             "{[Before;36;1;3;0;;]"
             "[T;x;1;3;0;;][A;36;1;-;0;;][C;36;1;3;;;]"
             "[HugeInt;36;99999999999999999999999;3;0;;][HugeDbl;130;1e999999;3;0;;]"
             "[HugeType;99999999999;1;3;0;;][Short;36;1;3;0]"
             "[;257;x;3;0;;][;;;;;;][;][]"
             "[After;257;;3;0;;]}");
    EXPECT_EQ(table.propertyNameList(), (std::vector<std::string>{"After", "Before"}));
    std::string text = "unset";
    EXPECT_TRUE(table.getProperty("After", &text));
    EXPECT_EQ(text, "");
}

TEST(StringSerializer, ReadsBinaryBytesAsText) {
    Table table;
    readInto(&table, bytes("{[N\0\xff;257;\xff\x00\x01;3;0;\x7f;]}"));
    std::string text;
    EXPECT_TRUE(table.getProperty(bytes("N\0\xff"), &text));
    EXPECT_EQ(text, bytes("\xff\x00\x01"));
    EXPECT_EQ(table.propertyDescription(bytes("N\0\xff")), "\x7f");
}

TEST(StringSerializer, NullTableFails) {
    StringSerializer serializer;
    std::istringstream in("{}\n");
    std::ostringstream out;
    EXPECT_FALSE(serializer.read(nullptr, in));
    EXPECT_FALSE(serializer.write(nullptr, out));
}

TEST(StringSerializer, ReadsLineOfTwentyThousandRecords) {
    std::string line = "{";
    for (int i = 0; i < 20'000; ++i) {
        line += "[P" + std::to_string(i) + ";36;" + std::to_string(i) + ";3;0;;]";
    }
    line += "}\n";
    Table table;
    readInto(&table, line);
    EXPECT_EQ(table.propertyCount(), 20'000);
    long long value = 0;
    EXPECT_TRUE(table.getProperty("P19999", &value));
    EXPECT_EQ(value, 19999);
}
