#pragma once
// LibraryInterface is one loaded module as the platform provides it: load by file
// name, unload, look up an exported symbol. Library is its only user.

#include <string>

namespace Korvane::Internal {

class LibraryInterface {
public:
    // Loads fileName, or the file given before when it is empty; logs a failure.
    virtual bool open(const std::string& fileName) = 0;
    virtual bool isOpen() = 0;
    // Unloads the module; false when none was loaded.
    virtual bool close() = 0;
    // The address of an exported symbol; null when absent or not open.
    virtual void* symbol(const std::string& name) = 0;
    // Unloads a module still held.
    virtual ~LibraryInterface() = default;
    // Lets go of the module without unloading it: it stays mapped for the rest of the
    // process, and the destructor then has nothing to unload.
    virtual void release() = 0;
    // Why the last open failed, as the platform says it; empty after a success.
    virtual std::string errorText() const = 0;
};

}  // namespace Korvane::Internal
