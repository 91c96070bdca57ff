#include <korvane/config/Registry.h>

#include <korvane/config/ConfigSerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/config/SysEnv.h>
#include <korvane/log/LogFunctions.h>

#include <algorithm>
#include <fstream>

namespace Korvane {

namespace {

constexpr int kConfigCategory = 7;

struct Setting {
    const char* name;
    const char* value;
    AccessType access;
    const char* description;
};

// In creation order. The double blank in PLUGIN_PATH's description is part of the text.
constexpr Setting kSettings[] = {
    {"KORVANE_PATH", "", read_write_access,
     "Defines the root directory where Korvane itself is installed."},
    {"PLUGIN_PATH", "%KORVANE_PATH%\\plugins\\", read_write_access,
     "Defines the search path for  plugins."},
    {"BIN_PATH", "%KORVANE_PATH%\\bin\\", read_write_access,
     "Defines the search path for the Korvane binaries."},
    {"DATA_PATH", "%KORVANE_PATH%\\data\\", read_write_access,
     "Defines the search path for the Korvane data files."},
    {"LOG_PATH", "%KORVANE_PATH%", read_write_access,
     "Defines the path where Korvane log files are placed."},
    {"CONFIG_PATH", "%KORVANE_PATH%", read_write_access,
     "Defines the path where the Korvane configuration file was found (if any)."},
    {"TOOLSET", "MSVC", read_access,
     "Specifies the compiler toolset used to build this version of Korvane."},
    {"TOOLSET_VERSION", "MSVC11", read_access,
     "Specifies the compiler toolset version used to build this version of Korvane."},
    {"CONFIGURATION", "Release", read_access,
     "Specifies the build configuration used to build this version of Korvane."},
    {"PLATFORM", "WIN32", read_access,
     "Specifies the OS platform on which this version of Korvane is based."},
    {"CPU", "x86", read_access,
     "Specifies the cpu type for which this version of Korvane is compiled."},
};

// Reads a property file like ConfigSerializer, except that a setting the table holds
// without write access keeps its record: a file cannot change the build record.
// Names of such settings that the file gave another value are collected in refused.
class WritableSettingsReader : public ConfigSerializer {
public:
    bool read(PropertyTable* table, std::istream& stream) override {
        PropertyTable fromFile;
        if (!table || !ConfigSerializer::read(&fromFile, stream)) return false;
        for (const auto& [name, record] : fromFile) {
            const Property* current = table->find(name);
            if (!current || (current->access & write_access) != 0) {
                table->insertOrAssign(name, Property(record));
            } else if (current->text != record.text || record.type != string_property) {
                refused.push_back(name);
            }
        }
        return true;
    }

    std::vector<std::string> refused;
};

}  // namespace

Registry::Registry() {
    for (const Setting& setting : kSettings) {
        addProperty(setting.name, setting.value, string_property, setting.access, kConfigCategory,
                    setting.description);
    }
}

Registry::~Registry() = default;

Registry* Registry::get() {
    static Registry registry;
    return &registry;
}

Registry* Registry::getRegistry() {
    return get();
}

void Registry::expandProperty(const std::string& name, std::string* out, bool resolve) const {
    std::string value;
    if (!out || !getProperty(name, &value)) return;
    *out = expand(value, resolve, this);
}

void Registry::splitAndExpandProperty(const std::string& name, std::vector<std::string>* out,
                                      bool resolve) const {
    std::string value;
    if (!out || !getProperty(name, &value)) return;
    *out = expandList(value, "", resolve, this);
}

void Registry::parseConfigFile(const char* path) {
    std::ifstream file;
    if (path) file.open(path);
    if (!file.is_open()) {
        korvLogWarning(std::string("[Registry::parseConfigFile] No config file found: ") +
                       (path ? path : ""));
        return;
    }
    WritableSettingsReader reader;
    deserialize(&reader, file);
    // Logged after the registry's lock is released.
    for (const std::string& name : reader.refused) {
        korvLogWarning("[Registry::parseConfigFile] Read-only setting not changed: " + name);
    }
}

void Registry::saveToConfigFile(const char* path) const {
    if (!path) return;
    std::ofstream file(path, std::ios::out | std::ios::trunc);
    if (!file.is_open()) return;
    ConfigSerializer serializer;
    serialize(&serializer, file);
}

void Registry::parseEnvironment(const std::vector<std::string>& names) {
    const std::vector<std::string> existing = propertyNameList();
    for (const std::string& name : names) {
        // Such a setting could never be found under the name asked for.
        if (!isValidName(name)) continue;
        const std::string value = SysEnv::variable(name);
        if (!std::binary_search(existing.begin(), existing.end(), name)) {
            addProperty(name, value, string_property, read_access, kConfigCategory,
                        "System environment variable.");
        } else if (propertyType(name) == string_property) {
            std::string current;
            getProperty(name, &current);
            // Fails, as intended, for read-only settings.
            setProperty(name, current + ";" + value);
        }
    }
}

void Registry::parseCommandLine(int, char**) {}

}  // namespace Korvane
