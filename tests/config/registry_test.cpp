#include <korvane/config/Registry.h>
#include <korvane/config/StringSerializer.h>
#include <korvane/config/StringUtils.h>

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Korvane::Registry;
using Strings = std::vector<std::string>;
using KorvaneTest::readFile;

// A registry with its constructor's defaults, untouched by library start-up.
class FreshRegistry : public Registry {};

std::string value(const Korvane::PropertyInterface& properties, const std::string& name) {
    std::string text;
    EXPECT_TRUE(properties.getProperty(name, &text)) << name;
    return text;
}

// Everything about every record, to see that nothing changed.
std::string dump(const Korvane::PropertyInterface& properties) {
    Korvane::StringSerializer serializer;
    std::ostringstream stream;
    properties.serialize(&serializer, stream);
    return stream.str();
}

struct ExpectedSetting {
    const char* name;
    const char* value;
    Korvane::AccessType access;
    const char* description;
};

TEST(Registry, ConstructorCreatesTheElevenSettings) {
    const ExpectedSetting expected[] = {
        {"KORVANE_PATH", "", Korvane::read_write_access,
         "Defines the root directory where Korvane itself is installed."},
        {"PLUGIN_PATH", "%KORVANE_PATH%\\plugins\\", Korvane::read_write_access,
         "Defines the search path for  plugins."},
        {"BIN_PATH", "%KORVANE_PATH%\\bin\\", Korvane::read_write_access,
         "Defines the search path for the Korvane binaries."},
        {"DATA_PATH", "%KORVANE_PATH%\\data\\", Korvane::read_write_access,
         "Defines the search path for the Korvane data files."},
        {"LOG_PATH", "%KORVANE_PATH%", Korvane::read_write_access,
         "Defines the path where Korvane log files are placed."},
        {"CONFIG_PATH", "%KORVANE_PATH%", Korvane::read_write_access,
         "Defines the path where the Korvane configuration file was found (if any)."},
        {"TOOLSET", "MSVC", Korvane::read_access,
         "Specifies the compiler toolset used to build this version of Korvane."},
        {"TOOLSET_VERSION", "MSVC11", Korvane::read_access,
         "Specifies the compiler toolset version used to build this version of Korvane."},
        {"CONFIGURATION", "Release", Korvane::read_access,
         "Specifies the build configuration used to build this version of Korvane."},
        {"PLATFORM", "WIN32", Korvane::read_access,
         "Specifies the OS platform on which this version of Korvane is based."},
        {"CPU", "x86", Korvane::read_access,
         "Specifies the cpu type for which this version of Korvane is compiled."},
    };
    FreshRegistry registry;
    EXPECT_EQ(registry.propertyCount(), 11);
    for (const ExpectedSetting& setting : expected) {
        SCOPED_TRACE(setting.name);
        Korvane::PropertyInfo info;
        ASSERT_TRUE(registry.propertyInfo(setting.name, &info));
        EXPECT_EQ(info.type, Korvane::string_property);
        EXPECT_EQ(info.access, setting.access);
        EXPECT_EQ(info.category, 7);
        EXPECT_EQ(info.description, setting.description);
        EXPECT_FALSE(info.valueSet);
        EXPECT_EQ(value(registry, setting.name), setting.value);
        EXPECT_EQ(registry.propertyCategoryName(setting.name), "Config");
    }
}

TEST(Registry, BuildRecordIsReadOnly) {
    Registry* registry = Registry::get();
    EXPECT_FALSE(registry->setProperty("TOOLSET", "GCC"));
    EXPECT_FALSE(registry->setProperty("CPU", std::string("x86_64")));
    EXPECT_EQ(value(*registry, "TOOLSET"), "MSVC");
    EXPECT_EQ(value(*registry, "CPU"), "x86");
}

TEST(Registry, ExpandPropertyResolvesReferences) {
    FreshRegistry registry;
    ASSERT_TRUE(registry.setProperty("KORVANE_PATH", "C:\\K"));
    std::string out;
    registry.expandProperty("PLUGIN_PATH", &out, true);
    EXPECT_EQ(out, "C:\\K\\plugins\\");
    registry.expandProperty("PLUGIN_PATH", &out, false);
    EXPECT_EQ(out, "\\plugins\\");
}

TEST(Registry, ExpandPropertyLeavesOutputAloneForUnknownNames) {
    FreshRegistry registry;
    std::string out = "kept";
    registry.expandProperty("NO_SUCH_PATH", &out, true);
    registry.expandProperty("", &out, true);
    registry.expandProperty(std::string(10000, 'N'), &out, true);
    EXPECT_EQ(out, "kept");
    registry.expandProperty("PLUGIN_PATH", nullptr, true);
}

TEST(Registry, SplitAndExpandPropertyGivesAllItems) {
    FreshRegistry registry;
    ASSERT_TRUE(registry.setProperty("KORVANE_PATH", "C:\\K"));
    ASSERT_TRUE(registry.setProperty("LOG_PATH", "a;b"));
    ASSERT_TRUE(registry.setProperty("DATA_PATH", "%KORVANE_PATH%\\data;%LOG_PATH%;D:\\more;"));
    Strings out;
    registry.splitAndExpandProperty("DATA_PATH", &out, true);
    EXPECT_EQ(out, (Strings{"C:\\K\\data", "a", "b", "D:\\more"}));

    Strings kept{"kept"};
    registry.splitAndExpandProperty("NO_SUCH_PATH", &kept, true);
    EXPECT_EQ(kept, Strings{"kept"});
    registry.splitAndExpandProperty("DATA_PATH", nullptr, true);
}

// Tests that change the singleton's path settings put them back afterwards.
class RegistrySingleton : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : kPaths) saved.push_back(value(*registry, name));
    }
    void TearDown() override {
        for (std::size_t i = 0; i < saved.size(); ++i) registry->setProperty(kPaths[i], saved[i]);
    }

    static constexpr const char* kPaths[] = {"KORVANE_PATH", "PLUGIN_PATH", "BIN_PATH",
                                             "DATA_PATH",    "LOG_PATH",    "CONFIG_PATH"};
    Registry* registry = Registry::get();
    Strings saved;
};

TEST_F(RegistrySingleton, ReferenceCycleEndsWhereItCloses) {
    ASSERT_TRUE(registry->setProperty("LOG_PATH", "x%CONFIG_PATH%"));
    ASSERT_TRUE(registry->setProperty("CONFIG_PATH", "y%LOG_PATH%"));
    std::string out;
    registry->expandProperty("LOG_PATH", &out, true);
    EXPECT_EQ(out, "xyx");
}

TEST_F(RegistrySingleton, SelfReferenceThatDoublesStillEnds) {
    // Without cycle detection this would be 2^32 expansions.
    ASSERT_TRUE(registry->setProperty("LOG_PATH", "%LOG_PATH%%LOG_PATH%"));
    std::string out = "unset";
    registry->expandProperty("LOG_PATH", &out, true);
    EXPECT_EQ(out, "");
    EXPECT_EQ(Korvane::expand("<%LOG_PATH%>", true, registry), "<>");
}

TEST_F(RegistrySingleton, ReferencesNestedDeeperThan32LevelsExpandToNothing) {
    const int chainLength = 40;
    Strings names;
    std::string expected;
    for (int i = 0; i < chainLength; ++i) {
        names.push_back("KORVANE_TEST_CHAIN_" + std::to_string(i));
        if (i < 32) expected += std::to_string(i) + ",";
    }
    for (int i = 0; i < chainLength; ++i) {
        const std::string next = i + 1 < chainLength ? "%" + names[i + 1] + "%" : "";
        ASSERT_EQ(::setenv(names[i].c_str(), (std::to_string(i) + "," + next).c_str(), 1), 0);
    }
    registry->parseEnvironment(names);
    for (const std::string& name : names) ::unsetenv(name.c_str());
    EXPECT_EQ(Korvane::expand("%" + names[0] + "%", true, registry), expected);
}

class RegistryEnvironment : public ::testing::Test {
protected:
    void TearDown() override {
        for (const char* name : kVariables) ::unsetenv(name);
    }
    static void set(const char* name, const char* text) { ASSERT_EQ(::setenv(name, text, 1), 0); }

    static constexpr const char* kVariables[] = {"KORVANE_TEST_SET", "KORVANE_TEST_UNSET",
                                                 "KORVANE_PATH", "TOOLSET", "KORVANE_TEST_NUM"};
    FreshRegistry registry;
};

TEST_F(RegistryEnvironment, UnknownNameBecomesReadOnlySetting) {
    set("KORVANE_TEST_SET", "from env");
    ::unsetenv("KORVANE_TEST_UNSET");
    registry.parseEnvironment({"KORVANE_TEST_SET", "KORVANE_TEST_UNSET"});
    for (const char* name : {"KORVANE_TEST_SET", "KORVANE_TEST_UNSET"}) {
        SCOPED_TRACE(name);
        Korvane::PropertyInfo info;
        ASSERT_TRUE(registry.propertyInfo(name, &info));
        EXPECT_EQ(info.type, Korvane::string_property);
        EXPECT_EQ(info.access, Korvane::read_access);
        EXPECT_EQ(info.category, 7);
        EXPECT_EQ(info.description, "System environment variable.");
    }
    EXPECT_EQ(value(registry, "KORVANE_TEST_SET"), "from env");
    EXPECT_EQ(value(registry, "KORVANE_TEST_UNSET"), "");
    EXPECT_FALSE(registry.setProperty("KORVANE_TEST_SET", "changed"));
}

TEST_F(RegistryEnvironment, ExistingWritableTextSettingGetsValueAppended) {
    ASSERT_TRUE(registry.setProperty("KORVANE_PATH", "C:\\K"));
    set("KORVANE_PATH", "D:\\K");
    set("TOOLSET", "GCC");
    registry.parseEnvironment({"KORVANE_PATH", "TOOLSET"});
    EXPECT_EQ(value(registry, "KORVANE_PATH"), "C:\\K;D:\\K");
    EXPECT_EQ(value(registry, "TOOLSET"), "MSVC");
    EXPECT_EQ(registry.propertyCount(), 11);
}

TEST_F(RegistryEnvironment, NonTextSettingIsLeftAlone) {
    KorvaneTest::TempDir dir;
    std::ofstream(dir.file("num.cfg")) << "KORVANE_TEST_NUM = 5\n";
    registry.parseConfigFile(dir.file("num.cfg").c_str());
    ASSERT_EQ(registry.propertyType("KORVANE_TEST_NUM"), Korvane::double_property);
    set("KORVANE_TEST_NUM", "7");
    registry.parseEnvironment({"KORVANE_TEST_NUM"});
    double number = 0;
    ASSERT_TRUE(registry.getProperty("KORVANE_TEST_NUM", &number));
    EXPECT_EQ(number, 5.0);
}

TEST_F(RegistryEnvironment, NamesOutsideTheAlphabetAreSkipped) {
    const std::string before = dump(registry);
    registry.parseEnvironment({"", "my var", "A=B", "cam:1", std::string("A\0B", 3)});
    EXPECT_EQ(dump(registry), before);
    registry.parseEnvironment({});
    EXPECT_EQ(dump(registry), before);
}

TEST_F(RegistryEnvironment, LongNameOfUnsetVariableIsAddedEmpty) {
    const std::string name(10000, 'V');
    registry.parseEnvironment({name});
    EXPECT_EQ(value(registry, name), "");
}

TEST(RegistryConfigFile, RoundTripRestoresValuesAndDescriptions) {
    KorvaneTest::TempDir dir;
    const std::string path = dir.file("korvane.cfg");
    FreshRegistry written;
    ASSERT_TRUE(written.setProperty("KORVANE_PATH", "/opt/korvane"));
    written.saveToConfigFile(path.c_str());
    const std::string text = readFile(path);
    EXPECT_EQ(text.rfind("# Korvane Properties\n# \n", 0), 0u) << text;
    EXPECT_NE(text.find("KORVANE_PATH = /opt/korvane\n"), std::string::npos) << text;

    FreshRegistry read;
    ASSERT_TRUE(read.setProperty("KORVANE_PATH", "elsewhere"));
    read.parseConfigFile(path.c_str());
    EXPECT_EQ(read.propertyCount(), 11);
    for (const std::string& name : written.propertyNameList()) {
        SCOPED_TRACE(name);
        EXPECT_EQ(read.propertyType(name), Korvane::string_property);
        EXPECT_EQ(value(read, name), value(written, name));
        EXPECT_EQ(read.propertyDescription(name), written.propertyDescription(name));
    }
}

TEST(RegistryConfigFile, FileAddsNewSettings) {
    KorvaneTest::TempDir dir;
    const std::string path = dir.file("extra.cfg");
    std::ofstream(path) << "# Korvane Properties\n; Where frames go.\nFRAME_PATH = /data/frames\n";
    FreshRegistry registry;
    registry.parseConfigFile(path.c_str());
    EXPECT_EQ(value(registry, "FRAME_PATH"), "/data/frames");
    EXPECT_EQ(registry.propertyDescription("FRAME_PATH"), "Where frames go.");
}

TEST(RegistryConfigFile, MissingFileLeavesRegistryUnchanged) {
    KorvaneTest::TempDir dir;
    FreshRegistry registry;
    const std::string before = dump(registry);
    registry.parseConfigFile(dir.file("missing.cfg").c_str());
    registry.parseConfigFile(nullptr);
    registry.parseConfigFile("");
    EXPECT_EQ(dump(registry), before);
}

TEST(RegistryConfigFile, UnwritableTargetIsIgnored) {
    KorvaneTest::TempDir dir;
    FreshRegistry registry;
    const std::string path = dir.file("no/such/dir/korvane.cfg");
    registry.saveToConfigFile(path.c_str());
    registry.saveToConfigFile(nullptr);
    registry.saveToConfigFile("");
    EXPECT_FALSE(std::ifstream(path).is_open());
}

}  // namespace
