// One source for every test plug-in module; each module's compile definitions choose
// its name, build record, entry points, components and faults:
//   KT_NAME                  plug-in name
//   KT_CORE_MAJOR/MINOR/PATCH  core version it claims to be built against (1.4.2)
//   KT_CPU                   cpu code (the core's)
//   KT_TOOLSET_VERSION       toolset version ("MSVC11"; another makes the info throw)
//   KT_DEFAULT_INFO          carries a default-constructed info (configuration 0)
//   KT_NO_ORGANIZER          does not define korvPluginOrganizer
//   KT_NO_INIT               does not define korvPluginInit
//   KT_NULL_ORGANIZER        korvPluginOrganizer answers null
//   KT_INIT_THROWS           korvPluginInit throws
//   KT_UNRESOLVED            needs a symbol nobody defines, so it cannot be opened
//   KT_COMPONENTS            1: one of each class the core installs (the writer and
//                            operator are the shared test ones), 2: a Lut twice and an Image,
//                            otherwise one Lut called KT_LUT

#include <korvane/buffers/FifoTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/image/Lut.h>
#include <korvane/log/Log.h>
#include <korvane/plugins/PluginEntry.h>
#include <korvane/process/Motion.h>
#include <korvane/process/Script.h>
#include <korvane/process/Storage.h>

#include <stdexcept>
#include <string>

#include "support/RecordingWriter.h"
#include "support/TestOperators.h"

#ifndef KT_CORE_MAJOR
#define KT_CORE_MAJOR 1
#define KT_CORE_MINOR 4
#define KT_CORE_PATCH 2
#endif
#ifndef KT_CPU
#define KT_CPU 16
#endif
#ifndef KT_TOOLSET_VERSION
#define KT_TOOLSET_VERSION "MSVC11"
#endif

#ifdef KT_UNRESOLVED
extern "C" int korvTestSymbolThatNobodyDefines();
#endif

using namespace Korvane;

namespace {

class TestScript : public Script {
public:
    Script* createCopy() override { return new TestScript(*this); }

protected:
    bool init() override { return true; }
    bool sequence(unsigned long long) override { return false; }
    bool cleanup() override { return true; }
};

class TestMotion : public Motion {
public:
    Motion* createCopy() override { return new TestMotion(*this); }

protected:
    bool openController() override { return true; }
    bool executeCommand(ObjectRefPtr) override { return true; }
    void closeController() override {}
};

class TestStorage : public Storage {
public:
    Storage* createCopy() override { return new TestStorage(*this); }
    bool save(ImgRefPtr, const char*) override { return false; }
    bool load(ImgRefPtr&, const char*) override { return false; }
};

[[maybe_unused]] PluginInfo makeInfo() {
#ifdef KT_DEFAULT_INFO
    return PluginInfo();
#else
    return PluginInfo(KT_NAME, Version(2, 0, 1),
                      Version(KT_CORE_MAJOR, KT_CORE_MINOR, KT_CORE_PATCH), BuildRecord::toolset,
                      KT_TOOLSET_VERSION, BuildRecord::platform, BuildRecord::operatingSystem,
                      KT_CPU, BuildRecord::configuration, "2026-11-24", "A test plug-in", "none");
#endif
}

}  // namespace

#ifndef KT_NO_ORGANIZER
PluginOrganizer* korvPluginOrganizer() {
#ifdef KT_NULL_ORGANIZER
    return nullptr;
#else
#ifdef KT_UNRESOLVED
    if (korvTestSymbolThatNobodyDefines() == 0) return nullptr;
#endif
    static auto* organizer = new PluginOrganizer(makeInfo());
    return organizer;
#endif
}
#endif

#ifndef KT_NO_INIT
void korvPluginInit(PluginOrganizer* organizer) {
#ifdef KT_INIT_THROWS
    throw std::runtime_error("the test plug-in refuses to start");
#endif
    if (!organizer->components().empty()) return;
#if KT_COMPONENTS == 1
    organizer->addComponent("TestStringFifo", new FifoTemplate<std::string>(0), nullptr);
    organizer->addComponent("TestImage", new Image(4, 3), nullptr);
    organizer->addComponent("TestLog", new Log, nullptr);
    organizer->addComponent("TestWriter", new KorvaneTest::RecordingWriter, nullptr);
    organizer->addComponent("TestGrey8", new LutGrey8, nullptr);
    organizer->addComponent("TestMotion", new TestMotion, nullptr);
    organizer->addComponent("TestOperator", new KorvaneTest::PassThrough, nullptr);
    organizer->addComponent("TestScript", new TestScript, nullptr);
    organizer->addComponent("tst", new TestStorage, nullptr);
#elif KT_COMPONENTS == 2
    organizer->addComponent("PartialLut", new LutGrey8, nullptr);
    organizer->addComponent("PartialLut", new LutGrey8, nullptr);
    organizer->addComponent("PartialImage", new Image(4, 3), nullptr);
#else
    organizer->addComponent(KT_LUT, new LutGrey8, nullptr);
#endif
}
#endif
