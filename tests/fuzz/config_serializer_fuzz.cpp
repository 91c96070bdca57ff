// Property files are written by people: any text must read without a crash, and what
// the reader made of it must write and read again.
#include <korvane/config/ConfigSerializer.h>
#include <korvane/core/PropertyInterface.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Korvane::ConfigSerializer serializer;
    Korvane::PropertyTable table;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    if (!serializer.read(&table, in)) std::abort();

    std::ostringstream out;
    if (!serializer.write(&table, out)) std::abort();
    Korvane::PropertyTable again;
    std::istringstream written(out.str());
    if (!serializer.read(&again, written)) std::abort();
    return 0;
}
