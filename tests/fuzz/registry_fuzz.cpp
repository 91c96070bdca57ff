// Path settings hold %NAME% references and ';'-lists typed by users. The input is cut
// at its first two NUL bytes into: the text to expand, the value of setting A and the
// value of setting B, so settings may refer to each other or to themselves. The first
// two bytes of the text are also tried as delimiter and escape of both tokenizers.
#include <korvane/config/StringUtils.h>
#include <korvane/core/PropertyInterface.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

class Settings : public Korvane::PropertyInterface {
public:
    Settings(const std::string& a, const std::string& b) {
        addProperty("A", a, Korvane::string_property, Korvane::read_write_access);
        addProperty("B", b, Korvane::string_property, Korvane::read_write_access);
    }
};

// The text up to the next NUL, moving position past it.
std::string nextPart(const std::string& input, std::size_t* position) {
    const std::size_t end = std::min(input.find('\0', *position), input.size());
    std::string part = input.substr(*position, end - *position);
    *position = std::min(end + 1, input.size());
    return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t position = 0;
    const std::string text = nextPart(input, &position);
    const std::string a = nextPart(input, &position);
    const std::string b = nextPart(input, &position);
    const Settings settings(a, b);

    for (const bool resolve : {true, false}) {
        Korvane::expand(text, resolve, &settings);
        Korvane::expandList(text, "", resolve, &settings);
        Korvane::expandList(text, "\\", resolve, &settings);
    }
    const std::string delimiter = text.substr(0, 1);
    const std::string escape = text.size() > 1 ? text.substr(1, 1) : std::string();
    Korvane::split(text, delimiter, escape);
    Korvane::_split_(text, delimiter, escape);
    Korvane::split(text, ";", "\\");
    Korvane::_split_(text, ";", "\\");
    return 0;
}
