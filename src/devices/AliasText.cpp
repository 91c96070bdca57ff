#include "devices/AliasText.h"

namespace Korvane::Internal {

namespace {

void parseAliasLine(const std::string& line, std::map<std::string, std::string>& aliases) {
    if (line.empty() || line[0] == '#') return;
    const std::size_t separator = line.rfind('=');
    if (separator == std::string::npos) return;
    aliases[line.substr(0, separator)] = line.substr(separator + 1);
}

}  // namespace

void parseAliasText(const std::string& text, std::map<std::string, std::string>& aliases) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        parseAliasLine(text.substr(begin, end - begin), aliases);
        begin = end + 1;
    }
}

}  // namespace Korvane::Internal
