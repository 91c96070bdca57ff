#pragma once
// A HeaderGenerator writes and reads the fixed-size binary header that a camera or a
// file format puts in front of raw image data. It is a plain interface with no base:
// plug-ins implement it and hand it to whoever needs it (a storage, a device) through a
// HeaderGeneratorRefPtr. The core itself never calls it. One object may be used by one
// thread at a time unless the plug-in documents more.
//
// A minimal generator of a 4-byte header holding the width and the height:
//
//     class SizeHeader : public Korvane::HeaderGenerator {
//     public:
//         std::string formatName() const override { return "SizeHeader"; }
//         unsigned int headerSize() const override { return 4; }
//         bool generate(const Korvane::ImgRefPtr& image, unsigned char* header,
//                       unsigned int size) override {
//             if (image.isNull() || size < 4) return false;
//             const unsigned int w = image->width(), h = image->height();
//             header[0] = w & 0xFF; header[1] = w >> 8; header[2] = h & 0xFF; header[3] = h >> 8;
//             return true;
//         }
//         bool parse(const unsigned char* header, unsigned int size,
//                    Korvane::ImgRefPtr& image) override {
//             if (size < 4) return false;
//             image = Korvane::ImageManager::get()->createAnonymous(
//                 129u, header[0] | header[1] << 8, header[2] | header[3] << 8, 1);
//             return image.isValid();
//         }
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/image/Image.h>

#include <string>

namespace Korvane {

class KORVANE_API HeaderGenerator {
public:
    virtual ~HeaderGenerator();

    // The name of the header format ("PGM", a vendor's raw format).
    virtual std::string formatName() const = 0;
    // The number of bytes generate writes and parse reads.
    virtual unsigned int headerSize() const = 0;
    // Writes the header describing image into header, which holds size bytes; false
    // when size is smaller than headerSize() or the image cannot be described.
    virtual bool generate(const ImgRefPtr& image, unsigned char* header, unsigned int size) = 0;
    // Reads size bytes of header and sets image to a new image of the format it
    // describes (its samples are not filled); false for a header it does not accept.
    virtual bool parse(const unsigned char* header, unsigned int size, ImgRefPtr& image) = 0;
};

}  // namespace Korvane
