#pragma once
// PosixLibrary loads a module with dlopen (all symbols resolved at once and kept
// private to the module), finds symbols with dlsym and unloads with dlclose.

#include <string>

#include "platform/LibraryInterface.h"

namespace Korvane::Internal {

class PosixLibrary : public LibraryInterface {
public:
    PosixLibrary() = default;
    PosixLibrary(const PosixLibrary&) = delete;
    PosixLibrary& operator=(const PosixLibrary&) = delete;

    // On failure logs "Failure opening dll: " + the file + " Error: " + dlerror()'s text.
    bool open(const std::string& fileName) override;
    bool isOpen() override { return m_handle != nullptr; }
    bool close() override;
    void* symbol(const std::string& name) override;
    ~PosixLibrary() override;
    void release() override { m_handle = nullptr; }
    std::string errorText() const override { return m_error; }

private:
    void* m_handle = nullptr;  // from dlopen; null while closed
    std::string m_fileName;    // the file last given to open
    std::string m_error;       // dlerror() of the last failed open
};

}  // namespace Korvane::Internal
