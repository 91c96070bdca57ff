// Property files are written by people: any text must read without a crash, and what
// the reader made of it must write and read again.
#include <korvane/config/ConfigSerializer.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "RoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Korvane::ConfigSerializer;
    Korvane::PropertyTable table;
    KorvaneFuzz::readOrAbort<ConfigSerializer>(
        std::string(reinterpret_cast<const char*>(data), size), table);
    KorvaneFuzz::writeAndReadAgain<ConfigSerializer>(table);
    return 0;
}
