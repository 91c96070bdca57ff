// Alias files are written by vendors and users: any bytes must read without a crash, and
// the table read must come back unchanged when written out as "alias=type" lines again.
#include "devices/AliasText.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::map<std::string, std::string> aliases;
    Korvane::Internal::parseAliasText(std::string(reinterpret_cast<const char*>(data), size),
                                      aliases);
    std::string written;
    for (const auto& [alias, type] : aliases) {
        if (type.find_first_of("=\n") != std::string::npos) std::abort();
        written += alias + "=" + type + "\n";
    }
    std::map<std::string, std::string> again;
    Korvane::Internal::parseAliasText(written, again);
    if (again != aliases) std::abort();
    return 0;
}
