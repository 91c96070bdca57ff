#pragma once
// PngStorage reads and writes "png" files through libpng: 8- or 16-bit unsigned grey
// (one channel), RGB (three channels) and RGBA (four). Decisions: a palette image
// loads as RGB, grey of 1, 2 or 4 bits as 8-bit grey, and grey with alpha as grey (the
// alpha dropped); a 16-bit image of fewer significant bits is written with an sBIT
// chunk and loads with that bit depth again.

#include "FileStorage.h"

namespace KorvaneSample {

class PngStorage : public FileStorage {
public:
    PngStorage();
    Korvane::Storage* createCopy() override { return new PngStorage(*this); }
    bool save(Korvane::ImgRefPtr image, const char* fileName) override;
    bool load(Korvane::ImgRefPtr& image, const char* fileName) override;
};

}  // namespace KorvaneSample
