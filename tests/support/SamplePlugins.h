#pragma once
// Loads the sample plug-in modules of this build (its "plugins" directory) through the
// plug-in loader, once per test program: a fixture's SetUpTestSuite calls it before
// anything else has made the loader. Tests skip when the build leaves the modules out.

#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/plugins/PluginLoader.h>

#include <string>

#include "support/SystemLogRecorder.h"

namespace KorvaneTest {

inline const std::string kSamplePluginDir = KORVANE_TEST_BINARY_DIR "/../plugins";

// False when the build leaves the modules out; otherwise loads every module of the
// directory (once) and answers true, with a failure unless plugin was installed.
inline bool loadSamplePlugins(const char* plugin) {
#ifdef KORVANE_NO_SAMPLE_PLUGINS
    return false;
#else
    static const bool loaded = [] {
        Korvane::Registry::get()->setProperty("PLUGIN_PATH", kSamplePluginDir);
        Korvane::PluginLoader::get()->loadAll();
        return true;
    }();
    EXPECT_TRUE(Korvane::PluginLoader::get()->isLoaded(plugin)) << plugin;
    return loaded;
#endif
}

// The fixture of a sample plug-in's tests: loads its module for the test program,
// records the system log from then on, and skips every test when the build has no
// modules. Each test starts with the log lines read so far dropped.
template <const char* Plugin, class Base = ::testing::Test>
class SamplePluginTest : public Base {
protected:
    static void SetUpTestSuite() {
        recorder = new SystemLogRecorder;
        loaded = loadSamplePlugins(Plugin);
    }
    static void TearDownTestSuite() {
        delete recorder;
        recorder = nullptr;
    }
    void SetUp() override {
        Base::SetUp();
        if (!loaded) GTEST_SKIP() << "the sample plug-ins are not part of this build";
        recorder->messages();
    }

    static inline SystemLogRecorder* recorder = nullptr;
    static inline bool loaded = false;
};

}  // namespace KorvaneTest
