#include <korvane/config/StringUtils.h>

#include <korvane/config/Registry.h>

#include <cstdlib>
#include <ctime>
#include <utility>

namespace Korvane {

namespace {

// Deeper references expand to nothing; no real setting chain comes near this.
constexpr std::size_t kMaxReferenceDepth = 32;

// The references whose expansion is in progress, outermost first.
using ReferenceChain = std::vector<std::pair<const PropertyInterface*, std::string>>;

std::string expandWithin(const std::string& text, bool resolve, const PropertyInterface* source,
                         ReferenceChain& chain);

bool inChain(const ReferenceChain& chain, const PropertyInterface* source,
             const std::string& name) {
    for (const auto& reference : chain) {
        if (reference.first == source && reference.second == name) return true;
    }
    return false;
}

std::string resolveReference(const std::string& name, bool resolve, const PropertyInterface* source,
                             ReferenceChain& chain) {
    if (!resolve || chain.size() >= kMaxReferenceDepth || inChain(chain, source, name)) {
        return std::string();
    }
    std::string value;
    if (!source->getProperty(name, &value)) return std::string();
    chain.emplace_back(source, name);
    std::string expanded = expandWithin(value, true, Registry::get(), chain);
    chain.pop_back();
    return expanded;
}

std::string expandWithin(const std::string& text, bool resolve, const PropertyInterface* source,
                         ReferenceChain& chain) {
    std::string result;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t open = text.find('%', pos);
        const std::size_t close =
            open == std::string::npos ? std::string::npos : text.find('%', open + 1);
        if (close == std::string::npos) {
            result.append(text, pos, std::string::npos);
            return result;
        }
        result.append(text, pos, open - pos);
        result += resolveReference(text.substr(open + 1, close - open - 1), resolve, source, chain);
        pos = close + 1;
    }
}

char firstOrNul(const std::string& text) {
    return text.empty() ? '\0' : text.front();
}

constexpr char kNameAlphabet[] =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}";

// Membership in kNameAlphabet by character code: every property is named through
// validateName, so the test is a table lookup rather than a search of the alphabet.
struct NameCharacters {
    bool allowed[256] = {};

    constexpr NameCharacters() {
        for (const char* c = kNameAlphabet; *c; ++c) allowed[static_cast<unsigned char>(*c)] = true;
    }
    constexpr bool operator()(char c) const { return allowed[static_cast<unsigned char>(c)]; }
};

constexpr NameCharacters isNameCharacter;

}  // namespace

const std::string& propertyNameAlphabet() {
    static const std::string alphabet = kNameAlphabet;
    return alphabet;
}

bool isValidName(const std::string& name) {
    if (name.empty()) return false;
    for (char c : name) {
        if (!isNameCharacter(c)) return false;
    }
    return true;
}

std::string validateName(const std::string& name, const char* replacement) {
    if (isValidName(name)) return name;
    const std::string substitute =
        replacement && isValidName(replacement) ? std::string(replacement) : std::string();
    std::string cleaned;
    cleaned.reserve(name.size());
    for (char c : name) {
        if (isNameCharacter(c)) {
            cleaned += c;
        } else {
            cleaned += substitute;
        }
    }
    return cleaned.empty() ? std::string("_") : cleaned;
}

std::string expand(const std::string& text, bool resolve, const PropertyInterface* source) {
    if (!source) return text;
    ReferenceChain chain;
    return expandWithin(text, resolve, source, chain);
}

std::vector<std::string> expandList(const std::string& text, const std::string& escape,
                                    bool resolve, const PropertyInterface* source) {
    std::vector<std::string> items;
    for (const std::string& item : split(text, ";", escape)) {
        for (std::string& part : split(expand(item, resolve, source), ";", escape)) {
            items.push_back(std::move(part));
        }
    }
    return items;
}

std::vector<std::string> split(const std::string& text, const std::string& delimiter,
                               const std::string& escape) {
    std::vector<std::string> items;
    if (delimiter.empty() && escape.empty()) return items;
    const bool hasDelimiter = !delimiter.empty();
    const bool escaping = delimiter.size() == 1 && escape.size() == 1;
    const char d = firstOrNul(delimiter);
    const char e = firstOrNul(escape);
    std::string token;
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char c = text[i];
        if (escaping && c == e) {
            if (i + 1 == n) break;  // a final escape character is dropped with its item
            const char next = text[i + 1];
            if (next == d || next == e) {
                token += next;
                ++i;
            }
            continue;
        }
        if (hasDelimiter && c == d) {
            items.push_back(token);
            token.clear();
        } else if (i + 1 == n) {
            token += c;
            items.push_back(token);
        } else {
            token += c;
        }
    }
    return items;
}

std::vector<std::string> _split_(const std::string& text, const std::string& delimiter,
                                 const std::string& escape) {
    std::vector<std::string> items;
    if (text.empty()) return items;
    const bool hasDelimiter = !delimiter.empty();
    const bool hasEscape = !escape.empty();
    const char d = firstOrNul(delimiter);
    const char e = firstOrNul(escape);
    std::string token;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (hasEscape && c == e && hasDelimiter && i + 1 < text.size() && text[i + 1] == d) {
            token += d;
            ++i;
        } else if (hasDelimiter && c == d) {
            items.push_back(token);
            token.clear();
        } else {
            token += c;
        }
    }
    items.push_back(token);
    return items;
}

std::string serialize(const std::vector<std::string>& items, const std::string& separator) {
    std::string joined;
    for (const std::string& item : items) {
        joined += item;
        joined += separator;
    }
    return joined;
}

std::string escapeChars(std::string& text, const std::string& chars, const std::string& escape) {
    if (chars.empty() || escape.empty()) return text;
    std::size_t pos = text.find(chars);
    while (pos != std::string::npos) {
        text.insert(pos, 1, escape.front());
        pos = text.find(chars, pos + 2);
    }
    return text;
}

std::string stripChars(const std::string& text, const std::string& chars) {
    const std::size_t first = text.find_first_not_of(chars);
    if (first == std::string::npos) return text;
    return text.substr(first, text.find_last_not_of(chars) - first + 1);
}

std::string generateKey(int length, int groups) {
    if (length < 1 || groups < 1) return std::string();
    static const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string key = "{";
    for (int group = 0; group < groups; ++group) {
        if (group > 0) key += '-';
        for (int i = 0; i < length; ++i) {
            // Unsigned, so that a failed time() (-1) cannot make the index negative.
            const unsigned long long draw = static_cast<unsigned long long>(std::time(nullptr)) +
                                            static_cast<unsigned int>(std::rand());
            key += digits[draw % 36];
        }
    }
    key += '}';
    return key;
}

}  // namespace Korvane
