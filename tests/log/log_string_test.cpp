#include <gtest/gtest.h>
#include <korvane/log/LogString.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

using namespace Korvane;

namespace {

std::string filled(const char* text, double value) {
    return LogString(text).arg(value).get();
}

}  // namespace

TEST(LogString, ConstructorsTakeTheText) {
    EXPECT_EQ(LogString().get(), "");
    EXPECT_EQ(LogString("abc").get(), "abc");
    EXPECT_EQ(LogString(std::string("abc")).get(), "abc");
    EXPECT_EQ(LogString("abcdef", 3).get(), "abc");
    EXPECT_EQ(LogString(static_cast<const char*>(nullptr)).get(), "");
    EXPECT_EQ(LogString(nullptr, 4).get(), "");
    EXPECT_EQ(LogString("abc", -1).get(), "");
}

TEST(LogString, ChainedArgsFillNumberedPlaceholders) {
    EXPECT_EQ(LogString("Detected %1 devices.").arg(3).get(), "Detected 3 devices.");
    EXPECT_EQ(LogString("%2 before %1").arg("one").arg(std::string("two")).get(), "two before one");
}

TEST(LogString, OnlyTheFirstOccurrenceIsReplaced) {
    EXPECT_EQ(LogString("a %1 b %1").arg(1).get(), "a 1 b %1");
}

TEST(LogString, MissingPlaceholderStillConsumesItsNumber) {
    LogString text("x");
    text.arg(5);
    EXPECT_EQ(text.get(), "x");
    LogString numbered("%1 %2");
    numbered.arg();  // "%1" removed
    numbered.arg("second");
    EXPECT_EQ(numbered.get(), " second");

    LogString skipping("only %2");
    skipping.arg("lost").arg("found");
    EXPECT_EQ(skipping.get(), "only found");
}

TEST(LogString, PlaceholderOneMatchesTheStartOfTen) {
    EXPECT_EQ(LogString("%10").arg("X").get(), "X0");
}

TEST(LogString, InsertedTextIsNotSearchedAgain) {
    EXPECT_EQ(LogString("%1 %2").arg("%2").arg("b").get(), "b %2");
}

TEST(LogString, BoolAndEmptyArgs) {
    EXPECT_EQ(LogString("%1").arg(true).get(), "true");
    EXPECT_EQ(LogString("%1").arg(false).get(), "false");
    EXPECT_EQ(LogString("%1").arg().get(), "");
    EXPECT_EQ(LogString("[%1]").arg(static_cast<const char*>(nullptr)).get(), "[]");
}

TEST(LogString, SignedIntegersOfEveryWidth) {
    EXPECT_EQ(LogString("%1").arg(-1).get(), "-1");
    EXPECT_EQ(LogString("%1").arg(static_cast<signed char>(-128)).get(), "-128");
    EXPECT_EQ(LogString("%1").arg(static_cast<short>(-32768)).get(), "-32768");
    EXPECT_EQ(LogString("%1").arg(-7L).get(), "-7");
    EXPECT_EQ(LogString("%1").arg(std::int64_t{-5}).get(), "-5");
    EXPECT_EQ(LogString("%1").arg(std::numeric_limits<long long>::min()).get(),
              "-9223372036854775808");
    EXPECT_EQ(LogString("%1").arg(std::numeric_limits<long long>::max()).get(),
              "9223372036854775807");
}

TEST(LogString, UnsignedIntegersAreZeroExtended) {
    EXPECT_EQ(LogString("%1").arg(static_cast<unsigned char>(255)).get(), "255");
    EXPECT_EQ(LogString("%1").arg(static_cast<unsigned short>(65535)).get(), "65535");
    EXPECT_EQ(LogString("%1").arg(4294967295U).get(), "4294967295");
    EXPECT_EQ(LogString("%1").arg(std::uint64_t{42}).get(), "42");
    EXPECT_EQ(LogString("%1").arg(std::numeric_limits<unsigned long long>::max()).get(),
              "18446744073709551615");
}

TEST(LogString, FloatingValuesUseShortestGeneralFormat) {
    EXPECT_EQ(filled("%1", 0.5), "0.5");
    EXPECT_EQ(filled("%1", 1e20), "1e+20");
    EXPECT_EQ(filled("%1", 3.14159265), "3.14159");
    EXPECT_EQ(LogString("%1").arg(2.5f).get(), "2.5");
    EXPECT_EQ(filled("%1", -std::numeric_limits<double>::max()), "-1.79769e+308");
}

TEST(LogString, PointerUsesThePlatformPointerFormat) {
    int target = 0;
    char expected[32];
    std::snprintf(expected, sizeof expected, "%p", static_cast<void*>(&target));
    EXPECT_EQ(LogString("at %1").arg(static_cast<void*>(&target)).get(),
              std::string("at ") + expected);
}

TEST(LogString, CopiesKeepTheirOwnPlaceholderNumber) {
    LogString first("%1 %2");
    first.arg("a");
    LogString second = first;
    second.arg("b");
    first.arg("c");
    EXPECT_EQ(second.get(), "a b");
    EXPECT_EQ(first.get(), "a c");
}
