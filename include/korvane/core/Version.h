#pragma once
// Version is a plain value of three signed 32-bit numbers, as the library states its
// own version and plug-ins state theirs. It has no comparison operators: callers
// compare the fields they care about.

#include <korvane/core/Export.h>

#include <cstdint>

namespace Korvane {

struct KORVANE_API Version {
    Version() = default;
    Version(std::int32_t majorNumber, std::int32_t minorNumber, std::int32_t patchNumber)
        : major(majorNumber), minor(minorNumber), patch(patchNumber) {}

    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t patch = 0;
};

}  // namespace Korvane
