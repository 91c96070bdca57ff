#include <korvane/plugins/PluginInfo.h>

#include <stdexcept>

namespace Korvane {

PluginInfo::PluginInfo() = default;

PluginInfo::PluginInfo(const std::string& name, const Version& version,
                       const Version& compatibleCoreVersion, int toolset,
                       const std::string& toolsetVersion, int platform, int operatingSystem,
                       int cpu, int configuration, const std::string& buildDateTime,
                       const std::string& description, const std::string& licenseText)
    : m_toolset(toolset),
      m_platform(platform),
      m_operatingSystem(operatingSystem),
      m_cpu(cpu),
      m_configuration(configuration),
      m_name(name),
      m_toolsetVersion(toolsetVersion),
      m_buildDateTime(buildDateTime),
      m_description(description),
      m_licenseText(licenseText),
      m_version(version),
      m_compatibleCoreVersion(compatibleCoreVersion) {
    if (m_configuration != BuildRecord::configuration)
        throw std::runtime_error("Plugin is build for other release configuration.");
    if (m_toolset != BuildRecord::toolset)
        throw std::runtime_error("Plugin is build with other compiler toolset.");
    if (m_toolsetVersion != BuildRecord::toolsetVersion)
        throw std::runtime_error("Plugin is build with other compiler toolset version.");
    if (m_platform != BuildRecord::platform)
        throw std::runtime_error("Plugin is build for other platform.");
}

PluginInfo::~PluginInfo() = default;

}  // namespace Korvane
