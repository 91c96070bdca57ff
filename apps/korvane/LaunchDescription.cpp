#include "LaunchDescription.h"

#include <algorithm>
#include <cctype>

namespace KorvaneTool {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}
// Types, aliases and grabber names keep to the instance-name alphabet, plus '.'.
bool isTypeChar(char c) {
    return isNameChar(c) || c == '.' || c == ':' || c == '-' || c == '{' || c == '}';
}
bool isQuote(char c) {
    return c == '"' || c == '\'';
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

bool sameText(const std::string& a, const char* b) {
    const std::string other(b);
    return a.size() == other.size() &&
           std::equal(a.begin(), a.end(), other.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

ParseError failure(std::string message, std::size_t offset) {
    ParseError error;
    error.message = std::move(message);
    error.offset = offset;
    return error;
}

ParseError checkTypeName(const std::string& type, std::size_t offset) {
    if (type.empty()) return failure("expected a type name", offset);
    for (std::size_t i = 0; i < type.size(); ++i) {
        if (!isTypeChar(type[i])) {
            return failure(std::string("unexpected character '") + type[i] + "' in the type name " +
                               quoted(type),
                           offset + i);
        }
    }
    return {};
}

ParseError checkSettingName(const std::string& name, std::size_t offset) {
    if (name.empty()) return failure("expected a property name before '='", offset);
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (!isNameChar(name[i])) {
            return failure(std::string("unexpected character '") + name[i] +
                               "' in the property name " + quoted(name),
                           offset + i);
        }
    }
    return {};
}

ParseError addSetting(std::vector<Setting>& settings, Setting setting, const std::string& owner) {
    for (const Setting& earlier : settings) {
        if (earlier.name == setting.name) {
            return failure(setting.name + " is set twice for " + owner, setting.offset);
        }
    }
    settings.push_back(std::move(setting));
    return {};
}

// Reads the description's tokens; each member function leaves m_pos after what it read.
class DescriptionReader {
public:
    DescriptionReader(const std::string& text, Setup& setup) : m_text(text), m_setup(setup) {}

    ParseError read() {
        skipSpace();
        if (atEnd()) return failure("the description is empty: expected a type name", m_pos);
        for (;;) {
            if (ParseError error = readElement()) return error;
            skipSpace();
            if (atEnd()) return {};
            ++m_pos;  // readElement stops only at the end or at a '!'
        }
    }

private:
    bool atEnd() const { return m_pos >= m_text.size(); }
    char peek() const { return m_text[m_pos]; }
    void skipSpace() {
        while (!atEnd() && isSpace(peek())) ++m_pos;
    }
    std::size_t wordEnd(std::size_t from) const {
        while (from < m_text.size() && !isSpace(m_text[from]) && m_text[from] != '!') ++from;
        return from;
    }

    ParseError readElement() {
        skipSpace();
        if (atEnd()) return failure("expected a type name after the last '!'", m_pos);
        if (peek() == '!') return failure("expected a type name before '!'", m_pos);
        Element element;
        element.offset = m_pos;
        const std::size_t end = wordEnd(m_pos);
        element.type = m_text.substr(m_pos, end - m_pos);
        const std::size_t equals = element.type.find('=');
        if (equals != std::string::npos) {
            return failure("expected a type name, found the setting " + quoted(element.type) +
                               " (settings follow the type name they belong to)",
                           m_pos);
        }
        if (ParseError error = checkTypeName(element.type, m_pos)) return error;
        m_pos = end;
        for (;;) {
            skipSpace();
            if (atEnd() || peek() == '!') break;
            Setting setting;
            if (ParseError error = readSetting(element, setting)) return error;
            if (ParseError error = addSetting(element.settings, std::move(setting), element.type)) {
                return error;
            }
        }
        m_setup.chain.push_back(std::move(element));
        return {};
    }

    ParseError readSetting(const Element& element, Setting& setting) {
        setting.offset = m_pos;
        std::size_t nameEnd = m_pos;
        while (nameEnd < m_text.size() && m_text[nameEnd] != '=' && !isSpace(m_text[nameEnd]) &&
               m_text[nameEnd] != '!') {
            ++nameEnd;
        }
        setting.name = m_text.substr(m_pos, nameEnd - m_pos);
        if (nameEnd >= m_text.size() || m_text[nameEnd] != '=') {
            return failure("expected Name=Value or '!' after " + element.type + ", found " +
                               quoted(setting.name) + " (is a '!' missing before it?)",
                           m_pos);
        }
        if (ParseError error = checkSettingName(setting.name, m_pos)) return error;
        m_pos = nameEnd + 1;
        setting.valueOffset = m_pos;
        if (!atEnd() && isQuote(peek())) return readQuoted(setting);
        const std::size_t end = wordEnd(m_pos);
        setting.value = m_text.substr(m_pos, end - m_pos);
        if (setting.value.empty()) {
            return failure(
                setting.name + " has no value (write " + setting.name + "=\"\" for an empty text)",
                m_pos);
        }
        const std::size_t quote = setting.value.find_first_of("\"'");
        if (quote != std::string::npos) {
            return failure("a quote inside a value: quote the whole value instead", m_pos + quote);
        }
        m_pos = end;
        return {};
    }

    // A value in '...' or "..."; a backslash takes the next character as it is.
    ParseError readQuoted(Setting& setting) {
        const char quote = peek();
        const std::size_t opening = m_pos++;
        for (; !atEnd(); ++m_pos) {
            char c = peek();
            if (c == quote) {
                ++m_pos;
                if (!atEnd() && !isSpace(peek()) && peek() != '!') {
                    return failure("expected a space or '!' after the closing quote", m_pos);
                }
                return {};
            }
            if (c == '\\' && m_pos + 1 < m_text.size()) c = m_text[++m_pos];
            setting.value += c;
        }
        return failure("the quoted value of " + setting.name + " has no closing quote", opening);
    }

    const std::string& m_text;
    Setup& m_setup;
    std::size_t m_pos = 0;
};

std::string trimmed(const std::string& text) {
    std::size_t begin = 0, end = text.size();
    while (begin < end && isSpace(text[begin])) ++begin;
    while (end > begin && isSpace(text[end - 1])) --end;
    return text.substr(begin, end - begin);
}

// Reads the run file one line at a time; settings go to the section opened last.
class RunFileReader {
public:
    RunFileReader(const std::string& text, Setup& setup) : m_text(text), m_setup(setup) {}

    ParseError read() {
        std::size_t start = 0;
        while (start <= m_text.size()) {
            std::size_t end = m_text.find('\n', start);
            if (end == std::string::npos) end = m_text.size();
            if (ParseError error = readLine(start, end)) return error;
            start = end + 1;
        }
        if (m_setup.chain.empty()) {
            return failure("the run file names no component: add a [Type] section", 0);
        }
        return {};
    }

private:
    ParseError readLine(std::size_t start, std::size_t end) {
        std::size_t first = start;
        while (first < end && isSpace(m_text[first])) ++first;
        const std::string line = trimmed(m_text.substr(first, end - first));
        if (line.empty() || line[0] == '#' || line[0] == ';') return {};
        if (line[0] == '[') return readSection(line, first);
        return readAssignment(line, first);
    }

    ParseError readSection(const std::string& line, std::size_t offset) {
        if (line.back() != ']')
            return failure("expected ']' at the end of the section line", offset);
        const std::string inner = line.substr(1, line.size() - 2);
        const std::string name = trimmed(inner);
        const std::size_t nameOffset = offset + 1 + inner.find_first_not_of(" \t");
        if (name.empty()) return failure("expected a type name between '[' and ']'", offset + 1);
        if (sameText(name, "Run")) {
            if (m_inRunSection || m_sawRunSection) {
                return failure("a second [Run] section", offset);
            }
            m_inRunSection = m_sawRunSection = true;
            return {};
        }
        if (ParseError error = checkTypeName(name, nameOffset)) return error;
        m_inRunSection = false;
        Element element;
        element.type = name;
        element.offset = nameOffset;
        m_setup.chain.push_back(std::move(element));
        return {};
    }

    ParseError readAssignment(const std::string& line, std::size_t offset) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            return failure("expected [Type] or Name = Value", offset);
        }
        Setting setting;
        setting.name = trimmed(line.substr(0, equals));
        setting.offset = offset;
        if (ParseError error = checkSettingName(setting.name, offset)) return error;
        std::size_t valueStart = equals + 1;
        while (valueStart < line.size() && isSpace(line[valueStart])) ++valueStart;
        setting.value = line.substr(valueStart);
        setting.valueOffset = offset + valueStart;
        if (setting.value.size() >= 2 && isQuote(setting.value[0]) &&
            setting.value.back() == setting.value[0]) {
            setting.value = setting.value.substr(1, setting.value.size() - 2);
        }
        if (m_inRunSection) return addSetting(m_setup.options, std::move(setting), "[Run]");
        if (m_setup.chain.empty()) {
            return failure("a setting before the first [Type] section", offset);
        }
        Element& element = m_setup.chain.back();
        return addSetting(element.settings, std::move(setting), "[" + element.type + "]");
    }

    const std::string& m_text;
    Setup& m_setup;
    bool m_inRunSection = false;
    bool m_sawRunSection = false;
};

}  // namespace

ParseError parseDescription(const std::string& text, Setup& setup) {
    setup.text = text;
    setup.origin = "description";
    return DescriptionReader(setup.text, setup).read();
}

ParseError parseRunFile(const std::string& text, Setup& setup) {
    setup.text = text;
    return RunFileReader(setup.text, setup).read();
}

TextPosition positionIn(const std::string& text, std::size_t offset) {
    TextPosition position;
    offset = std::min(offset, text.size());
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++position.line;
            lineStart = i + 1;
        }
    }
    position.column = offset - lineStart + 1;
    std::size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    position.lineText = text.substr(lineStart, lineEnd - lineStart);
    if (!position.lineText.empty() && position.lineText.back() == '\r')
        position.lineText.pop_back();
    return position;
}

bool FilePattern::parse(const std::string& pattern, std::string& error) {
    *this = FilePattern();
    std::string* part = &m_prefix;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            *part += pattern[i];
            continue;
        }
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            *part += '%';
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        const bool zeroPad = j < pattern.size() && pattern[j] == '0';
        if (zeroPad) ++j;
        unsigned int width = 0;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j])) &&
               width < 100) {
            width = width * 10 + static_cast<unsigned int>(pattern[j++] - '0');
        }
        if (j >= pattern.size() || pattern[j] != 'd' || width > 20) {
            error = "unsupported field in the file name " + quoted(pattern) +
                    ": use %d or %05d for the frame number, %% for a percent sign";
            return false;
        }
        if (m_numbered) {
            error = "the file name " + quoted(pattern) + " has more than one frame-number field";
            return false;
        }
        m_numbered = true;
        m_zeroPad = zeroPad;
        m_width = width;
        part = &m_suffix;
        i = j;
    }
    return true;
}

void FilePattern::format(unsigned long long n, std::string& out) const {
    out.assign(m_prefix);
    if (m_numbered) {
        char digits[24];
        int count = 0;
        do {
            digits[count++] = static_cast<char>('0' + n % 10);
            n /= 10;
        } while (n != 0);
        for (int pad = count; pad < static_cast<int>(m_width); ++pad) {
            out += m_zeroPad ? '0' : ' ';
        }
        while (count > 0) out += digits[--count];
    }
    out.append(m_suffix);
}

}  // namespace KorvaneTool
