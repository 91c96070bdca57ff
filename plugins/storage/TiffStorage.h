#pragma once
// TiffStorage reads and writes "tif" and "tiff" files through libtiff: grey images of
// 8- and 16-bit unsigned and 32-bit float samples, and RGB of 8 or 16 bits, in
// multi-frame files. A load reads the frame "FrameId" names and advances it (see
// FileStorage); a save writes a new file, or with "Append" set adds the image as the
// next frame of an existing one; both leave the file's frame count in "FrameCount".
// Decisions: tiled files do not load; libtiff's messages go into our log message
// instead of onto stderr.

#include "FileStorage.h"

namespace KorvaneSample {

class TiffStorage : public FileStorage {
public:
    TiffStorage();
    Korvane::Storage* createCopy() override { return new TiffStorage(*this); }
    bool save(Korvane::ImgRefPtr image, const char* fileName) override;
    bool load(Korvane::ImgRefPtr& image, const char* fileName) override;
};

}  // namespace KorvaneSample
