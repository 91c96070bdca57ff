#include <gtest/gtest.h>
#include <korvane/config/ConfigSerializer.h>
#include <korvane/config/StringSerializer.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "support/SerializedTable.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Names = std::vector<std::string>;
constexpr double kInf = std::numeric_limits<double>::infinity();
const char kHeader[] = "# Korvane Properties\n# \n";
const char kPolicyText[] = "Determines whether thread-safe methods are used.";

void addPolicy(Table* table) {
    table->addProperty("ThreadingPolicy", 1LL, {"Single-threaded", "Multi-threaded"}, enum_property,
                       read_write_access, 0, kPolicyText);
}

TEST(PropertySerializer, EmptyAndNullTables) {
    EXPECT_EQ(written<ConfigSerializer>(Table()), kHeader);
    EXPECT_EQ(written<StringSerializer>(Table()), "{}\n");
    ConfigSerializer config;
    StringSerializer line;
    std::istringstream in("A = 1\n");
    std::ostringstream out;
    EXPECT_FALSE(config.read(nullptr, in) || config.write(nullptr, out));
    EXPECT_FALSE(line.read(nullptr, in) || line.write(nullptr, out));
}

TEST(ConfigSerializer, WritesEachClassInNameOrder) {
    Table table;
    table.addProperty("Big", std::numeric_limits<unsigned long long>::max(), uint64_property,
                      read_access);
    table.addProperty("Flag", true, bool_property, read_write_access, 0, "On or off");
    table.addProperty("Gain", 2.5, double_property, read_write_access);
    table.addProperty("Mode", 5LL, {"A"}, enum_property, read_write_access);  // index off the list
    table.addProperty("Offset", -7, int32_property, read_write_access);
    table.addProperty("Path", "C:\\data", string_property, read_write_access);
    table.addProperty("Quiet", false, bool_property, read_write_access);
    addPolicy(&table);
    EXPECT_EQ(written<ConfigSerializer>(table),
              std::string(kHeader) + "; \nBig = 18446744073709551615\n\n\n" +
                  "; On or off\nFlag = true\n\n\n; \nGain = 2.5\n\n\n" +
                  "# The options for Modeare:\n# A\n; \nMode = 5\n\n\n" +
                  "; \nOffset = -7\n\n\n; \nPath = C:\\data\n\n\n; \nQuiet = false\n\n\n" +
                  "# The options for ThreadingPolicyare:\n# Single-threaded\n# Multi-threaded\n" +
                  "; " + kPolicyText + "\nThreadingPolicy = 1\nMulti-threaded\n\n");
    // Option and value-name lines read back as nothing; descriptions come back.
    Table copy;
    readInto<ConfigSerializer>(&copy, written<ConfigSerializer>(table));
    EXPECT_EQ(copy.propertyNameList(), table.propertyNameList());
    EXPECT_EQ(copy.propertyDescription("ThreadingPolicy"), kPolicyText);
    EXPECT_EQ(valueOf<double>(copy, "ThreadingPolicy"), 1.0);
}

TEST(ConfigSerializer, NumberReplacesWholeRecordByDouble) {
    Table table;
    table.addProperty("Gain", 5, int32_property, read_access, 4, "old");
    table.addProperty("Mode", 0LL, {"A", "B"}, enum_property, read_write_access);
    readInto<ConfigSerializer>(&table, "Gain = 2\nMode = 1\nB\n");
    EXPECT_EQ(record(table, "Gain"), record(double_property, read_write_access, 0, ""));
    EXPECT_EQ(valueOf<double>(table, "Gain"), 2.0);
    EXPECT_TRUE(table.propertyType("Mode") == double_property &&
                table.propertyEnumList("Mode").empty());
}

TEST(ConfigSerializer, TypesEachValueFromItsText) {
    Table table;
    readInto<ConfigSerializer>(&table,
                               "A = yes\nB = true\nC = no\nD = false\nE = No\nF = TRUE\n"
                               "Path = C:\\data\nEmpty =\nHex = 0x10\n"
                               "Inf = INFINITY\nNeg = -inf\nNan = nan\n"
                               "Huge = 99999999999999999999999\n"
                               " \tKey Name\t = \t value = text \r\n");
    const std::pair<const char*, bool> flags[] = {
        {"A", true}, {"B", true}, {"C", false}, {"D", false}};
    for (const auto& [name, flag] : flags) {
        EXPECT_EQ(table.propertyType(name), bool_property) << name;
        EXPECT_EQ(valueOf<bool>(table, name), flag) << name;
    }
    // Booleans are matched case-sensitively; what is no number stays text.
    const std::pair<const char*, const char*> texts[] = {
        {"E", "No"},   {"F", "TRUE"},   {"Path", "C:\\data"},
        {"Empty", ""}, {"Hex", "0x10"}, {"Key Name", "value = text"}};
    for (const auto& [name, text] : texts)
        EXPECT_EQ(valueOf<std::string>(table, name), text) << name;
    EXPECT_EQ(valueOf<double>(table, "Inf"), kInf);
    EXPECT_EQ(valueOf<double>(table, "Neg"), -kInf);
    EXPECT_TRUE(std::isnan(valueOf<double>(table, "Nan")));
    EXPECT_EQ(valueOf<double>(table, "Huge"), 1e23);
}

TEST(ConfigSerializer, CommentsWithEqualsSignsAndCrlfLineEndsAreReadAsMeant) {
    Table table;
    readInto<ConfigSerializer>(&table,
                               "# Korvane Properties\r\n# \r\n# a = b\r\n"
                               "; Gain = exposure * 2\r\nGain = 2\r\n\r\n"
                               "  # indented = comment\r\n\t; Mode = x\r\nMode = fast\r\n");
    EXPECT_EQ(table.propertyNameList(), (std::vector<std::string>{"Gain", "Mode"}));
    EXPECT_EQ(table.propertyDescription("Gain"), "Gain = exposure * 2");
    EXPECT_EQ(valueOf<std::string>(table, "Mode"), "fast");
    // Only the line's last '\r' is its line end; a lone one inside stays text.
    readInto<ConfigSerializer>(&table, "; two\r\r\nText = a\rb\r\n");
    EXPECT_EQ(table.propertyDescription("Text"), "two\r");
    EXPECT_EQ(valueOf<std::string>(table, "Text"), "a\rb");
    // A description is the last semicolon line seen, whatever lies between.
    readInto<ConfigSerializer>(&table, ";; First ;;\nA = 1\nB = 2\n; Second\n\n# x\nC = 3\n");
    EXPECT_EQ(table.propertyDescription("B") + "|" + table.propertyDescription("C"),
              "First|Second");
}

TEST(ConfigSerializer, MalformedLinesAndSectionsAreReadWithoutFailing) {
    Table table;
    readInto<ConfigSerializer>(&table, bytes("Bin\0ary = \xff\x00\xfe\n\xff\xff\n") +
                                           "[Section]\n[Inside = 1]\n;\n=\n= 5\n==\n"
                                           "Overflow = 1e999999\nTiny = 1e-999999\n"
                                           "[Unclosed\nTruncated = 7");
    EXPECT_EQ(valueOf<std::string>(table, bytes("Bin\0ary")), bytes("\xff\x00\xfe"));
    EXPECT_EQ(valueOf<std::string>(table, "Overflow"), "1e999999");
    EXPECT_EQ(table.propertyType("Tiny"), double_property);
    EXPECT_EQ(valueOf<double>(table, "Truncated"), 7.0);
    EXPECT_EQ(table.propertyDescription("Truncated"), "");
    EXPECT_EQ(table.propertyCount(), 4);
}

TEST(StringSerializer, WritesOneLineOfBracketedRecords) {
    Table table;
    table.addProperty("Name", "cam1", string_property, read_access, 1,
                      "The name of the instance as created by a manager.");
    addPolicy(&table);
    EXPECT_EQ(written<StringSerializer>(table),
              "{[Name;257;cam1;1;1;The name of the instance as created by a manager.;]"
              "[ThreadingPolicy;70;1;3;0;Determines whether thread-safe methods are used.;"
              "Single-threaded:Multi-threaded]}\n");
    Table numbers;
    numbers.addProperty("Pi", 3.14159265358979, double_property, read_write_access);
    numbers.addProperty("Flag", true, bool_property, read_write_access);
    EXPECT_EQ(written<StringSerializer>(numbers), "{[Flag;65;1;3;0;;][Pi;130;3.14159;3;0;;]}\n");
}

TEST(StringSerializer, RoundTripReproducesEveryRecord) {
    using Limits = std::numeric_limits<long long>;
    using ULimits = std::numeric_limits<unsigned long long>;
    Table source;
    source.addProperty("B", true, bool_property, read_write_access, 5, "bool");
    source.addProperty("D", -0.25, double_property, write_access, 6, "double");
    source.addProperty("E", 2LL, {"Zero", "One", "Two"}, enum_property, read_access, 7, "enum");
    source.addProperty("F", 1.5, float_property, read_write_access,
                       static_cast<int>(CategoryManager::USER_CATEGORY), "float");
    source.addProperty("I8", static_cast<signed char>(-128), int8_property, not_set, 4, "");
    source.addProperty("I64", Limits::min(), int64_property, read_write_access, 2, "int64");
    source.addProperty("S", "some text: with colon", string_property, read_write_access, 4, "s");
    source.addProperty("U64", ULimits::max(), uint64_property, read_write_access, 4, "");
    const std::string line = written<StringSerializer>(source);
    Table copy;
    readInto<StringSerializer>(&copy, line);
    EXPECT_EQ(written<StringSerializer>(copy), line);
    // The line alone would not show a number read back as text: check typed values.
    EXPECT_EQ(valueOf<long long>(copy, "I64", true), Limits::min());
    EXPECT_EQ(valueOf<unsigned long long>(copy, "U64", true), ULimits::max());
    EXPECT_EQ(valueOf<std::string>(copy, "E", true), "Two");
    EXPECT_EQ(copy.propertyEnumList("E"), source.propertyEnumList("E"));
}

TEST(StringSerializer, ReadReplacesExistingRecordEntirely) {
    Table table;
    table.addProperty("Gain", 1LL, {"A", "B"}, enum_property, read_write_access, 4, "old");
    readInto<StringSerializer>(&table,
                               "{[Gain;130;2.5;1;6;new;ignored:names][Mode;70;0;3;0;d;]}\n");
    EXPECT_EQ(record(table, "Gain"), record(double_property, read_access, 6, "new"));
    EXPECT_EQ(valueOf<double>(table, "Gain"), 2.5);
    EXPECT_TRUE(table.propertyEnumList("Gain").empty());
    EXPECT_TRUE(table.propertyType("Mode") == enum_property &&
                table.propertyEnumList("Mode").empty())
        << "no value names give an empty list";
}

TEST(StringSerializer, ReadsCompleteBracketPairsOfTheFirstLineOnly) {
    const std::pair<const char*, Names> cases[] = {
        {"{[A;36;1;3;0;a;][B;36;2;3;0;b;", {"A"}},        // incomplete pair ends reading
        {"{[A;36;1;3;0;a;][B;36;2;3;0;b;]", {"A", "B"}},  // closing brace not needed
        {"[A;36;1;3;0;a;]}\n", {}},                       // no opening brace
        {"", {}},
        {"{[A;36;1;3;0;a;]}\n{[B;36;1;3;0;b;]}\n", {"A"}},
    };
    for (const auto& [line, expected] : cases) {
        Table table;
        readInto<StringSerializer>(&table, line);
        EXPECT_EQ(table.propertyNameList(), expected) << line;
    }
}

TEST(StringSerializer, SkipsMalformedRecordsAndReadsOn) {
    Table table;
    readInto<StringSerializer>(
        &table,
        "{[Before;36;1;3;0;;]"
        "[T;x;1;3;0;;][A;36;1;-;0;;][C;36;1;3;;;]"
        "[HugeInt;36;99999999999999999999999;3;0;;][HugeDbl;130;1e999999;3;0;;]"
        "[HugeType;99999999999;1;3;0;;][Short;36;1;3;0]"
        "[;257;x;3;0;;][;;;;;;][;][]"
        "[After;257;;3;0;;]}");
    EXPECT_EQ(table.propertyNameList(), (Names{"After", "Before"}));
    EXPECT_EQ(valueOf<std::string>(table, "After"), "");
    Table binary;
    readInto<StringSerializer>(&binary, bytes("{[N\0\xff;257;\xff\x00\x01;3;0;\x7f;]}"));
    EXPECT_EQ(valueOf<std::string>(binary, bytes("N\0\xff")), bytes("\xff\x00\x01"));
    EXPECT_EQ(binary.propertyDescription(bytes("N\0\xff")), "\x7f");
}

TEST(StringSerializer, ReadsLineOfTwentyThousandRecords) {
    std::string line = "{";
    for (int i = 0; i < 20'000; ++i) line += "[P" + std::to_string(i) + ";36;7;3;0;;]";
    Table table;
    readInto<StringSerializer>(&table, line + "}\n");
    EXPECT_EQ(table.propertyCount(), 20'000);
    EXPECT_EQ(table.propertyType("P19999"), int64_property);
}

}  // namespace
