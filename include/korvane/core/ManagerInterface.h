#pragma once
// ManagerInterface is the view of any manager that does not depend on the class it
// manages: unregistering, listing and releasing by name. Every manager derives from
// it through Manager<T, Traits>; each operation takes the manager's lock.

#include <korvane/core/Export.h>
#include <korvane/events/EventGenerator.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Korvane {
namespace Internal {

class KORVANE_API ManagerInterface : public EventGenerator {
public:
    ManagerInterface() = default;
    ManagerInterface(const ManagerInterface&) = delete;
    ManagerInterface& operator=(const ManagerInterface&) = delete;
    ~ManagerInterface() override = default;

    // False for a null or unknown type name.
    virtual bool unregisterType(const char* type) = 0;
    virtual bool typeExists(const char* type) const = 0;
    // False for a null or unknown instance name.
    virtual bool releaseInstance(const char* name) = 0;
    // Names in byte order.
    virtual std::vector<std::string> typeList() const = 0;
    // The instances whose type is exactly type.
    virtual std::vector<std::string> instanceList(const std::string& type) const = 0;
    virtual std::vector<std::string> instanceList() const = 0;
    virtual std::size_t typeCount() const = 0;
    virtual std::size_t instanceCount() const = 0;
    // Empties both tables; true.
    virtual bool cleanUp() = 0;
};

}  // namespace Internal
}  // namespace Korvane
