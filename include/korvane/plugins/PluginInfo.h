#pragma once
// PluginInfo is a plug-in's identity and build record: its name and version, the core
// version it was built against and the codes of its build, which the loader compares
// with the core's own (BuildRecord below). A plug-in builds one in korvPluginOrganizer
// and hands it to its PluginOrganizer, which keeps a copy. A plain value: not shared
// between threads, except that the loader records the module file through setFile.
//
// Decision: the full constructor reports a foreign build with std::runtime_error (a
// std::exception whose what() is the message), so that catch (const std::exception&)
// sees the text.

#include <korvane/core/Export.h>
#include <korvane/core/Version.h>

#include <string>

namespace Korvane {

// The build record of this core, which every plug-in must carry exactly. The numbers
// are protocol codes, not a description of the compiler that built the core.
namespace BuildRecord {
constexpr int configuration = 2;  // "Release"
constexpr int cpu = 16;           // "x86"
constexpr int operatingSystem = 16;
constexpr int platform = 16;  // "WIN32"
constexpr int toolset = 75;   // "MSVC"
constexpr const char* toolsetVersion = "MSVC11";
// The core version a plug-in is built against: major and minor must match.
constexpr int coreMajor = 1;
constexpr int coreMinor = 4;
constexpr int corePatch = 2;
}  // namespace BuildRecord

class KORVANE_API PluginInfo {
public:
    // Integers 0, texts empty, versions 0.0.0.
    PluginInfo();
    // Stores every field (file stays empty), then throws std::runtime_error at the first
    // of: configuration != 2 "Plugin is build for other release configuration.",
    // toolset != 75 "Plugin is build with other compiler toolset.", toolsetVersion !=
    // "MSVC11" "Plugin is build with other compiler toolset version.", platform != 16
    // "Plugin is build for other platform.". The cpu, operating system and versions
    // are checked by the loader.
    PluginInfo(const std::string& name, const Version& version,
               const Version& compatibleCoreVersion, int toolset, const std::string& toolsetVersion,
               int platform, int operatingSystem, int cpu, int configuration,
               const std::string& buildDateTime, const std::string& description,
               const std::string& licenseText);
    PluginInfo(const PluginInfo&) = default;
    PluginInfo& operator=(const PluginInfo&) = default;
    virtual ~PluginInfo();

    const std::string& name() const { return m_name; }
    const Version& version() const { return m_version; }
    const Version& compatibleCoreVersion() const { return m_compatibleCoreVersion; }
    int toolset() const { return m_toolset; }
    const std::string& toolsetVersion() const { return m_toolsetVersion; }
    int platform() const { return m_platform; }
    int operatingSystem() const { return m_operatingSystem; }
    int cpu() const { return m_cpu; }
    int configuration() const { return m_configuration; }
    const std::string& buildDateTime() const { return m_buildDateTime; }
    const std::string& description() const { return m_description; }
    const std::string& licenseText() const { return m_licenseText; }
    // The module the plug-in was loaded from; empty until the loader records it.
    const std::string& file() const { return m_file; }
    // The loader records the module here, through the organizer's const info().
    void setFile(const std::string& file) const { m_file = file; }

private:
    int m_toolset = 0;
    int m_platform = 0;
    int m_operatingSystem = 0;
    int m_cpu = 0;
    int m_configuration = 0;
    std::string m_name;
    std::string m_toolsetVersion;
    std::string m_buildDateTime;
    std::string m_description;
    std::string m_licenseText;
    mutable std::string m_file;
    Version m_version;
    Version m_compatibleCoreVersion;
};

}  // namespace Korvane
