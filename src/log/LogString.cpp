#include <korvane/log/LogString.h>

#include <cstdio>
#include <cstring>

namespace Korvane {

namespace {

// Every number is printed into a buffer of this size before it is inserted.
constexpr std::size_t numberBufferSize = 32;

}  // namespace

LogString::LogString() = default;

LogString::LogString(const char* text) : m_text(text ? text : "") {}

LogString::LogString(const char* text, int length) {
    if (text && length > 0) m_text.assign(text, static_cast<std::size_t>(length));
}

LogString::LogString(const std::string& text) : m_text(text) {}

LogString& LogString::arg(const std::string& text) {
    return replaceNext(text.c_str());
}

LogString& LogString::arg(const char* text) {
    return replaceNext(text ? text : "");
}

LogString& LogString::arg() {
    return replaceNext("");
}

LogString& LogString::arg(bool value) {
    return replaceNext(value ? "true" : "false");
}

LogString& LogString::arg(signed char value) {
    return arg(static_cast<long long>(value));
}

LogString& LogString::arg(short value) {
    return arg(static_cast<long long>(value));
}

LogString& LogString::arg(int value) {
    return arg(static_cast<long long>(value));
}

LogString& LogString::arg(long value) {
    return arg(static_cast<long long>(value));
}

// The magnitude is taken in unsigned arithmetic, where the most negative value has one.
LogString& LogString::arg(long long value) {
    const auto bits = static_cast<unsigned long long>(value);
    return value < 0 ? argInteger(0ULL - bits, true) : argInteger(bits, false);
}

LogString& LogString::arg(unsigned char value) {
    return argInteger(value, false);
}

LogString& LogString::arg(unsigned short value) {
    return argInteger(value, false);
}

LogString& LogString::arg(unsigned int value) {
    return argInteger(value, false);
}

LogString& LogString::arg(unsigned long value) {
    return argInteger(value, false);
}

LogString& LogString::arg(unsigned long long value) {
    return argInteger(value, false);
}

LogString& LogString::arg(float value) {
    return arg(static_cast<double>(value));
}

LogString& LogString::arg(double value) {
    char buffer[numberBufferSize];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return replaceNext(buffer);
}

LogString& LogString::arg(void* pointer) {
    char buffer[numberBufferSize];
    std::snprintf(buffer, sizeof buffer, "%p", pointer);
    return replaceNext(buffer);
}

LogString& LogString::argInteger(unsigned long long magnitude, bool negative) {
    char buffer[numberBufferSize];
    std::snprintf(buffer, sizeof buffer, negative ? "-%llu" : "%llu", magnitude);
    return replaceNext(buffer);
}

LogString& LogString::replaceNext(const char* inserted) {
    char placeholder[numberBufferSize];
    std::snprintf(placeholder, sizeof placeholder, "%%%i", m_next);
    ++m_next;  // consumed even when the text has no such placeholder
    const std::size_t at = m_text.find(placeholder);
    if (at != std::string::npos) m_text.replace(at, std::strlen(placeholder), inserted);
    return *this;
}

}  // namespace Korvane
