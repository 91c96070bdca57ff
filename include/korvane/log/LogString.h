#pragma once
// LogString composes a log message from a text with numbered placeholders "%1",
// "%2", ... and chained arg calls: LogString("Detected %1 devices.").arg(n). Each arg
// consumes the next number whether or not its placeholder is present, replaces only
// the first occurrence, and "%1" also matches the start of "%10". A value type with
// no lock: one thread composes it. Decisions: a null text (in a constructor or
// arg(const char*)) counts as empty, as does a negative length; unsigned values print
// as unsigned decimals, so the largest 64-bit one is not shown negative.

#include <korvane/core/Export.h>

#include <string>

namespace Korvane {

class KORVANE_API LogString {
public:
    LogString();
    // Implicit, so that a plain text is accepted wherever a LogString is expected.
    LogString(const char* text);
    LogString(const char* text, int length);
    LogString(const std::string& text);

    const std::string& get() const { return m_text; }

    LogString& arg(const std::string& text);
    LogString& arg(const char* text);
    // Removes the placeholder.
    LogString& arg();
    // "true" or "false".
    LogString& arg(bool value);
    // Signed decimals. long is here so that std::int64_t is not ambiguous.
    LogString& arg(signed char value);
    LogString& arg(short value);
    LogString& arg(int value);
    LogString& arg(long value);
    LogString& arg(long long value);
    // Unsigned decimals. unsigned long is here so that std::uint64_t is not ambiguous.
    LogString& arg(unsigned char value);
    LogString& arg(unsigned short value);
    LogString& arg(unsigned int value);
    LogString& arg(unsigned long value);
    LogString& arg(unsigned long long value);
    // "%g"; a float is widened to double first.
    LogString& arg(float value);
    LogString& arg(double value);
    // "%p".
    LogString& arg(void* pointer);

private:
    LogString& argInteger(unsigned long long magnitude, bool negative);
    LogString& replaceNext(const char* inserted);

    int m_next = 1;  // the number the next arg looks for
    std::string m_text;
};

}  // namespace Korvane
