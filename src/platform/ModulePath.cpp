#include "platform/ModulePath.h"

#include <dlfcn.h>

namespace Korvane::Internal {

namespace {

// Any address inside this module will do; a hidden object cannot be interposed by
// another copy of the library, so it always resolves to this module's own file.
const char moduleAnchor = 0;

}  // namespace

std::string ownModulePath() {
    Dl_info info{};
    if (dladdr(&moduleAnchor, &info) == 0 || !info.dli_fname) return std::string();
    return info.dli_fname;
}

}  // namespace Korvane::Internal
