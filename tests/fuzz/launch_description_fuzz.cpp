// Launch descriptions and run files are typed by users: any bytes must read without a
// crash, errors must point into the text, and a description read must come back
// unchanged when its elements are written out again with every value quoted. The
// same bytes also go through the file-pattern reader and its formatting.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "LaunchDescription.h"

using namespace KorvaneTool;

namespace {

std::string written(const Setup& setup) {
    std::string text;
    for (const Element& element : setup.chain) {
        if (!text.empty()) text += " ! ";
        text += element.type;
        for (const Setting& setting : element.settings) {
            text += " " + setting.name + "=\"";
            for (char c : setting.value) {
                if (c == '"' || c == '\\') text += '\\';
                text += c;
            }
            text += '"';
        }
    }
    return text;
}

bool sameChain(const Setup& a, const Setup& b) {
    if (a.chain.size() != b.chain.size()) return false;
    for (std::size_t i = 0; i < a.chain.size(); ++i) {
        const Element& x = a.chain[i];
        const Element& y = b.chain[i];
        if (x.type != y.type || x.settings.size() != y.settings.size()) return false;
        for (std::size_t j = 0; j < x.settings.size(); ++j) {
            if (x.settings[j].name != y.settings[j].name ||
                x.settings[j].value != y.settings[j].value) {
                return false;
            }
        }
    }
    return true;
}

void checkError(const ParseError& error, const std::string& text) {
    if (error && error.offset > text.size()) std::abort();
    positionIn(text, error.offset);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    Setup description;
    const ParseError error = parseDescription(text, description);
    checkError(error, text);
    if (!error) {
        if (description.chain.empty()) std::abort();
        Setup again;
        if (parseDescription(written(description), again) || !sameChain(description, again)) {
            std::abort();
        }
    }

    Setup file;
    checkError(parseRunFile(text, file), text);

    FilePattern pattern;
    std::string problem, name;
    if (pattern.parse(text, problem)) {
        pattern.format(size, name);
        if (!pattern.numbered() && name.size() > text.size()) std::abort();
    }
    return 0;
}
