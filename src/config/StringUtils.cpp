#include <korvane/config/StringUtils.h>

namespace Korvane {

const std::string& propertyNameAlphabet() {
    static const std::string alphabet =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}";
    return alphabet;
}

bool isValidName(const std::string& name) {
    return !name.empty() && name.find_first_not_of(propertyNameAlphabet()) == std::string::npos;
}

std::string validateName(const std::string& name, const char* replacement) {
    const std::string substitute =
        replacement && isValidName(replacement) ? std::string(replacement) : std::string();
    const std::string& alphabet = propertyNameAlphabet();
    std::string cleaned;
    cleaned.reserve(name.size());
    for (char c : name) {
        if (alphabet.find(c) != std::string::npos) {
            cleaned += c;
        } else {
            cleaned += substitute;
        }
    }
    return cleaned.empty() ? std::string("_") : cleaned;
}

}  // namespace Korvane
