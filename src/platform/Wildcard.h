#pragma once
// Name matching for directory listings, in the manner of Windows file-search
// patterns: '*' stands for any run of bytes (empty, dots included), '?' for exactly
// one byte, every other byte for itself, case-sensitively; "*.*" matches every name.

#include <string>

namespace Korvane::Internal {

bool matchesWildcard(const std::string& pattern, const std::string& name);

}  // namespace Korvane::Internal
