// One-line property strings come from other programs: any line must read without a
// crash, also with record types and access values that no writer would produce, and
// what was read must write and read again, in this format and as a property file.
#include <korvane/config/ConfigSerializer.h>
#include <korvane/config/StringSerializer.h>
#include <korvane/core/PropertyInterface.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Korvane::StringSerializer serializer;
    Korvane::PropertyTable table;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    if (!serializer.read(&table, in)) std::abort();

    std::ostringstream out;
    if (!serializer.write(&table, out)) std::abort();
    Korvane::PropertyTable again;
    std::istringstream written(out.str());
    if (!serializer.read(&again, written)) std::abort();

    Korvane::ConfigSerializer file;
    std::ostringstream asFile;
    if (!file.write(&table, asFile)) std::abort();
    std::istringstream fileText(asFile.str());
    if (!file.read(&again, fileText)) std::abort();
    return 0;
}
