// Directory paths come from settings and users: any bytes must split and build again
// in both styles without a crash, and a built path must parse to the same path.
#include <korvane/platform/Dir.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

class ParsedDir : public Korvane::Dir {
public:
    ParsedDir(const char* path, _path_style style) : Dir(path, style) {}
    using Dir::buildPath;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    for (const auto style : {Korvane::Dir::native_style, Korvane::Dir::slash_style}) {
        const ParsedDir dir(path.c_str(), style);
        const std::string built = dir.buildPath();
        // Building is parsing's inverse for the directory part.
        if (!built.empty() && ParsedDir(built.c_str(), style).buildPath() != built) std::abort();
        dir.isAbsolute();
    }
    return 0;
}
