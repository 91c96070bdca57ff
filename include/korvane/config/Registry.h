#pragma once
// Registry is the process-wide table of settings: the installation paths (with %NAME%
// references and ';'-lists, expanded on demand) and the read-only build record that
// plug-ins are checked against. The singleton lives from the first get() to process
// exit; every access goes through the property lock, so any thread may call.
// The constructor is protected so that a subclass (a test) can build a registry that
// still holds the defaults, which library start-up overwrites in the singleton.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyInterface.h>

#include <string>
#include <vector>

namespace Korvane {

class KORVANE_API Registry : public PropertyInterface {
public:
    // The singleton, built on first call. Both names are the same operation.
    static Registry* get();
    static Registry* getRegistry();

    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;
    ~Registry() override;

    // *out = expand(value of name, resolve, this); out is left alone when it is null
    // or the property cannot be read as text.
    void expandProperty(const std::string& name, std::string* out, bool resolve) const;
    // *out = expandList(value of name, "", resolve, this), under the same conditions.
    void splitAndExpandProperty(const std::string& name, std::vector<std::string>* out,
                                bool resolve) const;

    // Reads a property file into the registry (a value read replaces its whole
    // record). A file that cannot be opened, or a null path, logs a warning.
    // Read-only settings (the build record) keep their records; a file giving one of
    // them another value logs a warning naming it.
    void parseConfigFile(const char* path);
    // Writes the registry as a property file; silent when the file cannot be opened.
    void saveToConfigFile(const char* path) const;
    // For each name: adds a read-only setting holding the environment value, or
    // appends ";" + value to an existing writable text setting. Names that are not
    // valid property names are skipped (cleaning them would file the value elsewhere).
    void parseEnvironment(const std::vector<std::string>& names);
    // Accepts the host's command line and ignores it.
    void parseCommandLine(int argc, char** argv);

protected:
    Registry();
};

}  // namespace Korvane
