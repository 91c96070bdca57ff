#pragma once
// Library is a handle to one native module (a shared object) for the plug-in loader:
// it opens the module on construction and looks up exported symbols. A module once
// opened stays mapped after the Library is gone, so function pointers and objects
// taken from it stay valid; only an explicit close() unloads it. Owned by its creator,
// used by one thread at a time.

#include <korvane/core/Export.h>

#include <memory>
#include <string>

namespace Korvane {

namespace Internal {
class LibraryInterface;
}  // namespace Internal

class KORVANE_API Library {
public:
    // Opens fileName; a module that cannot be opened is logged with the system's reason.
    explicit Library(const std::string& fileName);
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    // Leaves the module mapped.
    virtual ~Library();

    bool isOpen() const;
    // Unloads the module; false when it was not open.
    bool close();
    // The address of an exported symbol, opening the module again if it was closed;
    // null when absent.
    void* symbol(const std::string& name);
    // Why the module could not be opened, as the system says it (a missing dependency
    // names the missing library); empty when it is open.
    std::string errorText() const;
    const std::string& fileName() const { return m_fileName; }

private:
    std::unique_ptr<Internal::LibraryInterface> m_impl;  // null when it could not be made
    std::string m_fileName;
};

}  // namespace Korvane
