#pragma once
// TestPattern draws the simulated camera's test frames: a pattern that moves by one
// step per frame and, on top of it in the top-left corner, the frame number in digits
// of a built-in 5 x 7 bitmap font, white on a black box. It owns one precomputed row
// ("ramp") of 256 + width samples; a frame is drawn by copying a window of that ramp
// into every row, so drawing costs one memcpy per row and no per-pixel branching.
// One TestPattern belongs to one thread (the camera's acquisition thread, or the
// caller of a snapshot); it is not locked.
//
// The font and the layout of the counter are public (DigitFont) so that a consumer can
// read the frame number back from the pixels: the box starts at (0, 0); digit d of the
// decimal number (most significant first) has its glyph cell at x = (1 + 6 d) * scale,
// y = scale, each font dot a scale x scale square; scale = max(1, height / 120).
// Decisions: the pattern has a period of 256 steps (8-bit ramp; 16-bit samples are the
// 8-bit value times 257, so both types look alike); a counter wider than the frame is
// clipped at the frame's edge.

#include <korvane/image/Image.h>

#include <cstdint>
#include <vector>

namespace KorvaneSample {

namespace DigitFont {

constexpr unsigned int glyphWidth = 5;
constexpr unsigned int glyphHeight = 7;
// Font units between two glyphs and around the digits inside the box.
constexpr unsigned int spacing = 1;
constexpr unsigned int margin = 1;
// One row per entry, bit 4 the leftmost dot.
constexpr std::uint8_t glyphs[10][glyphHeight] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E},  // 0
    {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},  // 1
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F},  // 2
    {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},  // 3
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02},  // 4
    {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},  // 5
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E},  // 6
    {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},  // 7
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E},  // 8
    {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},  // 9
};

constexpr bool dot(unsigned int digit, unsigned int column, unsigned int row) {
    return (glyphs[digit][row] >> (glyphWidth - 1 - column)) & 1u;
}
// The size of one font dot in pixels for a frame of this height.
constexpr unsigned int scaleFor(unsigned int height) {
    return height / 120 > 1 ? height / 120 : 1;
}
// The left edge of digit d's glyph cell, in pixels.
constexpr unsigned int digitLeft(unsigned int d, unsigned int scale) {
    return (margin + d * (glyphWidth + spacing)) * scale;
}

}  // namespace DigitFont

class TestPattern {
public:
    enum Kind { Gradient = 0, Bars = 1 };

    // A pattern for frames of width x height samples of quantumId (129 or 257).
    TestPattern(Kind kind, unsigned int quantumId, unsigned int width, unsigned int height);

    // Draws frame number n into image, which must have this pattern's shape: the
    // pattern shifted by n steps, then the counter. False (image untouched) otherwise.
    bool draw(Korvane::Image& image, std::uint64_t n) const;
    // Whether image has the width, height and sample type this pattern draws.
    bool fits(const Korvane::Image& image) const;

private:
    template <class T>
    void drawPattern(T* samples, std::uint64_t n) const;
    template <class T>
    void drawCounter(T* samples, std::uint64_t n) const;

    const Kind m_kind;
    const unsigned int m_quantumId;
    const unsigned int m_width;
    const unsigned int m_height;
    // 256 + width samples of the sample type, as bytes; row y of frame n copies width
    // samples from offset (shift(y, n) mod 256).
    std::vector<unsigned char> m_ramp;
};

}  // namespace KorvaneSample
