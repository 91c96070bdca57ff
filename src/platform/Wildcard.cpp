#include "platform/Wildcard.h"

namespace Korvane::Internal {

bool matchesWildcard(const std::string& pattern, const std::string& name) {
    if (pattern == "*.*") return true;
    // Greedy scan that, on a mismatch, lets the last '*' swallow one more byte: linear
    // memory and no recursion, however many stars a pattern holds.
    const std::size_t none = std::string::npos;
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t star = none;
    std::size_t starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starName = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != none) {
            p = star + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

}  // namespace Korvane::Internal
