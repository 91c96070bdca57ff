#include <korvane/image/Lut.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <new>
#include <ostream>

namespace Korvane {

static_assert(sizeof(RGBQUAD) == 4, "RGBQUAD is the four bytes of a raw LUT stream entry");

namespace {

// Samples wider than a byte: the table index is the sample's low 32 bits masked by
// size - 1. Samples are copied out byte-wise, so they need not be aligned.
template <class Sample>
void applyMasked(const unsigned char* samples, unsigned int count, const RGBQUAD* table,
                 std::uint32_t mask, RGBQUAD* colours) {
    for (unsigned int i = 0; i < count; ++i) {
        Sample sample;
        std::memcpy(&sample, samples + std::size_t{i} * sizeof(Sample), sizeof(Sample));
        colours[i] = table[static_cast<std::uint32_t>(sample) & mask];
    }
}

void applyBytes(const unsigned char* samples, unsigned int count, const RGBQUAD* table,
                unsigned int entries, RGBQUAD* colours) {
    if (entries >= 256) {
        for (unsigned int i = 0; i < count; ++i) colours[i] = table[samples[i]];
        return;
    }
    const unsigned int last = entries - 1;
    for (unsigned int i = 0; i < count; ++i) {
        colours[i] = table[std::min<unsigned int>(samples[i], last)];
    }
}

}  // namespace

RGBQUAD createColor4(unsigned char red, unsigned char green, unsigned char blue,
                     unsigned char alpha) {
    return RGBQUAD{blue, green, red, alpha};
}

bool operator==(const RGBQUAD& a, const RGBQUAD& b) {
    return a.blue == b.blue && a.green == b.green && a.red == b.red && a.reserved == b.reserved;
}

// ---- Lut ----------------------------------------------------------------------------

Lut::Lut() : ManageableType("Lut") {}

Lut::~Lut() = default;

unsigned int Lut::size() const {
    return 0;
}

RGBQUAD Lut::colorAtIndex(unsigned int) {
    return RGBQUAD{0, 0, 0, 0};
}

void Lut::setColorAtIndex(unsigned int, RGBQUAD) {}

bool Lut::isTable() {
    return false;
}

// ---- LutGrey ------------------------------------------------------------------------

// Up to 256 entries, entry i is grey i; a longer table spreads the 256 grey levels
// evenly, so 1024 entries step by 4 and 65536 entries follow the sample's high byte.
LutGrey::LutGrey(int entries) {
    if (entries < 1) return;
    m_table.reset(new (std::nothrow) RGBQUAD[static_cast<unsigned int>(entries)]);
    if (!m_table) return;
    m_entryCount = static_cast<unsigned int>(entries);
    const unsigned int divisor = m_entryCount <= 256 ? 1 : m_entryCount / 256;
    for (unsigned int i = 0; i < m_entryCount; ++i) {
        const auto grey = static_cast<unsigned char>(i / divisor % 256);
        m_table[i] = createColor4(grey, grey, grey, 255);
    }
}

LutGrey::~LutGrey() = default;

Lut* LutGrey::createCopy() {
    return new LutGrey(static_cast<int>(m_entryCount));
}

bool LutGrey::applyLut(unsigned char* samples, unsigned int count, unsigned int bytesPerSample,
                       RGBQUAD* colours) {
    if (m_entryCount == 0) return false;
    if (count == 0 || !samples || !colours) return true;
    const RGBQUAD* table = m_table.get();
    const std::uint32_t mask = m_entryCount - 1;
    switch (bytesPerSample) {
        case 1:
            applyBytes(samples, count, table, m_entryCount, colours);
            break;
        case 2:
            applyMasked<std::uint16_t>(samples, count, table, mask, colours);
            break;
        case 4:
            applyMasked<std::uint32_t>(samples, count, table, mask, colours);
            break;
        case 8:
            applyMasked<std::uint64_t>(samples, count, table, mask, colours);
            break;
        default:
            break;
    }
    return true;
}

unsigned int LutGrey::size() const {
    return m_entryCount;
}

bool LutGrey::read(std::istream& in) {
    if (m_table) {
        in.read(reinterpret_cast<char*>(m_table.get()), std::streamsize{m_entryCount} * 4);
    }
    return in.good();
}

bool LutGrey::write(std::ostream& out) const {
    if (m_table) {
        out.write(reinterpret_cast<const char*>(m_table.get()), std::streamsize{m_entryCount} * 4);
    }
    return out.good();
}

RGBQUAD LutGrey::colorAtIndex(unsigned int index) {
    return index < m_entryCount ? m_table[index] : RGBQUAD{0, 0, 0, 0};
}

void LutGrey::setColorAtIndex(unsigned int index, RGBQUAD colour) {
    if (index < m_entryCount) m_table[index] = colour;
}

bool LutGrey::isTable() {
    return true;
}

// ---- the standard sizes ----------------------------------------------------------------

LutGrey8::LutGrey8() : LutGrey(256) {}

Lut* LutGrey8::createCopy() {
    return new LutGrey8;
}

LutGrey10::LutGrey10() : LutGrey(1024) {}

Lut* LutGrey10::createCopy() {
    return new LutGrey10;
}

LutGrey16::LutGrey16() : LutGrey(65536) {}

Lut* LutGrey16::createCopy() {
    return new LutGrey16;
}

}  // namespace Korvane
