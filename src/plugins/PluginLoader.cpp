#include <korvane/config/Registry.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogManager.h>
#include <korvane/platform/Dir.h>
#include <korvane/plugins/Library.h>
#include <korvane/plugins/PluginLoader.h>

#include <exception>
#include <iterator>

#include "plugins/ComponentClasses.h"

namespace Korvane {

namespace {

constexpr const char* kModulePattern = "*.so";
constexpr const char* kOrganizerEntry = "korvPluginOrganizer";
constexpr const char* kInitEntry = "korvPluginInit";

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

bool endsWithSeparator(const std::string& dir) {
    return !dir.empty() && (dir.back() == '/' || dir.back() == '\\');
}

// One row of the build record: the reason logged on a mismatch, the plug-in's value
// and the core's, as text.
struct CompatibilityRow {
    const char* reason;
    std::string (*pluginValue)(const PluginInfo&);
    std::string coreValue;
};

const std::vector<CompatibilityRow>& compatibilityRows() {
    static const std::vector<CompatibilityRow> rows = {
        {" because of incompatible configuration.",
         [](const PluginInfo& i) { return std::to_string(i.configuration()); },
         std::to_string(BuildRecord::configuration)},
        {" because of incompatible CPU type.",
         [](const PluginInfo& i) { return std::to_string(i.cpu()); },
         std::to_string(BuildRecord::cpu)},
        {" because of incompatible Operating System.",
         [](const PluginInfo& i) { return std::to_string(i.operatingSystem()); },
         std::to_string(BuildRecord::operatingSystem)},
        {" because of incompatible platform.",
         [](const PluginInfo& i) { return std::to_string(i.platform()); },
         std::to_string(BuildRecord::platform)},
        {" because of incompatible compiler toolset.",
         [](const PluginInfo& i) { return std::to_string(i.toolset()); },
         std::to_string(BuildRecord::toolset)},
        {" because of incompatible compiler toolset version.",
         [](const PluginInfo& i) { return i.toolsetVersion(); }, BuildRecord::toolsetVersion},
        {" because of incompatible major version of KorvaneCore library.",
         [](const PluginInfo& i) { return std::to_string(i.compatibleCoreVersion().major); },
         std::to_string(BuildRecord::coreMajor)},
        {" because of incompatible minor version of KorvaneCore library.",
         [](const PluginInfo& i) { return std::to_string(i.compatibleCoreVersion().minor); },
         std::to_string(BuildRecord::coreMinor)},
    };
    return rows;
}

const CompatibilityRow* firstForeignRow(const PluginInfo& info) {
    for (const CompatibilityRow& row : compatibilityRows()) {
        if (row.pluginValue(info) != row.coreValue) return &row;
    }
    return nullptr;
}

// "incompatible minor version of KorvaneCore library: plug-in 5, core 4".
std::string foreignRowReason(const PluginInfo& info) {
    const CompatibilityRow* row = firstForeignRow(info);
    if (!row) return std::string();
    const std::string text = row->reason;
    const std::string prefix = " because of ";
    return text.substr(prefix.size(), text.size() - prefix.size() - 1) + ": plug-in " +
           row->pluginValue(info) + ", core " + row->coreValue;
}

const char* componentTypeName(ComponentType type) {
    switch (type) {
        case ComponentType::Device:
            return "Device";
        case ComponentType::Display:
            return "Display";
        case ComponentType::Buffer:
            return "Buffer";
        case ComponentType::Image:
            return "Image";
        case ComponentType::Log:
            return "Log";
        case ComponentType::Lut:
            return "Lut";
        case ComponentType::Operator:
            return "Operator";
        case ComponentType::Motion:
            return "Motion";
        case ComponentType::Script:
            return "Script";
        case ComponentType::Storage:
            return "Storage";
        case ComponentType::LogWriter:
            return "LogWriter";
        case ComponentType::Sensor:
            return "Sensor";
        case ComponentType::Processor:
            return "Processor";
        case ComponentType::FrameGrabber:
            return "FrameGrabber";
        case ComponentType::OperatorProcess:
            return "OperatorProcess";
        case ComponentType::DeviceDetector:
            return "DeviceDetector";
        case ComponentType::FrameGrabberDetector:
            return "FrameGrabberDetector";
    }
    return "Unknown";
}

// The components of organizer that are not installed, as `Lut "Name", Image "Other"`.
std::string refusedComponents(PluginOrganizer& organizer) {
    std::multimap<ComponentType, std::string> installed = organizer.installedComponents();
    std::string refused;
    for (const auto& [type, name] : organizer.components()) {
        auto range = installed.equal_range(type);
        auto match = range.first;
        while (match != range.second && match->second != name) ++match;
        if (match != range.second) {
            installed.erase(match);
            continue;
        }
        refused += (refused.empty() ? "" : ", ") + std::string(componentTypeName(type)) + " " +
                   quoted(name);
    }
    return refused;
}

}  // namespace

const char* pluginLoadStateName(PluginLoadState state) {
    switch (state) {
        case PluginLoadState::NotAModule:
            return "not a module";
        case PluginLoadState::NoEntryPoints:
            return "no entry points";
        case PluginLoadState::Registered:
            return "registered";
        case PluginLoadState::Refused:
            return "refused";
        case PluginLoadState::Installed:
            return "installed";
        case PluginLoadState::PartlyInstalled:
            return "partly installed";
        case PluginLoadState::Uninstalled:
            return "uninstalled";
    }
    return "unknown";
}

// ---- PluginApi ------------------------------------------------------------------------

PluginApi::PluginApi(Library& library)
    : organizerFunction(reinterpret_cast<OrganizerFunction>(library.symbol(kOrganizerEntry))),
      initFunction(reinterpret_cast<InitFunction>(library.symbol(kInitEntry))),
      organizer(organizerFunction ? organizerFunction() : nullptr) {}

// ---- construction ---------------------------------------------------------------------

PluginLoader* PluginLoader::get() {
    static PluginLoader loader;
    return &loader;
}

PluginLoader* PluginLoader::getPluginLoader() {
    return get();
}

PluginLoader::PluginLoader() {
    LogManager::get();
    Internal::makeComponentManagers();
    discoverAvailablePlugins(std::string(), std::string());
}

PluginLoader::~PluginLoader() {
    for (auto& [file, api] : m_registered) {
        if (api.organizer->isInstalled()) api.organizer->uninstall();
    }
    m_registered.clear();
}

// ---- discovery ------------------------------------------------------------------------

std::vector<std::string> PluginLoader::searchDirectories() const {
    std::vector<std::string> directories;
    std::string value;
    Registry* registry = Registry::get();
    if (registry->getProperty("PLUGIN_PATH", &value))
        directories = expandList(value, std::string(), true, registry);
    return directories;
}

std::vector<std::string> PluginLoader::searchPluginPath() {
    std::vector<std::string> files;
    for (std::string dir : searchDirectories()) {
        if (dir.empty()) continue;
        korvLogDebug("[PluginLoader::searchPluginPath] Found path: " + quoted(dir) + ".");
        try {
            if (!endsWithSeparator(dir)) dir += Dir::separator();
        } catch (const std::exception& error) {
            korvLogDebug("[PluginLoader::searchPluginPath] Exception thrown: " +
                         std::string(error.what()) + ".");
        }
        korvLogDebug("[PluginLoader::searchPluginPath] Opening directory: " + quoted(dir) + ".");
        Dir directory(dir.c_str());
        korvLogDebug("[PluginLoader::searchPluginPath] Searching for extions " +
                     quoted(kModulePattern));
        if (!directory.exists()) note(dir, PluginLoadState::NotAModule, "no such directory");
        for (const std::string pattern : {kModulePattern}) {
            korvLogDebug("[PluginLoader::searchPluginPath] Found extention: " + quoted(pattern) +
                         ".");
            for (const std::string& name : directory.dirList(pattern)) {
                files.push_back(directory.absolute() + name);
                korvLogDebug("Found plugin: " + name + " in path: " + quoted(dir) + ".");
            }
        }
    }
    return files;
}

void PluginLoader::discoverAvailablePlugins(const std::string& path, const std::string& options) {
    korvLogDebug("[PluginLoader::discoverAvailablePlugins] Search path: " + quoted(path) +
                 " and options: " + quoted(options) + ".");
    if (path.empty()) {
        for (const std::string& file : searchPluginPath()) {
            korvLogDebug(
                "[PluginLoader::discoverAvailablePlugins] Found files with registry searchpath: " +
                quoted(file) + ".");
            if (m_registered.find(file) == m_registered.end()) registerPlugin(file);
        }
        return;
    }
    Dir directory(path.c_str());
    if (!directory.exists()) {
        registerPlugin(path);
        return;
    }
    const std::string absolute = directory.absolute();
    for (const std::string& name : directory.dirList(kModulePattern))
        registerPlugin(absolute + name);
}

bool PluginLoader::registerPlugin(const std::string& file) {
    Library library(file);
    korvLogDebug("[PluginLoader::registerPlugin] " + quoted(file) + ".");
    const std::string notOpened =
        "[PluginLoader::registerPlugin] Could not open Dynamic Library file: " + quoted(file) + ".";
    if (!library.isOpen()) {
        korvLogDebug(notOpened);
        note(file, PluginLoadState::NotAModule, library.errorText());
        return false;
    }
    PluginApi api;
    std::string failure;
    try {
        api = PluginApi(library);
    } catch (const std::exception& error) {
        failure = std::string(kOrganizerEntry) + " threw: " + error.what();
    }
    korvLogDebug("[PluginLoader::registerPlugin] Probing for PluginApi of: " + quoted(file) + ".");
    if (api.organizer) {
        korvLogDebug("[PluginLoader::registerPlugin] Found PluginApi of: " + quoted(file) + ".");
        api.library = nullptr;
        if (m_registered.emplace(file, api).second) {
            note(file, PluginLoadState::Registered,
                 api.initFunction ? "" : std::string("missing entry point ") + kInitEntry);
        }
        return true;
    }
    korvLogDebug("[PluginLoader::registerPlugin] No PluginApi found in: " + quoted(file) + ".");
    korvLogDebug(notOpened);
    if (!failure.empty()) {
        note(file, PluginLoadState::Refused, failure);
    } else if (!api.organizerFunction) {
        note(file, PluginLoadState::NoEntryPoints,
             std::string("missing entry point ") + kOrganizerEntry);
    } else {
        note(file, PluginLoadState::NoEntryPoints,
             std::string(kOrganizerEntry) + " returned no organizer");
    }
    return false;
}

bool PluginLoader::loadApi(const std::string& file) {
    korvLogDebug("[PluginLoader::loadApi]: File: " + quoted(file) + ".");
    if (m_registered.find(file) != m_registered.end()) {
        korvLogDebug("[PluginLoader::loadApi] Failed to load plugin: " + file + "\".");
        return false;
    }
    korvLogDebug(
        "[PluginLoader::loadAPI] Plugin not yet registered. Doing so now with file name: " +
        quoted(file) + ".");
    return registerPlugin(file);
}

// ---- loading --------------------------------------------------------------------------

bool PluginLoader::isCompatiblePlugin(const PluginInfo& info) {
    const CompatibilityRow* row = firstForeignRow(info);
    if (!row) return true;
    korvLogError("Loading failed of plugin " + quoted(info.name()) + row->reason);
    return false;
}

bool PluginLoader::tryToLoad(PluginApi& api) {
    const std::string* file = fileOf(api);
    std::string reason;
    if (!api.organizer) {
        reason = std::string(kOrganizerEntry) + " returned no organizer";
    } else if (!api.initFunction) {
        korvLogDebug("[PluginLoader::tryToLoad] No init function in plugin.");
        reason = std::string("missing entry point ") + kInitEntry;
    } else {
        api.initFunction(api.organizer);
        if (isCompatiblePlugin(api.organizer->info())) return installAndNote(api);
        reason = foreignRowReason(api.organizer->info());
    }
    korvLogDebug("[PluginLoader::tryToLoad] Failed to load plugin.");
    if (file) note(*file, PluginLoadState::Refused, reason);
    return false;
}

bool PluginLoader::installAndNote(PluginApi& api) {
    const bool ok = api.organizer->install();
    const std::string* file = fileOf(api);
    if (!file) return ok;
    if (ok) {
        note(*file, PluginLoadState::Installed);
        return true;
    }
    const bool some = !api.organizer->installedComponents().empty();
    note(*file, some ? PluginLoadState::PartlyInstalled : PluginLoadState::Refused,
         "not installed: " + refusedComponents(*api.organizer));
    return false;
}

void PluginLoader::noteException(const std::string& file, const std::string& name,
                                 const std::exception& error) {
    korvLogWarning("[PluginLoader::loadAll] Exception during load of " + quoted(name) +
                   ". What: " + error.what() + "\".");
    note(file, PluginLoadState::Refused, std::string(kInitEntry) + " threw: " + error.what());
}

int PluginLoader::loadAll() {
    int count = 0;
    for (auto& [file, api] : m_registered) {
        const std::string name = api.organizer->info().name();
        korvLogDebug("[PluginLoader::loadAll] Trying to load plugin: " + quoted(name) + ".");
        try {
            if (tryToLoad(api)) {
                ++count;
                korvLogInfo("[PluginLoader::loadAll] Loaded plugin: " + quoted(name) + ".");
                api.organizer->info().setFile(file);
            } else {
                korvLogError("[PluginLoader::loadAll] Failed to load plugin: " + quoted(name) +
                             ".");
            }
        } catch (const std::exception& error) {
            noteException(file, name, error);
        }
    }
    korvLogDebug("[PluginLoader::tryToLoad] Loaded " + std::to_string(count) + " plugin(s).");
    return count;
}

bool PluginLoader::loadPlugin(const std::string& name) {
    PluginApi* found = nullptr;
    for (auto& entry : m_registered) {
        const std::string& entryName = entry.second.organizer->info().name();
        korvLogDebug("[PluginLoader::loadPlugin] Found plugin: " + quoted(entryName) + ".");
        if (entryName == name) {
            found = &entry.second;
            break;
        }
    }
    if (!found) {
        korvLogError("Found no suitable candidate for plugin: " + quoted(name) + ".");
        return false;
    }
    if (!isCompatiblePlugin(found->organizer->info())) {
        korvLogError("Plugin is not compatible with KorvaneCore configuration.");
        if (const std::string* file = fileOf(*found))
            note(*file, PluginLoadState::Refused, foreignRowReason(found->organizer->info()));
        return false;
    }
    const bool ok = installAndNote(*found);
    if (ok) {
        korvLogInfo("Plugin installed successfully: " + quoted(name) + ".");
    } else {
        korvLogError("Plugin could not be installed: " + quoted(name) + ".");
    }
    return ok;
}

bool PluginLoader::loadPluginFile(const std::string& file) {
    korvLogDebug("[PluginLoader::loadPluginFile]: File: " + quoted(file) + ".");
    std::vector<std::string> candidates;
    const bool qualified = (file.size() > 2 && file[1] == ':') || (!file.empty() && file[0] == '/');
    if (qualified) {
        candidates.push_back(file);
        loadApi(file);
    } else {
        for (const std::string& dir : searchDirectories()) {
            const bool joined = !dir.empty() && !endsWithSeparator(dir);
            candidates.push_back(joined ? dir + Dir::separator() + file : dir + file);
        }
    }
    for (int pass = 0; pass < 2; ++pass) {
        for (const std::string& candidate : candidates) {
            auto entry = m_registered.find(candidate);
            if (entry == m_registered.end()) continue;
            try {
                if (!tryToLoad(entry->second)) continue;
            } catch (const std::exception& error) {
                noteException(candidate, entry->second.organizer->info().name(), error);
                continue;
            }
            korvLogInfo("Plugin found: " + quoted(candidate) + ".");
            entry->second.organizer->info().setFile(candidate);
            return true;
        }
        if (pass == 0) {
            discoverAvailablePlugins(std::string(), std::string());
            discoverAvailablePlugins(file, std::string());
        }
    }
    korvLogError("DllNotFound or missing dependency of: " + quoted(file) + ".");
    return false;
}

// ---- unloading ------------------------------------------------------------------------

void PluginLoader::uninstall(const std::string& file, PluginApi& api) {
    const bool wasInstalled = api.organizer->isInstalled();
    api.organizer->uninstall();
    if (wasInstalled) note(file, PluginLoadState::Uninstalled);
}

int PluginLoader::unloadAll() {
    for (auto& [file, api] : m_registered) {
        uninstall(file, api);
        if (api.library) api.library->close();
    }
    return 0;
}

void PluginLoader::unloadPlugin(const std::string& name) {
    for (auto& [file, api] : m_registered) {
        if (api.organizer->info().name() == name && api.organizer->isInstalled())
            uninstall(file, api);
    }
}

void PluginLoader::unloadPluginFile(const std::string& file) {
    auto entry = m_registered.find(file);
    if (entry == m_registered.end()) return;
    PluginOrganizer* organizer = entry->second.organizer;
    if (organizer->info().file() == file && organizer->isInstalled())
        uninstall(file, entry->second);
}

void PluginLoader::unLoadComponent(std::string name, ComponentType type) {
    for (auto& entry : m_registered) {
        PluginOrganizer* organizer = entry.second.organizer;
        for (const auto& [componentType, componentName] : organizer->components()) {
            if (componentType == type && componentName == name)
                organizer->uninstallComponent(name, type);
        }
    }
}

// ---- queries --------------------------------------------------------------------------

std::vector<PluginOrganizer*> PluginLoader::plugins() const {
    std::vector<PluginOrganizer*> organizers;
    for (const auto& entry : m_registered) {
        if (entry.second.organizer) organizers.push_back(entry.second.organizer);
    }
    return organizers;
}

bool PluginLoader::isLoaded(const std::string& name) {
    for (const auto& entry : m_registered) {
        if (entry.second.organizer->info().name() == name) return true;
    }
    return false;
}

bool PluginLoader::isLoadedFile(const std::string& file) {
    return m_registered.find(file) != m_registered.end();
}

std::vector<PluginLoadRecord> PluginLoader::loadReport() const {
    std::vector<PluginLoadRecord> records;
    records.reserve(m_report.size());
    for (const auto& entry : m_report) records.push_back(entry.second);
    return records;
}

void PluginLoader::note(const std::string& file, PluginLoadState state, const std::string& reason) {
    m_report[file] = {file, state, reason};
}

const std::string* PluginLoader::fileOf(const PluginApi& api) const {
    for (const auto& entry : m_registered) {
        if (&entry.second == &api) return &entry.first;
    }
    return nullptr;
}

}  // namespace Korvane
