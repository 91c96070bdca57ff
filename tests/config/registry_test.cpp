#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/config/StringSerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/config/SysEnv.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/SerializedTable.h"
#include "support/TempDir.h"

namespace {

using namespace Korvane;
using KorvaneTest::record;
using Strings = std::vector<std::string>;

// A registry with its constructor's defaults, untouched by library start-up.
class FreshRegistry : public Registry {};

std::string value(const PropertyInterface& properties, const std::string& name) {
    std::string text;
    EXPECT_TRUE(properties.getProperty(name, &text)) << name;
    return text;
}

// Every field of every record, to see that nothing changed.
std::string dump(const PropertyInterface& properties) {
    StringSerializer serializer;
    std::ostringstream stream;
    properties.serialize(&serializer, stream);
    return stream.str();
}

TEST(Registry, ConstructorCreatesTheElevenSettings) {
    // The first six are writable paths, the rest the read-only build record.
    const char* const expected[][3] = {
        {"KORVANE_PATH", "", "Defines the root directory where Korvane itself is installed."},
        {"PLUGIN_PATH", "%KORVANE_PATH%\\plugins\\", "Defines the search path for  plugins."},
        {"BIN_PATH", "%KORVANE_PATH%\\bin\\", "Defines the search path for the Korvane binaries."},
        {"DATA_PATH", "%KORVANE_PATH%\\data\\",
         "Defines the search path for the Korvane data files."},
        {"LOG_PATH", "%KORVANE_PATH%", "Defines the path where Korvane log files are placed."},
        {"CONFIG_PATH", "%KORVANE_PATH%",
         "Defines the path where the Korvane configuration file was found (if any)."},
        {"TOOLSET", "MSVC",
         "Specifies the compiler toolset used to build this version of Korvane."},
        {"TOOLSET_VERSION", "MSVC11",
         "Specifies the compiler toolset version used to build this version of Korvane."},
        {"CONFIGURATION", "Release",
         "Specifies the build configuration used to build this version of Korvane."},
        {"PLATFORM", "WIN32",
         "Specifies the OS platform on which this version of Korvane is based."},
        {"CPU", "x86", "Specifies the cpu type for which this version of Korvane is compiled."},
    };
    FreshRegistry registry;
    EXPECT_EQ(registry.propertyCount(), 11);
    for (int i = 0; i < 11; ++i) {
        const auto [name, text, description] = expected[i];
        const AccessType access = i < 6 ? read_write_access : read_access;
        EXPECT_EQ(record(registry, name), record(string_property, access, 7, description));
        EXPECT_EQ(value(registry, name), text);
    }
    // Library start-up must not make the build record of the singleton writable.
    EXPECT_FALSE(Registry::get()->setProperty("TOOLSET", "GCC"));
    EXPECT_EQ(value(*Registry::get(), "TOOLSET"), "MSVC");
}

TEST(Registry, ExpandPropertyAndSplitAndExpandProperty) {
    FreshRegistry registry;
    ASSERT_TRUE(registry.setProperty("KORVANE_PATH", "C:\\K"));
    ASSERT_TRUE(registry.setProperty("LOG_PATH", "a;b"));
    ASSERT_TRUE(registry.setProperty("DATA_PATH", "%KORVANE_PATH%\\data;%LOG_PATH%;D:\\more;"));
    std::string resolved, unresolved;
    registry.expandProperty("PLUGIN_PATH", &resolved, true);
    registry.expandProperty("PLUGIN_PATH", &unresolved, false);
    EXPECT_EQ(resolved + "|" + unresolved, "C:\\K\\plugins\\|\\plugins\\");
    Strings items;
    registry.splitAndExpandProperty("DATA_PATH", &items, true);
    EXPECT_EQ(items, (Strings{"C:\\K\\data", "a", "b", "D:\\more"}));
    // Unknown names leave the output alone; a null output is allowed.
    for (const std::string& name : {std::string("NO_SUCH_PATH"), std::string(10000, 'N')}) {
        registry.expandProperty(name, &resolved, true);
        registry.splitAndExpandProperty(name, &items, true);
    }
    EXPECT_EQ(resolved, "C:\\K\\plugins\\");
    EXPECT_EQ(items.size(), 4u);
    registry.expandProperty("PLUGIN_PATH", nullptr, true);
    registry.splitAndExpandProperty("DATA_PATH", nullptr, true);
}

// Expansion always resolves through the singleton, so this case restores its paths.
TEST(Registry, ReferenceCyclesEnd) {
    Registry* registry = Registry::get();
    const std::string log = value(*registry, "LOG_PATH"), config = value(*registry, "CONFIG_PATH");
    ASSERT_TRUE(registry->setProperty("LOG_PATH", "x%CONFIG_PATH%"));
    ASSERT_TRUE(registry->setProperty("CONFIG_PATH", "y%LOG_PATH%"));
    std::string out;
    registry->expandProperty("LOG_PATH", &out, true);
    EXPECT_EQ(out, "xyx");
    // Without cycle detection this doubling reference would take 2^32 expansions.
    ASSERT_TRUE(registry->setProperty("LOG_PATH", "%LOG_PATH%%LOG_PATH%"));
    registry->expandProperty("LOG_PATH", &out, true);
    EXPECT_EQ(out, "");
    EXPECT_EQ(expand("<%LOG_PATH%>", true, registry), "<>");
    registry->setProperty("LOG_PATH", log);
    registry->setProperty("CONFIG_PATH", config);
}

constexpr const char* kName = "KORVANE_TEST_SYSENV";

// Unsets every variable the cases set, before and after each.
class Environment : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const char* name :
             {kName, "KORVANE_TEST_SET", "KORVANE_PATH", "TOOLSET", "KORVANE_TEST_NUM"})
            ::unsetenv(name);
    }
    static void set(const char* name, const char* text) { ASSERT_EQ(::setenv(name, text, 1), 0); }

    FreshRegistry registry;
};

TEST_F(Environment, UnknownNameBecomesReadOnlySetting) {
    set("KORVANE_TEST_SET", "from env");
    const std::string unset(10000, 'V');
    registry.parseEnvironment({"KORVANE_TEST_SET", unset});
    for (const std::string& name : {std::string("KORVANE_TEST_SET"), unset})
        EXPECT_EQ(record(registry, name),
                  record(string_property, read_access, 7, "System environment variable."));
    EXPECT_EQ(value(registry, "KORVANE_TEST_SET"), "from env");
    EXPECT_EQ(value(registry, unset), "");
}

TEST_F(Environment, WritableTextSettingGetsValueAppendedOthersAreLeftAlone) {
    KorvaneTest::TempDir dir;
    std::ofstream(dir.file("num.cfg")) << "KORVANE_TEST_NUM = 5\n";
    registry.parseConfigFile(dir.file("num.cfg").c_str());
    ASSERT_EQ(registry.propertyType("KORVANE_TEST_NUM"), double_property);
    ASSERT_TRUE(registry.setProperty("KORVANE_PATH", "C:\\K"));
    set("KORVANE_PATH", "D:\\K");
    set("TOOLSET", "GCC");
    set("KORVANE_TEST_NUM", "7");
    registry.parseEnvironment({"KORVANE_PATH", "TOOLSET", "KORVANE_TEST_NUM"});
    EXPECT_EQ(value(registry, "KORVANE_PATH"), "C:\\K;D:\\K");
    EXPECT_EQ(value(registry, "TOOLSET"), "MSVC");
    double number = 0;
    EXPECT_TRUE(registry.getProperty("KORVANE_TEST_NUM", &number) && number == 5.0);
    EXPECT_EQ(registry.propertyCount(), 12);
    // Names outside the property alphabet are skipped.
    const std::string before = dump(registry);
    registry.parseEnvironment({"", "my var", "A=B", "cam:1", std::string("A\0B", 3)});
    registry.parseEnvironment({});
    EXPECT_EQ(dump(registry), before);
}

TEST(RegistryConfigFile, SavedFileRestoresSettingsAndAddsNewOnes) {
    KorvaneTest::TempDir dir;
    const std::string path = dir.file("korvane.cfg");
    FreshRegistry written;
    ASSERT_TRUE(written.setProperty("KORVANE_PATH", "/opt/korvane"));
    written.saveToConfigFile(path.c_str());
    const std::string text = KorvaneTest::readFile(path);
    EXPECT_EQ(text.rfind("# Korvane Properties\n# \n", 0), 0u) << text;
    EXPECT_NE(text.find("KORVANE_PATH = /opt/korvane\n"), std::string::npos) << text;
    std::ofstream(path, std::ios::app) << "; Where frames go.\nFRAME_PATH = /data/frames\n";

    FreshRegistry read;
    ASSERT_TRUE(read.setProperty("KORVANE_PATH", "elsewhere"));
    read.parseConfigFile(path.c_str());
    EXPECT_EQ(read.propertyCount(), 12);
    EXPECT_EQ(value(read, "KORVANE_PATH"), "/opt/korvane");
    EXPECT_EQ(value(read, "PLUGIN_PATH"), "%KORVANE_PATH%\\plugins\\");
    EXPECT_EQ(value(read, "FRAME_PATH"), "/data/frames");
    EXPECT_EQ(read.propertyDescription("FRAME_PATH"), "Where frames go.");
}

TEST(RegistryConfigFile, BuildRecordStaysReadOnly) {
    KorvaneTest::TempDir dir;
    const std::string path = dir.file("korvane.cfg");
    std::ofstream(path) << "TOOLSET = GCC\nCPU = x86\nPLATFORM = 64\nLOG_PATH = /var/log/\n";
    FreshRegistry registry;
    registry.parseConfigFile(path.c_str());
    EXPECT_EQ(value(registry, "LOG_PATH"), "/var/log/");
    for (const char* name : {"TOOLSET", "CPU", "PLATFORM"}) {
        EXPECT_EQ(registry.propertyType(name), string_property) << name;
        EXPECT_FALSE(registry.setProperty(name, "changed")) << name;
    }
    EXPECT_EQ(value(registry, "TOOLSET") + value(registry, "PLATFORM"), "MSVCWIN32");
}

TEST(RegistryConfigFile, MissingOrUnwritableFilesChangeNothing) {
    KorvaneTest::TempDir dir;
    FreshRegistry registry;
    const std::string before = dump(registry), missing = dir.file("missing.cfg"),
                      unwritable = dir.file("no/such/dir/korvane.cfg");
    for (const char* path : {missing.c_str(), static_cast<const char*>(nullptr), ""})
        registry.parseConfigFile(path);
    for (const char* path : {unwritable.c_str(), static_cast<const char*>(nullptr), ""})
        registry.saveToConfigFile(path);
    EXPECT_EQ(dump(registry), before);
    EXPECT_FALSE(std::ifstream(unwritable).is_open());
}

TEST_F(Environment, SetValueIsSeenByTheProcessAndUnsetIsEmpty) {
    EXPECT_TRUE(SysEnv::variable(kName).empty() && SysEnv::path(kName).empty());
    ASSERT_TRUE(SysEnv::setVariable(kName, "a;;b;"));
    EXPECT_STREQ(::getenv(kName), "a;;b;");
    EXPECT_EQ(SysEnv::path(kName), (Strings{"a", "", "b"}));
    // Long names and values are kept in full.
    const std::string name(10000, 'K'), long_value = std::string(9999, 'x') + "y";
    ASSERT_TRUE(SysEnv::setVariable(name, long_value));
    ASSERT_TRUE(SysEnv::appendValue(name, "tail"));
    EXPECT_EQ(SysEnv::variable(name), long_value + ";tail");
    ::unsetenv(name.c_str());
}

TEST_F(Environment, AppendAndPrependAddTheSeparatorEvenToAnEmptyValue) {
    ASSERT_TRUE(SysEnv::setVariable(kName, "old"));
    ASSERT_TRUE(SysEnv::appendPath(kName, "/a") && SysEnv::appendValue(kName, "v"));
    ASSERT_TRUE(SysEnv::prependPath(kName, "/p"));
    EXPECT_EQ(SysEnv::variable(kName), "/p;old;/a;v");
    ASSERT_TRUE(SysEnv::prependValue(kName, "w"));
    EXPECT_EQ(SysEnv::variable(kName), "w/p;old;/a;v");
    for (const bool append : {true, false}) {
        ::unsetenv(kName);
        ASSERT_TRUE(append ? SysEnv::appendPath(kName, "/a") : SysEnv::prependPath(kName, "/a"));
        EXPECT_EQ(SysEnv::variable(kName), append ? ";/a" : "/a;");
    }
}

TEST_F(Environment, BadNamesAndValuesAreRefused) {
    for (const std::string& name :
         {std::string(), std::string("A=B"), std::string("KORVANE\0X", 9)}) {
        EXPECT_FALSE(SysEnv::setVariable(name, "v") || SysEnv::appendPath(name, "v") ||
                     SysEnv::prependValue(name, "v"))
            << name;
        EXPECT_EQ(SysEnv::variable(name), "") << name;
    }
    // getenv("KORVANE_TEST_SYSENV=X") would return "Y" from this entry.
    ASSERT_TRUE(SysEnv::setVariable(kName, "X=Y"));
    EXPECT_EQ(SysEnv::variable(std::string(kName) + "=X"), "");
    EXPECT_FALSE(SysEnv::setVariable(kName, std::string("a\0b", 3)));
    EXPECT_EQ(SysEnv::variable(kName), "X=Y");
}

}  // namespace
