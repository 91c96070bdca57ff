#pragma once
// The text of an alias file ("Cameras/Alias.txt"), read into an alias table. Kept apart
// from the DeviceManager so that tests and fuzz targets can give it any text.
// Lines end at '\n' only (a '\r' before it stays in the line); an empty line, a line
// beginning with '#' and a line without '=' are skipped; any other line is split at its
// last '=' into alias and device type, untrimmed, and assigned over an earlier entry.

#include <korvane/core/Export.h>

#include <map>
#include <string>

namespace Korvane::Internal {

KORVANE_API void parseAliasText(const std::string& text,
                                std::map<std::string, std::string>& aliases);

}  // namespace Korvane::Internal
