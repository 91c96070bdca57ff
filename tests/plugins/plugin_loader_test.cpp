// The plug-in loader with real modules (built in tests/plugins/modules). Each loader case
// runs in a fresh child process, since the loader is a process-wide singleton that
// registers the modules of "PLUGIN_PATH" when it is made.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/config/Registry.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/Lut.h>
#include <korvane/image/LutManager.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>
#include <korvane/plugins/Library.h>
#include <korvane/plugins/PluginEntry.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/MotionManager.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/ScriptManager.h>
#include <korvane/process/StorageManager.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Deadline.h"
#include "support/RecordingWriter.h"
#include "support/TempDir.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

const std::string kModules = KORVANE_TEST_BINARY_DIR "/plugins/modules/";

// Set-up of a case in its child: a temporary directory for the log and the modules,
// "PLUGIN_PATH", and a recorder on "SystemLog" that sees debug messages.
class LoaderCase : public ::testing::Test {
protected:
    // Answers the loader, made now.
    PluginLoader* start(const std::vector<std::string>& searchPath) {
        Registry::get()->setProperty("LOG_PATH", root.path() + "/");
        std::string path;
        for (const std::string& dir : searchPath) path += (path.empty() ? "" : ";") + dir;
        Registry::get()->setProperty("PLUGIN_PATH", path);
        LogRefPtr log = LogManager::systemLog();
        EXPECT_TRUE(log.isValid() && log->addWriter("Recorder", writer) &&
                    log->setProperty("Threshold", "Debug") && log->endPropertyChange());
        return PluginLoader::get();
    }

    // A directory below the temporary one, made on first use.
    std::string dir(const std::string& name) {
        const std::string path = root.file(name);
        std::filesystem::create_directories(path);
        return path;
    }
    // Copies the built module into directory as file; the copy's full path.
    std::string add(const std::string& directory, const std::string& module,
                    const std::string& file = "") {
        const std::string target = directory + "/" + (file.empty() ? module + ".so" : file);
        std::filesystem::copy_file(kModules + module + ".so", target);
        return target;
    }

    // Expects each of wanted among the messages logged so far (once everything logged
    // before this call has arrived); answers them all.
    std::vector<std::string> expectLogged(const std::vector<std::string>& wanted) {
        korvLogCritical("--- end of case ---");
        EXPECT_TRUE(eventually([&] {
            const auto all = recorder->lines();
            return !all.empty() && all.back().find("--- end of case ---") != std::string::npos;
        }));
        std::vector<std::string> logged;
        for (const std::string& line : recorder->lines())
            logged.push_back(line.substr(line.find(": ", 13) + 2));
        for (const std::string& message : wanted)
            EXPECT_NE(std::find(logged.begin(), logged.end(), message), logged.end()) << message;
        return logged;
    }

    // Expects file's entry in the load report to be in state, with reason, or with a
    // reason that contains it where whole is false (the system's own texts).
    static void expectReport(const std::string& file, PluginLoadState state,
                             const std::string& reason, bool whole = true) {
        PluginLoadRecord record{file, PluginLoadState::NotAModule, "(not in the report)"};
        for (const PluginLoadRecord& entry : PluginLoader::get()->loadReport())
            if (entry.file == file) record = entry;
        EXPECT_STREQ(pluginLoadStateName(record.state), pluginLoadStateName(state)) << file;
        EXPECT_TRUE(whole ? record.reason == reason
                          : record.reason.find(reason) != std::string::npos)
            << file << ": " << record.reason;
    }

    static bool lutRegistered(const char* name) { return LutManager::get()->typeExists(name); }

    TempDir root;
    const std::string plugins = dir("plugins");
    RecordingWriter* recorder = new RecordingWriter;  // owned by writer
    LogWriterRefPtr writer{recorder, nullptr};
};

TEST(PluginInfo, FullConstructorRefusesAForeignBuildWithTheFirstMismatch) {
    struct Build {
        int configuration, toolset;
        const char* toolsetVersion;
        int platform;
        const char* message;
    };
    const Build builds[] = {
        {3, 1, "x", 1, "Plugin is build for other release configuration."},
        {2, 74, "x", 1, "Plugin is build with other compiler toolset."},
        {2, 75, "MSVC11 ", 1, "Plugin is build with other compiler toolset version."},
        {2, 75, "msvc11", 16, "Plugin is build with other compiler toolset version."},
        {2, 75, "MSVC11", 15, "Plugin is build for other platform."},
        {2, 75, "MSVC11", 16, nullptr},
    };
    for (const Build& build : builds) {
        try {
            // cpu, operating system and versions are the loader's to check.
            PluginInfo info("P", Version(1, 2, 3), Version(9, 9, 9), build.toolset,
                            build.toolsetVersion, build.platform, 99, 99, build.configuration,
                            "today", "text", "licence");
            EXPECT_EQ(build.message, nullptr) << info.name();
        } catch (const std::exception& error) {
            ASSERT_NE(build.message, nullptr) << error.what();
            EXPECT_STREQ(error.what(), build.message);
        }
    }
}

TEST(PluginOrganizer, ReportsComponentsByClassBeforeInstalling) {
    PluginOrganizer organizer(pluginInfo("Kinds", Version(1, 0, 0), "", ""));
    LutGrey8 lut;
    Image image(2, 2);
    organizer.addComponent("L", &lut, nullptr);
    organizer.addComponent("I", &image, nullptr);
    organizer.addComponent("L", &lut, nullptr);  // names need not be unique
    organizer.addComponent("Nothing", nullptr, nullptr);
    organizer.addDependency("Other", Version(1, 0, 0));
    using Kinds = std::multimap<ComponentType, std::string>;
    EXPECT_EQ(
        organizer.components(),
        (Kinds{{ComponentType::Image, "I"}, {ComponentType::Lut, "L"}, {ComponentType::Lut, "L"}}));
    EXPECT_FALSE(organizer.isInstalled());
    EXPECT_FALSE(organizer.checkDependencies());  // "Other" is not loaded
    organizer.clear();                            // objects of no class count as Device
    EXPECT_EQ(organizer.components(), (Kinds{{ComponentType::Device, "L"},
                                             {ComponentType::Device, "I"},
                                             {ComponentType::Device, "L"}}));
}

TEST(Library, ReportsTheSystemReasonAndKeepsAModuleMappedAfterItIsGone) {
    const std::string missing = kModules + "no-such-module.so";
    Library absent(missing);
    EXPECT_FALSE(absent.isOpen());
    EXPECT_NE(absent.errorText().find("No such file"), std::string::npos) << absent.errorText();
    EXPECT_EQ(absent.symbol("korvPluginOrganizer"), nullptr);

    PluginOrganizerFunction organizerOf = nullptr;
    {
        Library library(kModules + "good.so");
        ASSERT_TRUE(library.isOpen());
        EXPECT_EQ(library.symbol("korvPluginUnknown"), nullptr);
        organizerOf =
            reinterpret_cast<PluginOrganizerFunction>(library.symbol("korvPluginOrganizer"));
        ASSERT_NE(organizerOf, nullptr);
    }
    // Would crash had the module been unloaded with the Library.
    EXPECT_EQ(organizerOf()->info().name(), "GoodPlugin");
}

TEST_F(LoaderCase, InstallsEveryComponentAndTakesThemOutAgain) {
    if (!inFreshProcess()) return;
    const std::string good = add(plugins, "good");
    PluginLoader* loader = start({plugins});
    EXPECT_EQ(loader->searchPluginPath(), std::vector<std::string>{good});
    ASSERT_TRUE(loader->isLoaded("GoodPlugin"));
    expectReport(good, PluginLoadState::Registered, "");
    EXPECT_FALSE(lutRegistered("TestGrey8"));

    EXPECT_EQ(loader->loadAll(), 1);
    expectReport(good, PluginLoadState::Installed, "");
    ASSERT_EQ(loader->plugins().size(), 1u);
    PluginOrganizer* organizer = loader->plugins().front();
    EXPECT_EQ(organizer->info().file(), good);
    using Kinds = std::multimap<ComponentType, std::string>;
    const Kinds all{{ComponentType::Buffer, "TestStringFifo"},
                    {ComponentType::Image, "TestImage"},
                    {ComponentType::Log, "TestLog"},
                    {ComponentType::LogWriter, "TestWriter"},
                    {ComponentType::Lut, "TestGrey8"},
                    {ComponentType::Motion, "TestMotion"},
                    {ComponentType::Operator, "TestOperator"},
                    {ComponentType::Script, "TestScript"},
                    {ComponentType::Storage, "tst"}};
    EXPECT_EQ(organizer->installedComponents(), all);
    auto everyComponentIs = [&](bool registered) {
        EXPECT_EQ(BufferManager::get()->typeExists("TestStringFifo"), registered);
        EXPECT_EQ(ImageManager::get()->typeExists("TestImage"), registered);
        EXPECT_EQ(LogManager::get()->typeExists("TestLog"), registered);
        EXPECT_EQ(LogManager::get()->writer("TestWriter").isValid(), registered);
        EXPECT_EQ(MotionManager::get()->typeExists("TestMotion"), registered);
        EXPECT_EQ(OperatorManager::get()->typeExists("TestOperator"), registered);
        EXPECT_EQ(ScriptManager::get()->typeExists("TestScript"), registered);
        EXPECT_EQ(StorageManager::get()->typeExists("tst"), registered);
    };
    everyComponentIs(true);
    EXPECT_TRUE(lutRegistered("TestGrey8"));

    loader->unLoadComponent("TestImage", ComponentType::Lut);  // another class: nothing
    loader->unLoadComponent("TestGrey8", ComponentType::Lut);
    EXPECT_FALSE(lutRegistered("TestGrey8"));
    EXPECT_TRUE(ImageManager::get()->typeExists("TestImage"));

    loader->unloadPluginFile(good);
    everyComponentIs(false);
    EXPECT_FALSE(organizer->isInstalled());
    expectReport(good, PluginLoadState::Uninstalled, "");

    // Loading again brings back what uninstall took out, but not the removed component.
    EXPECT_EQ(loader->loadAll(), 0);
    everyComponentIs(true);
    EXPECT_FALSE(lutRegistered("TestGrey8"));
    expectReport(good, PluginLoadState::PartlyInstalled, "not installed: Device \"TestGrey8\"");
    EXPECT_EQ(loader->unloadAll(), 0);
    everyComponentIs(false);
    EXPECT_TRUE(loader->isLoadedFile(good));

    expectLogged(
        {"[PluginLoader::searchPluginPath] Found path: \"" + plugins + "\".",
         "[PluginLoader::searchPluginPath] Opening directory: \"" + plugins + "/\".",
         "[PluginLoader::searchPluginPath] Searching for extions \"*.so\"",
         "[PluginLoader::searchPluginPath] Found extention: \"*.so\".",
         "Found plugin: good.so in path: \"" + plugins + "/\".",
         "[PluginLoader::discoverAvailablePlugins] Search path: \"\" and options: \"\".",
         "[PluginLoader::discoverAvailablePlugins] Found files with registry searchpath: \"" +
             good + "\".",
         "[PluginLoader::registerPlugin] \"" + good + "\".",
         "[PluginLoader::registerPlugin] Probing for PluginApi of: \"" + good + "\".",
         "[PluginLoader::registerPlugin] Found PluginApi of: \"" + good + "\".",
         "[PluginLoader::loadAll] Trying to load plugin: \"GoodPlugin\".",
         "[PluginLoader::loadAll] Loaded plugin: \"GoodPlugin\".",
         "[PluginLoader::tryToLoad] Loaded 1 plugin(s).",
         "[PluginOrganizer::install] failure during install",
         "[PluginLoader::loadAll] Failed to load plugin: \"GoodPlugin\".",
         "[PluginLoader::tryToLoad] Loaded 0 plugin(s)."});
}

TEST_F(LoaderCase, NeedsBothEntryPointsAndAnOrganizer) {
    if (!inFreshProcess()) return;
    const std::string initOnly = add(plugins, "init_only");
    const std::string organizerOnly = add(plugins, "organizer_only");
    const std::string nullOrganizer = add(plugins, "null_organizer");
    PluginLoader* loader = start({plugins});
    EXPECT_FALSE(loader->isLoadedFile(initOnly));
    EXPECT_FALSE(loader->isLoadedFile(nullOrganizer));
    EXPECT_TRUE(loader->isLoaded("OrganizerOnly"));
    expectReport(initOnly, PluginLoadState::NoEntryPoints,
                 "missing entry point korvPluginOrganizer");
    expectReport(nullOrganizer, PluginLoadState::NoEntryPoints,
                 "korvPluginOrganizer returned no organizer");
    expectReport(organizerOnly, PluginLoadState::Registered, "missing entry point korvPluginInit");

    EXPECT_EQ(loader->loadAll(), 0);
    expectReport(organizerOnly, PluginLoadState::Refused, "missing entry point korvPluginInit");
    EXPECT_FALSE(lutRegistered("OrganizerOnlyLut"));
    expectLogged({"[PluginLoader::registerPlugin] No PluginApi found in: \"" + initOnly + "\".",
                  "[PluginLoader::registerPlugin] Could not open Dynamic Library file: \"" +
                      nullOrganizer + "\".",
                  "[PluginLoader::tryToLoad] No init function in plugin.",
                  "[PluginLoader::tryToLoad] Failed to load plugin.",
                  "[PluginLoader::loadAll] Failed to load plugin: \"OrganizerOnly\"."});
}

TEST_F(LoaderCase, RefusesAForeignBuildRecordWithItsFirstDifferingRow) {
    if (!inFreshProcess()) return;
    struct Case {
        const char* module;
        const char* lut;
        const char* logged;  // the reason after the plug-in's name
        const char* reason;  // in the load report
    };
    const Case cases[] = {
        {"core_1_5", "Core15Lut", " because of incompatible minor version of KorvaneCore library.",
         "incompatible minor version of KorvaneCore library: plug-in 5, core 4"},
        {"core_2_4", "Core24Lut", " because of incompatible major version of KorvaneCore library.",
         "incompatible major version of KorvaneCore library: plug-in 2, core 1"},
        {"other_cpu", "OtherCpuLut", " because of incompatible CPU type.",
         "incompatible CPU type: plug-in 17, core 16"},
        {"default_info", "DefaultInfoLut", " because of incompatible configuration.",
         "incompatible configuration: plug-in 0, core 2"},
    };
    for (const Case& c : cases) add(plugins, c.module);
    const std::string passes = add(plugins, "core_1_4_9");
    const std::string foreign = add(plugins, "foreign_toolset");
    PluginLoader* loader = start({plugins});
    EXPECT_EQ(loader->loadAll(), 1);
    EXPECT_TRUE(lutRegistered("Core149Lut"));
    expectReport(passes, PluginLoadState::Installed, "");
    // The info of this one throws while it is built, in korvPluginOrganizer.
    EXPECT_FALSE(loader->isLoadedFile(foreign));
    expectReport(foreign, PluginLoadState::Refused,
                 "korvPluginOrganizer threw: Plugin is build with other compiler toolset version.");
    EXPECT_TRUE(loader->isLoaded("Core15"));  // registered is enough
    EXPECT_FALSE(loader->loadPlugin("Core15"));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.module);
        EXPECT_FALSE(lutRegistered(c.lut));
        expectReport(plugins + "/" + c.module + ".so", PluginLoadState::Refused, c.reason);
    }
    const std::string failed = "Loading failed of plugin ";
    expectLogged({failed + "\"Core15\"" + cases[0].logged, failed + "\"Core24\"" + cases[1].logged,
                  failed + "\"OtherCpu\"" + cases[2].logged, failed + "\"\"" + cases[3].logged,
                  "Plugin is not compatible with KorvaneCore configuration."});
}

TEST_F(LoaderCase, BadModulesAndDirectoriesAreReportedAndLeaveTheHostUnharmed) {
    if (!inFreshProcess()) return;
    const std::string missing = root.file("missing");
    const std::string empty = plugins + "/empty.so";
    std::ofstream(empty).close();
    const std::string text = plugins + "/text.so";
    std::ofstream(text) << std::string(200, '#') << " a text file, not a module\n";
    const std::string unresolved = add(plugins, "unresolved");
    const std::string thrower = add(plugins, "init_throws");
    PluginLoader* loader = start({missing, plugins});
    EXPECT_EQ(loader->plugins().size(), 1u);
    EXPECT_EQ(loader->loadAll(), 0);
    EXPECT_FALSE(loader->loadPluginFile("init_throws.so"));
    expectReport(missing + "/", PluginLoadState::NotAModule, "no such directory");
    expectReport(empty, PluginLoadState::NotAModule, "too short", false);
    expectReport(text, PluginLoadState::NotAModule, "invalid ELF header", false);
    expectReport(unresolved, PluginLoadState::NotAModule,
                 "undefined symbol: korvTestSymbolThatNobodyDefines", false);
    expectReport(thrower, PluginLoadState::Refused,
                 "korvPluginInit threw: the test plug-in refuses to start");
    EXPECT_FALSE(lutRegistered("ThrowerLut"));
    const auto logged = expectLogged(
        {std::string("[PluginLoader::loadAll] Exception during load of \"Thrower\". What: the "
                     "test plug-in refuses to start\"."),
         "[PluginLoader::registerPlugin] Could not open Dynamic Library file: \"" + text + "\".",
         "DllNotFound or missing dependency of: \"init_throws.so\"."});
    const std::string opening = "Failure opening dll: " + unresolved + " Error: ";
    EXPECT_NE(std::find_if(logged.begin(), logged.end(),
                           [&](const std::string& m) { return m.rfind(opening, 0) == 0; }),
              logged.end());
}

TEST_F(LoaderCase, FindsPluginsByNameAndFileAcrossTheSearchPath) {
    if (!inFreshProcess()) return;
    // The same file name in two directories, listed b before a; path order puts a first.
    const std::string first = add(dir("a"), "twin_first", "twin.so");
    const std::string second = add(dir("b"), "twin_second", "twin.so");
    PluginLoader* loader = start({root.file("b"), root.file("a")});
    ASSERT_EQ(loader->plugins().size(), 2u);

    EXPECT_TRUE(loader->loadPluginFile("twin.so"));  // the search path's order
    EXPECT_TRUE(lutRegistered("TwinSecondLut"));
    EXPECT_FALSE(lutRegistered("TwinFirstLut"));
    EXPECT_EQ(loader->plugins()[1]->info().file(), second);
    loader->unloadPlugin("Twin");
    EXPECT_FALSE(lutRegistered("TwinSecondLut"));

    // By name: the first in path order, with no korvPluginInit and no file recorded.
    EXPECT_TRUE(loader->loadPlugin("Twin"));
    EXPECT_TRUE(loader->plugins()[0]->isInstalled());
    loader->unloadPluginFile(first);
    EXPECT_TRUE(loader->plugins()[0]->isInstalled());
    EXPECT_FALSE(loader->loadPlugin("twin"));

    EXPECT_TRUE(loader->loadPluginFile(first));  // a full path is used as given
    EXPECT_TRUE(lutRegistered("TwinFirstLut"));
    EXPECT_FALSE(loader->loadPluginFile("absent.so"));

    // A module found later by the rescan of loadPluginFile.
    const std::string late = add(dir("a"), "core_1_4_9");
    EXPECT_TRUE(loader->loadPluginFile("core_1_4_9.so"));
    EXPECT_TRUE(loader->isLoadedFile(late));
    expectLogged({"Plugin found: \"" + second + "\".", "Plugin installed successfully: \"Twin\".",
                  "Found no suitable candidate for plugin: \"twin\".",
                  "[PluginLoader::loadApi]: File: \"" + first + "\".",
                  "[PluginLoader::loadApi] Failed to load plugin: " + first + "\".",
                  "DllNotFound or missing dependency of: \"absent.so\".",
                  "Plugin found: \"" + late + "\"."});
}

TEST_F(LoaderCase, RegistersAModuleOnceAndReportsComponentsItsManagersRefused) {
    if (!inFreshProcess()) return;
    PluginLoader* loader = start({plugins});
    EXPECT_EQ(loader->loadAll(), 0);
    const std::string partial = add(plugins, "partial");
    Registry::get()->setProperty("PLUGIN_PATH", plugins + ";" + plugins);
    EXPECT_EQ(loader->searchPluginPath().size(), 2u);
    loader->discoverAvailablePlugins("", "");
    loader->discoverAvailablePlugins(plugins, "");
    loader->discoverAvailablePlugins(partial, "");
    EXPECT_EQ(loader->plugins().size(), 1u);

    EXPECT_EQ(loader->loadAll(), 0);
    EXPECT_TRUE(lutRegistered("PartialLut"));
    EXPECT_TRUE(ImageManager::get()->typeExists("PartialImage"));
    expectReport(partial, PluginLoadState::PartlyInstalled, "not installed: Lut \"PartialLut\"");
    expectLogged({"[PluginLoader::tryToLoad] Loaded 0 plugin(s)."});
}

}  // namespace
