#pragma once
// One-line logging into "SystemLog" at a fixed level each. A message given while
// "SystemLog" does not exist is dropped.

#include <korvane/core/Export.h>

#include <string>

namespace Korvane {

KORVANE_API void korvLogDebug(const std::string& message);
KORVANE_API void korvLogInfo(const std::string& message);
KORVANE_API void korvLogWarning(const std::string& message);
KORVANE_API void korvLogError(const std::string& message);
KORVANE_API void korvLogCritical(const std::string& message);

}  // namespace Korvane
