#pragma once
// ProfileLogItem is one timing record for the profile log: the processor-clock tick
// count (clock()) when it was made, an action code, the address of the object it is
// about (not owned, only printed) and a message. It prints as
// "<ticks> <action> 0x<address in hex> <message>", at most 1023 characters.
// ProfileAction names the codes the library uses; the record stores any 32-bit code
// and prints it as a number, so plug-ins pass their own codes from ProfileUser on.

#include <korvane/core/Export.h>
#include <korvane/log/LogItem.h>
#include <korvane/log/LogString.h>

#include <cstdint>
#include <string>

namespace Korvane {

enum ProfileAction : int {
    ProfileNone = 0,      // no action: a default-made record
    ProfileBegin = 1,     // a timed section of the object starts
    ProfileEnd = 2,       // the section that the last ProfileBegin started ends
    ProfileMark = 3,      // a single instant, such as a frame arriving
    ProfileUser = 0x100,  // the first code left to plug-ins
};

class KORVANE_API ProfileLogItem : public LogItemInterface {
public:
    // Action ProfileNone, no object, empty message.
    ProfileLogItem();
    ProfileLogItem(ProfileAction action, void* object, const LogString& message);
    ProfileLogItem(int action, void* object, const LogString& message);
    ProfileLogItem(const ProfileLogItem&) = default;
    ProfileLogItem& operator=(const ProfileLogItem&) = default;
    ~ProfileLogItem() override;

    LogItemInterface* copy() const override;
    void print(std::string& line) const override;

    std::uint32_t time() const { return m_time; }
    ProfileAction action() const { return m_action; }
    void* object() const { return m_object; }
    const LogString& message() const { return m_message; }

private:
    std::uint32_t m_time;  // clock() ticks, cut to 32 bits
    ProfileAction m_action;
    void* m_object;  // not owned
    LogString m_message;
};

}  // namespace Korvane
