#pragma once
// The library's C entry points and start-up. Loading the library runs korvInitLibrary
// once, on the loading thread, before any other call can reach the library; it sets
// the six path settings of the Registry from the library file's own location and
// creates nothing else. A host may call it again at any time to recompute them.

#include <korvane/core/Export.h>

#include <string>

extern "C" {

// Derives the root from the library file and sets KORVANE_PATH, LOG_PATH, BIN_PATH,
// CONFIG_PATH, PLUGIN_PATH and DATA_PATH; the registry is left alone when the file
// cannot be found.
KORVANE_API void korvInitLibrary();
// Does nothing: singletons live until the library is unloaded.
KORVANE_API void korvDeinitLibrary();
// "KorvaneCore"; a static string, the same pointer on every call.
KORVANE_API const char* korvLibraryName();
// Writes 1, 4 and 2; a null pointer is skipped.
KORVANE_API void korvLibraryVersion(int* major, int* minor, int* patch);

}  // extern "C"

namespace Korvane {

// The installation root for a library file: the text before the last '/' or '\\'
// followed by "/../", or the whole text followed by "/../" when it has no separator.
// Separators are kept as they are: "C:\\a/b\\lib.dll" gives "C:\\a/b/../".
KORVANE_API std::string libraryRootFromPath(const std::string& libraryFile);

}  // namespace Korvane
