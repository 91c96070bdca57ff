#pragma once
// The round trip the serializer fuzz programs ask of every input: text that reads
// without failing must write, and what was written must read again. A failure aborts,
// which libFuzzer reports with the input.

#include <korvane/core/PropertyInterface.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace KorvaneFuzz {

// Reads text into table with a Serializer; aborts when the read fails.
template <class Serializer>
void readOrAbort(const std::string& text, Korvane::PropertyTable& table) {
    std::istringstream in(text);
    if (!Serializer().read(&table, in)) std::abort();
}

// Writes table with a Serializer and reads the text back; aborts when either fails.
template <class Serializer>
void writeAndReadAgain(Korvane::PropertyTable& table) {
    std::ostringstream out;
    if (!Serializer().write(&table, out)) std::abort();
    Korvane::PropertyTable again;
    readOrAbort<Serializer>(out.str(), again);
}

}  // namespace KorvaneFuzz
