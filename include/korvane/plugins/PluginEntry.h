#pragma once
// The plug-in kit: the one header a plug-in module includes to declare its two entry
// points and to build its PluginInfo, with this core's build record and version, in one
// call to pluginInfo(...) (never type the build-record constants yourself: they are the
// protocol the loader checks). Include beside it the headers of the components you
// supply. Build the module with korvane_add_plugin() from find_package(Korvane), or with
// `pkg-config --cflags --libs korvane` and -fvisibility=hidden -shared -fPIC; the
// template in examples/plugin-template/ does both.
//
// A module is a shared object in a directory of the registry's "PLUGIN_PATH"; the core
// looks both functions up by these exact names, so define them in the global namespace
// exactly as declared here (the declarations give them C linkage and export them).
//
//   korvPluginOrganizer  Called once, on the host's thread, when the module is found.
//                        Return the plug-in's organizer, made with pluginInfo(...).
//                        The organizer must stay valid for the rest of the process:
//                        make it once and never destroy it. Returning null, or
//                        throwing, keeps the module out.
//   korvPluginInit       Called on the host's thread each time the plug-in is loaded,
//                        before its build record is checked: add the components here
//                        (once: a second call finds them present). May throw a
//                        std::exception to refuse loading; its what() is logged.
//
// Example, a complete module:
//
//     #include <korvane/image/Lut.h>
//     #include <korvane/plugins/PluginEntry.h>
//
//     Korvane::PluginOrganizer* korvPluginOrganizer() {
//         static auto* organizer = new Korvane::PluginOrganizer(Korvane::pluginInfo(
//             "MyLuts", Korvane::Version(1, 0, 0), "Look-up tables", "MIT"));
//         return organizer;
//     }
//
//     void korvPluginInit(Korvane::PluginOrganizer* organizer) {
//         if (!organizer->components().empty()) return;
//         organizer->addComponent("MyGrey8", new Korvane::LutGrey8, nullptr);
//     }

#include <korvane/core/Version.h>
#include <korvane/plugins/PluginInfo.h>
#include <korvane/plugins/PluginOrganizer.h>

#include <string>

#define KORVANE_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

KORVANE_PLUGIN_ENTRY Korvane::PluginOrganizer* korvPluginOrganizer();
KORVANE_PLUGIN_ENTRY void korvPluginInit(Korvane::PluginOrganizer* organizer);

namespace Korvane {

using PluginOrganizerFunction = PluginOrganizer* (*)();
using PluginInitFunction = void (*)(PluginOrganizer*);

// The info of a plug-in built against this core: its name, version and texts with the
// core's build record and version filled in. The build time is free text, for example
// __DATE__ " " __TIME__ (left out by default, so that builds stay reproducible).
inline PluginInfo pluginInfo(const std::string& name, const Version& version,
                             const std::string& description, const std::string& licenseText,
                             const std::string& buildDateTime = std::string()) {
    return PluginInfo(
        name, version,
        Version(BuildRecord::coreMajor, BuildRecord::coreMinor, BuildRecord::corePatch),
        BuildRecord::toolset, BuildRecord::toolsetVersion, BuildRecord::platform,
        BuildRecord::operatingSystem, BuildRecord::cpu, BuildRecord::configuration, buildDateTime,
        description, licenseText);
}

}  // namespace Korvane
