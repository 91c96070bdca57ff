#include "TestPattern.h"

#include <algorithm>
#include <cstring>
#include <limits>

using namespace Korvane;

namespace KorvaneSample {

namespace {

constexpr unsigned int period = 256;

// Pattern value i (0..255) of the ramp, as the sample type's value.
template <class T>
T rampValue(TestPattern::Kind kind, unsigned int i) {
    // Bars: eight grey levels, 32 samples each.
    const unsigned int level = kind == TestPattern::Bars ? (i / 32) * 255 / 7 : i;
    return static_cast<T>(sizeof(T) == 1 ? level : level * 257);
}

template <class T>
void fillRamp(std::vector<unsigned char>& bytes, TestPattern::Kind kind, unsigned int width) {
    const std::size_t count = std::size_t(width) + period;
    bytes.resize(count * sizeof(T));
    T* ramp = reinterpret_cast<T*>(bytes.data());
    for (std::size_t i = 0; i < count; ++i) ramp[i] = rampValue<T>(kind, i % period);
}

unsigned int digitsOf(std::uint64_t n, unsigned int (&out)[20]) {
    unsigned int count = 0;
    do {
        out[count++] = static_cast<unsigned int>(n % 10);
        n /= 10;
    } while (n != 0);
    std::reverse(out, out + count);
    return count;
}

}  // namespace

TestPattern::TestPattern(Kind kind, unsigned int quantumId, unsigned int width, unsigned int height)
    : m_kind(kind), m_quantumId(quantumId), m_width(width), m_height(height) {
    if (quantumId == 257) {
        fillRamp<std::uint16_t>(m_ramp, kind, width);
    } else {
        fillRamp<std::uint8_t>(m_ramp, kind, width);
    }
}

bool TestPattern::fits(const Image& image) const {
    const unsigned int sampleSize = m_quantumId == 257 ? 2 : 1;
    return image.width() == m_width && image.height() == m_height &&
           image.pixelSize() == sampleSize && image.isInteger() && !image.isSigned() &&
           image.rawBuffer() != nullptr;
}

bool TestPattern::draw(Image& image, std::uint64_t n) const {
    if (!fits(image)) return false;
    if (m_quantumId == 257) {
        auto* samples = reinterpret_cast<std::uint16_t*>(image.rawBuffer());
        drawPattern(samples, n);
        drawCounter(samples, n);
    } else {
        auto* samples = image.rawBuffer();
        drawPattern(samples, n);
        drawCounter(samples, n);
    }
    return true;
}

template <class T>
void TestPattern::drawPattern(T* samples, std::uint64_t n) const {
    const T* ramp = reinterpret_cast<const T*>(m_ramp.data());
    const std::size_t rowBytes = std::size_t(m_width) * sizeof(T);
    const unsigned int shift = static_cast<unsigned int>(n % period);
    for (unsigned int y = 0; y < m_height; ++y) {
        const unsigned int offset = m_kind == Gradient ? (shift + y) % period : shift;
        std::memcpy(samples + std::size_t(y) * m_width, ramp + offset, rowBytes);
    }
}

template <class T>
void TestPattern::drawCounter(T* samples, std::uint64_t n) const {
    using namespace DigitFont;
    unsigned int digits[20];
    const unsigned int count = digitsOf(n, digits);
    const unsigned int scale = scaleFor(m_height);
    const unsigned int boxWidth =
        std::min<unsigned long>(m_width, (2 * margin + count * (glyphWidth + spacing) - spacing) *
                                             static_cast<unsigned long>(scale));
    const unsigned int boxHeight = std::min(m_height, (2 * margin + glyphHeight) * scale);
    const T white = std::numeric_limits<T>::max();
    for (unsigned int y = 0; y < boxHeight; ++y) {
        T* row = samples + std::size_t(y) * m_width;
        std::fill(row, row + boxWidth, T(0));
        if (y < margin * scale || y >= (margin + glyphHeight) * scale) continue;
        const unsigned int fontRow = y / scale - margin;
        for (unsigned int d = 0; d < count; ++d) {
            const unsigned int left = digitLeft(d, scale);
            for (unsigned int column = 0; column < glyphWidth; ++column) {
                if (!dot(digits[d], column, fontRow)) continue;
                const unsigned int x0 = left + column * scale;
                const unsigned int x1 = std::min(boxWidth, x0 + scale);
                if (x0 < x1) std::fill(row + x0, row + x1, white);
            }
        }
    }
}

}  // namespace KorvaneSample
