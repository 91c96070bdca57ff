#include <korvane/core/LibraryInit.h>

#include <korvane/config/Registry.h>

#include "platform/ModulePath.h"

namespace Korvane {

namespace {

// Runs while the library is being loaded, possibly before the namespace-scope objects
// of other sources are initialised: korvInitLibrary reaches only function-local
// statics (Registry::get()), which are built on first use.
__attribute__((constructor)) void initOnLoad() {
    korvInitLibrary();
}

}  // namespace

std::string libraryRootFromPath(const std::string& libraryFile) {
    const std::size_t separator = libraryFile.find_last_of("/\\");
    const std::string directory =
        separator == std::string::npos ? libraryFile : libraryFile.substr(0, separator);
    return directory + "/../";
}

}  // namespace Korvane

extern "C" {

void korvInitLibrary() {
    const std::string libraryFile = Korvane::Internal::ownModulePath();
    if (libraryFile.empty()) return;
    Korvane::Registry* registry = Korvane::Registry::getRegistry();
    const std::string root = Korvane::libraryRootFromPath(libraryFile);
    // Stored unexpanded and with the separators as found; users expand and join them.
    registry->setProperty("KORVANE_PATH", root);
    registry->setProperty("LOG_PATH", root);
    registry->setProperty("BIN_PATH", root + "bin/");
    registry->setProperty("CONFIG_PATH", root + "bin/");
    registry->setProperty("PLUGIN_PATH", root + "plugins/");
    registry->setProperty("DATA_PATH", root + "data/");
}

void korvDeinitLibrary() {}

const char* korvLibraryName() {
    static const char name[] = "KorvaneCore";
    return name;
}

void korvLibraryVersion(int* major, int* minor, int* patch) {
    if (major) *major = 1;
    if (minor) *minor = 4;
    if (patch) *patch = 2;
}

}  // extern "C"
