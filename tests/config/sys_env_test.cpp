#include <korvane/config/SysEnv.h>

#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>
#include <vector>

namespace {

using Korvane::SysEnv;
using Strings = std::vector<std::string>;

constexpr const char* kName = "KORVANE_TEST_SYSENV";

class SysEnvTest : public ::testing::Test {
protected:
    void SetUp() override { ::unsetenv(kName); }
    void TearDown() override { ::unsetenv(kName); }
};

TEST_F(SysEnvTest, UnsetVariableIsEmpty) {
    EXPECT_EQ(SysEnv::variable(kName), "");
    EXPECT_TRUE(SysEnv::path(kName).empty());
}

TEST_F(SysEnvTest, SetValueIsReadBackAndSeenByTheProcess) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "value"));
    EXPECT_EQ(SysEnv::variable(kName), "value");
    const char* raw = ::getenv(kName);
    ASSERT_NE(raw, nullptr);
    EXPECT_STREQ(raw, "value");
}

TEST_F(SysEnvTest, LongValuesAreReturnedInFull) {
    std::string value(10000, 'x');
    value.back() = 'y';
    ASSERT_TRUE(SysEnv::setVariable(kName, value));
    EXPECT_EQ(SysEnv::variable(kName), value);
    ASSERT_TRUE(SysEnv::appendValue(kName, "tail"));
    EXPECT_EQ(SysEnv::variable(kName), value + ";tail");
}

TEST_F(SysEnvTest, AppendAndPrependUseTheSeparator) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "old"));
    ASSERT_TRUE(SysEnv::appendPath(kName, "/a"));
    EXPECT_EQ(SysEnv::variable(kName), "old;/a");
    ASSERT_TRUE(SysEnv::appendValue(kName, "v"));
    EXPECT_EQ(SysEnv::variable(kName), "old;/a;v");
    ASSERT_TRUE(SysEnv::prependPath(kName, "/p"));
    EXPECT_EQ(SysEnv::variable(kName), "/p;old;/a;v");
    EXPECT_EQ(SysEnv::path(kName), (Strings{"/p", "old", "/a", "v"}));
}

TEST_F(SysEnvTest, PrependValueJoinsWithoutSeparator) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "old"));
    ASSERT_TRUE(SysEnv::prependValue(kName, "v"));
    EXPECT_EQ(SysEnv::variable(kName), "vold");
}

TEST_F(SysEnvTest, SeparatorIsAddedEvenToAnEmptyOldValue) {
    ASSERT_TRUE(SysEnv::appendPath(kName, "/a"));
    EXPECT_EQ(SysEnv::variable(kName), ";/a");
    ::unsetenv(kName);
    ASSERT_TRUE(SysEnv::prependPath(kName, "/p"));
    EXPECT_EQ(SysEnv::variable(kName), "/p;");
    ::unsetenv(kName);
    ASSERT_TRUE(SysEnv::prependValue(kName, "v"));
    EXPECT_EQ(SysEnv::variable(kName), "v");
}

TEST_F(SysEnvTest, PathSplitsAtSemicolons) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "a;;b;"));
    EXPECT_EQ(SysEnv::path(kName), (Strings{"a", "", "b"}));
}

TEST_F(SysEnvTest, BadNamesReadEmptyAndFailToWrite) {
    const std::string withNul("KORVANE\0X", 9);
    for (const std::string& name : {std::string(), std::string("A=B"), withNul}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(SysEnv::setVariable(name, "v"));
        EXPECT_FALSE(SysEnv::appendPath(name, "v"));
        EXPECT_FALSE(SysEnv::prependValue(name, "v"));
        EXPECT_EQ(SysEnv::variable(name), "");
    }
}

TEST_F(SysEnvTest, NameWithEqualsSignDoesNotReadIntoAnotherValue) {
    // getenv("KORVANE_TEST_SYSENV=X") would return "Y" from this entry.
    ASSERT_TRUE(SysEnv::setVariable(kName, "X=Y"));
    EXPECT_EQ(SysEnv::variable(std::string(kName) + "=X"), "");
}

TEST_F(SysEnvTest, ValueWithNulIsRefusedAndOldValueKept) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "old"));
    EXPECT_FALSE(SysEnv::setVariable(kName, std::string("a\0b", 3)));
    EXPECT_EQ(SysEnv::variable(kName), "old");
}

TEST_F(SysEnvTest, LongNameRoundTrips) {
    const std::string name(10000, 'K');
    ASSERT_TRUE(SysEnv::setVariable(name, "v"));
    EXPECT_EQ(SysEnv::variable(name), "v");
    ::unsetenv(name.c_str());
    EXPECT_EQ(SysEnv::variable(name), "");
}

}  // namespace
