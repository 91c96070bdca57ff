#pragma once
// PluginLoader finds plug-in modules in the directories of "PLUGIN_PATH", keeps one
// record per module that yields an organizer, checks each plug-in's build record
// against the core's and has its organizer install the components into the managers.
// A process-wide singleton; on first use it registers (does not install) every module
// of the search path. It takes no lock: discovery, loading and unloading belong to the
// host's start-up and shut-down on one thread. Modules are never unmapped.
//
// Decisions: modules are the files matching "*.so"; a path beginning with '/' is used
// as given by loadPluginFile, as a drive-qualified one is. Exceptions thrown by a
// plug-in's korvPluginOrganizer (while registering) and by its korvPluginInit under
// loadPluginFile are caught as loadAll catches them, so that no module can take the host
// down; loadPluginFile records the module file in the plug-in's info as loadAll does.
// The loader's constructor makes the managers it installs into, so they outlive it.
// Every miss of loadPluginFile rescans the search path; rescans are not limited.
// loadReport() answers "why is my plug-in not there" for every module file seen.

#include <korvane/core/Export.h>
#include <korvane/plugins/ComponentType.h>
#include <korvane/plugins/PluginInfo.h>
#include <korvane/plugins/PluginOrganizer.h>

#include <exception>
#include <map>
#include <string>
#include <vector>

namespace Korvane {

class Library;

// The record of one plug-in module: its two entry points and its organizer.
struct KORVANE_API PluginApi {
    using OrganizerFunction = PluginOrganizer* (*)();
    using InitFunction = void (*)(PluginOrganizer*);

    PluginApi() = default;
    // Looks up "korvPluginOrganizer" and "korvPluginInit" in the open library and calls
    // the organizer function once. Whatever that function throws passes through.
    explicit PluginApi(Library& library);

    OrganizerFunction organizerFunction = nullptr;
    InitFunction initFunction = nullptr;
    PluginOrganizer* organizer = nullptr;  // owned by the plug-in
    Library* library = nullptr;            // always null in the loader's records
};

// Where a module file got to, for the load report.
enum class PluginLoadState {
    NotAModule,       // could not be opened as a module (or the directory is missing)
    NoEntryPoints,    // no korvPluginOrganizer, or it gave no organizer
    Registered,       // its organizer is known; not installed
    Refused,          // korvPluginInit missing or failed, foreign build, nothing installed
    Installed,        // every component registered
    PartlyInstalled,  // some components were refused by their managers
    Uninstalled,      // its components were taken out again
};

// "not a module", "no entry points", "registered", "refused", "installed",
// "partly installed", "uninstalled".
KORVANE_API const char* pluginLoadStateName(PluginLoadState state);

struct KORVANE_API PluginLoadRecord {
    std::string file;  // the module path (or directory) as the loader saw it
    PluginLoadState state = PluginLoadState::NotAModule;
    // Why it is not installed: the system's text for a module that cannot be opened,
    // the missing entry point, the first foreign row of the build record with the
    // plug-in's and the core's values, the text of an exception, the components that
    // their managers refused. Empty when installed or uninstalled.
    std::string reason;
};

class KORVANE_API PluginLoader {
public:
    // The singleton, made on first call (which registers the search path's modules) and
    // destroyed at process exit. Both names are the same operation.
    static PluginLoader* get();
    static PluginLoader* getPluginLoader();

    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    // Registers the modules in directory path, the module file path, or, for an empty
    // path, every module of the search path not registered yet. options is only logged.
    void discoverAvailablePlugins(const std::string& path, const std::string& options);
    // The full paths of the "*.so" files in the directories of "PLUGIN_PATH".
    std::vector<std::string> searchPluginPath();

    // Initialises, checks and installs every registered plug-in in path order; the
    // number installed in full.
    int loadAll();
    // Checks and installs the first registered plug-in called name (korvPluginInit is
    // not called, the file is not recorded).
    bool loadPlugin(const std::string& name);
    // Loads the module file: a path beginning with '/' (or a drive) as given, another
    // under each directory of the search path in turn, rescanning once if needed.
    bool loadPluginFile(const std::string& file);

    // Uninstalls every installed plug-in called name.
    void unloadPlugin(const std::string& name);
    // Uninstalls the plug-in loaded from file by loadAll or loadPluginFile.
    void unloadPluginFile(const std::string& file);
    // Uninstalls every plug-in; they stay registered. Answers 0.
    int unloadAll();
    // Uninstalls the component name of kind type from whichever plug-in declares it.
    void unLoadComponent(std::string name, ComponentType type);

    // The organizers of all registered plug-ins, in path order.
    std::vector<PluginOrganizer*> plugins() const;
    // True when a registered plug-in is called name (installed or not).
    bool isLoaded(const std::string& name);
    // True when file is registered.
    bool isLoadedFile(const std::string& file);

    // One record per module file (or missing directory) seen, in path order.
    std::vector<PluginLoadRecord> loadReport() const;

private:
    PluginLoader();
    // Uninstalls every installed plug-in and forgets them.
    virtual ~PluginLoader();

    bool registerPlugin(const std::string& file);
    bool loadApi(const std::string& file);
    bool isCompatiblePlugin(const PluginInfo& info);
    bool tryToLoad(PluginApi& api);

    // The directories of "PLUGIN_PATH", expanded.
    std::vector<std::string> searchDirectories() const;
    // Logs and notes an exception thrown while the plug-in name of file was loaded.
    void noteException(const std::string& file, const std::string& name,
                       const std::exception& error);
    // Uninstalls the plug-in of file's record and notes it in the report.
    void uninstall(const std::string& file, PluginApi& api);
    void note(const std::string& file, PluginLoadState state, const std::string& reason = "");
    // The result of api's organizer's install(), noted in the report.
    bool installAndNote(PluginApi& api);
    const std::string* fileOf(const PluginApi& api) const;

    std::map<std::string, PluginApi> m_registered;     // by module path
    std::map<std::string, PluginLoadRecord> m_report;  // by module path
};

}  // namespace Korvane
