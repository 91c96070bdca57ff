#include "platform/PosixLibrary.h"

#include <dlfcn.h>
#include <korvane/log/LogFunctions.h>

namespace Korvane::Internal {

bool PosixLibrary::open(const std::string& fileName) {
    if (!fileName.empty()) m_fileName = fileName;
    if (m_fileName.empty()) return false;
    m_handle = ::dlopen(m_fileName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle) {
        m_error.clear();
        return true;
    }
    const char* reason = ::dlerror();
    m_error = reason ? reason : "unknown error";
    korvLogError("Failure opening dll: " + m_fileName + " Error: " + m_error);
    return false;
}

bool PosixLibrary::close() {
    if (!m_handle) return false;
    ::dlclose(m_handle);
    m_handle = nullptr;
    return true;
}

void* PosixLibrary::symbol(const std::string& name) {
    return m_handle ? ::dlsym(m_handle, name.c_str()) : nullptr;
}

PosixLibrary::~PosixLibrary() {
    if (m_handle) ::dlclose(m_handle);
    m_fileName.clear();
}

}  // namespace Korvane::Internal
