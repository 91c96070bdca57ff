#pragma once
// The fixture of a sample plug-in's tests. Its SetUpTestSuite loads the modules of this
// build's "plugins" directory through the plug-in loader, once per test program and
// before anything else has made the loader (failing unless Plugin was installed), and
// records the system log from then on. Every test skips when the build leaves the
// modules out, and starts with the log lines read so far dropped.

#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/plugins/PluginLoader.h>

#include "support/SystemLogRecorder.h"

namespace KorvaneTest {

template <const char* Plugin, class Base = ::testing::Test>
class SamplePluginTest : public Base {
protected:
    static void SetUpTestSuite() {
        recorder = new SystemLogRecorder;
#ifndef KORVANE_NO_SAMPLE_PLUGINS
        static const bool once = [] {  // every module of the directory, once per program
            Korvane::Registry::get()->setProperty("PLUGIN_PATH",
                                                  KORVANE_TEST_BINARY_DIR "/../plugins");
            return Korvane::PluginLoader::get()->loadAll() >= 0;
        }();
        loaded = once;
        EXPECT_TRUE(Korvane::PluginLoader::get()->isLoaded(Plugin)) << Plugin;
#endif
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
