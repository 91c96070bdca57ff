#pragma once
// SysEnv reads and changes the process environment. All functions are static and may
// be called from any thread: calls through SysEnv are serialised with each other, so
// an append or prepend is not lost to a concurrent one (direct getenv/setenv calls
// elsewhere in the process are outside that guarantee). Values of any length are
// returned in full. A name that is empty or contains '=' or a NUL character names no
// variable: reads give an empty text, writes fail.

#include <korvane/core/Export.h>

#include <string>
#include <vector>

namespace Korvane {

class KORVANE_API SysEnv {
public:
    SysEnv() = delete;

    // The value, or empty when the variable is not set or name is not a valid name.
    static std::string variable(const std::string& name);
    // Sets the variable for this process; false when the system refuses (or the value
    // holds a NUL character, which the environment cannot store).
    static bool setVariable(const std::string& name, const std::string& value);
    // The value split at ';' (no escape character).
    static std::vector<std::string> path(const std::string& name);

    // The separator is added even when the old value is empty.
    static bool appendPath(const std::string& name, const std::string& dir);      // old;dir
    static bool appendValue(const std::string& name, const std::string& value);   // old;value
    static bool prependPath(const std::string& name, const std::string& dir);     // dir;old
    static bool prependValue(const std::string& name, const std::string& value);  // valueold
};

}  // namespace Korvane
