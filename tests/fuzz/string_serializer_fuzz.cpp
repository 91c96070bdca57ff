// One-line property strings come from other programs: any line must read without a
// crash, also with record types and access values that no writer would produce, and
// what was read must write and read again, in this format and as a property file.
#include <korvane/config/ConfigSerializer.h>
#include <korvane/config/StringSerializer.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "RoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Korvane::PropertyTable table;
    KorvaneFuzz::readOrAbort<Korvane::StringSerializer>(
        std::string(reinterpret_cast<const char*>(data), size), table);
    KorvaneFuzz::writeAndReadAgain<Korvane::StringSerializer>(table);
    KorvaneFuzz::writeAndReadAgain<Korvane::ConfigSerializer>(table);
    return 0;
}
