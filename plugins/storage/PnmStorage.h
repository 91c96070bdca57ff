#pragma once
// PnmStorage reads and writes the binary portable grey and pixel maps: "pgm" (one
// channel) and "ppm" (three channels, red, green, blue), 8- or 16-bit unsigned.
// Decisions: the maximum value written is 2^bitDepth - 1, so a 12-bit image keeps its
// depth through a file; a file whose maximum value is 2^n - 1 loads with bit depth n,
// any other with the whole sample (8 or 16 bits). Only the binary forms P5 and P6 load.

#include "FileStorage.h"

namespace KorvaneSample {

class PnmStorage : public FileStorage {
public:
    PnmStorage();
    Korvane::Storage* createCopy() override { return new PnmStorage(*this); }
    bool save(Korvane::ImgRefPtr image, const char* fileName) override;
    bool load(Korvane::ImgRefPtr& image, const char* fileName) override;
};

}  // namespace KorvaneSample
