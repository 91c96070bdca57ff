#include <korvane/process/CmdStatus.h>

#include <string>

namespace Korvane {

namespace {

const PropertyText& commandNameDescription() {
    static const PropertyText text = PropertyText::permanent("Query the current status.");
    return text;
}

const PropertyText& statusDescription() {
    static const PropertyText text = PropertyText::permanent("Current status.");
    return text;
}

const PropertyText& messageDescription() {
    static const PropertyText text =
        PropertyText::permanent("Additional message for current status.");
    return text;
}

}  // namespace

CmdStatus::CmdStatus() {
    addProperty("CommandName", std::string("QueryStatus"), string_property, read_access, 0,
                commandNameDescription());
    addProperty("Status", std::string(), string_property, read_write_access, 0,
                statusDescription());
    addProperty("Message", std::string(), string_property, read_write_access, 0,
                messageDescription());
}

CmdStatus::CmdStatus(const CmdStatus& other) = default;
CmdStatus& CmdStatus::operator=(const CmdStatus& other) = default;
CmdStatus::~CmdStatus() = default;

}  // namespace Korvane
