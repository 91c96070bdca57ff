#pragma once
// The file of the module (shared library) this code is linked into, as the dynamic
// loader recorded it; empty when the loader cannot tell.

#include <string>

namespace Korvane::Internal {

std::string ownModulePath();

}  // namespace Korvane::Internal
