#include <korvane/log/ProfileLogItem.h>

#include <cinttypes>
#include <cstdio>
#include <ctime>

namespace Korvane {

namespace {

std::uint32_t ticksNow() {
    return static_cast<std::uint32_t>(std::clock());
}

}  // namespace

ProfileLogItem::ProfileLogItem() : ProfileLogItem(ProfileNone, nullptr, LogString()) {}

ProfileLogItem::ProfileLogItem(ProfileAction action, void* object, const LogString& message)
    : m_time(ticksNow()), m_action(action), m_object(object), m_message(message) {}

ProfileLogItem::ProfileLogItem(int action, void* object, const LogString& message)
    : ProfileLogItem(static_cast<ProfileAction>(action), object, message) {}

ProfileLogItem::~ProfileLogItem() = default;

LogItemInterface* ProfileLogItem::copy() const {
    return new ProfileLogItem(*this);
}

// The action is printed as the unsigned number its bits make. The address is
// written as hexadecimal digits behind the 0x: glibc's %p brings its own prefix
// (and "(nil)" for null), which would read 0x0x... in the profile file.
void ProfileLogItem::print(std::string& line) const {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "%lu %lu 0x%" PRIxPTR " %s",
                  static_cast<unsigned long>(m_time),
                  static_cast<unsigned long>(static_cast<std::uint32_t>(m_action)),
                  reinterpret_cast<std::uintptr_t>(m_object), m_message.get().c_str());
    line = buffer;
}

}  // namespace Korvane
