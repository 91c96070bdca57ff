// Log messages are composed from texts that may hold stray '%' signs and numbers of
// any length. The input up to its first NUL is the format, the rest is cut at NULs
// into text arguments; numbers of every kind follow them.
#include <korvane/log/LogString.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t end = input.find('\0');
    Korvane::LogString message(input.substr(0, end));
    while (end != std::string::npos) {
        const std::size_t start = end + 1;
        end = input.find('\0', start);
        message.arg(input.substr(start, end == std::string::npos ? end : end - start));
    }
    message.arg(std::numeric_limits<long long>::min())
        .arg(std::numeric_limits<unsigned long long>::max())
        .arg(-std::numeric_limits<double>::max())
        .arg(std::numeric_limits<double>::quiet_NaN())
        .arg(static_cast<const char*>(nullptr))
        .arg(true)
        .arg();
    Korvane::LogString(input.data(), static_cast<int>(size)).arg(input).arg(input);
    return 0;
}
