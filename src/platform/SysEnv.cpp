#include <korvane/config/SysEnv.h>

#include <korvane/config/StringUtils.h>
#include <korvane/platform/Mutex.h>

#include <stdlib.h>

namespace Korvane {

namespace {

// Serialises every SysEnv call, and makes each read-modify-write one step.
Mutex& environmentMutex() {
    static Mutex mutex;
    return mutex;
}

bool isVariableName(const std::string& name) {
    return !name.empty() && name.find_first_of(std::string("=\0", 2)) == std::string::npos;
}

// The two twins below assume environmentMutex() is held.
std::string variablePrivate(const std::string& name) {
    if (!isVariableName(name)) return std::string();
    const char* value = ::getenv(name.c_str());
    return value ? std::string(value) : std::string();
}

bool setVariablePrivate(const std::string& name, const std::string& value) {
    if (!isVariableName(name) || value.find('\0') != std::string::npos) return false;
    return ::setenv(name.c_str(), value.c_str(), 1) == 0;
}

// Sets the variable to before + old value + after in one locked step.
bool wrapVariable(const std::string& name, const std::string& before, const std::string& after) {
    MutexLock lock(&environmentMutex());
    return setVariablePrivate(name, before + variablePrivate(name) + after);
}

}  // namespace

std::string SysEnv::variable(const std::string& name) {
    MutexLock lock(&environmentMutex());
    return variablePrivate(name);
}

bool SysEnv::setVariable(const std::string& name, const std::string& value) {
    MutexLock lock(&environmentMutex());
    return setVariablePrivate(name, value);
}

std::vector<std::string> SysEnv::path(const std::string& name) {
    return split(variable(name), ";", "");
}

bool SysEnv::appendPath(const std::string& name, const std::string& dir) {
    return wrapVariable(name, "", ";" + dir);
}

bool SysEnv::appendValue(const std::string& name, const std::string& value) {
    return wrapVariable(name, "", ";" + value);
}

bool SysEnv::prependPath(const std::string& name, const std::string& dir) {
    return wrapVariable(name, dir + ";", "");
}

bool SysEnv::prependValue(const std::string& name, const std::string& value) {
    return wrapVariable(name, value, "");
}

}  // namespace Korvane
