#pragma once
// CmdStatus is the status record of a motion controller and, at the same time, the
// built-in command "QueryStatus" that every Motion supports. It is an Object with the
// properties "CommandName" (read-only, "QueryStatus"), "Status" and "Message".
// A status is replaced, never modified, once it has been published: whoever reports
// a new status makes a new CmdStatus (see Motion::updateStatus).

#include <korvane/core/Export.h>
#include <korvane/core/Object.h>

namespace Korvane {

class KORVANE_API CmdStatus : public Object {
public:
    CmdStatus();
    CmdStatus(const CmdStatus& other);
    CmdStatus& operator=(const CmdStatus& other);
    ~CmdStatus() override;
};

}  // namespace Korvane
