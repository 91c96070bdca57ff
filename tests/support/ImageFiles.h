#pragma once
// Image files read back through libpng and libtiff, independently of the storages that
// wrote them: a writer and a reader of our own that are wrong in the same way (byte
// order, row order, planes) would pass a round trip, but not this. Header-only, for the
// test programs that link PNG::PNG and TIFF::TIFF. A file that cannot be read gives an
// image of width 0.

#include <png.h>
#include <tiffio.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace KorvaneTest {

struct DecodedImage {
    unsigned int width = 0, height = 0, channels = 0, bits = 0;
    unsigned int frames = 0;  // TIFF: the number of frames in the file
    bool floating = false;
    std::vector<double> samples;  // interleaved, pixel by pixel
    double at(unsigned int x, unsigned int y, unsigned int c = 0) const {
        return samples[(std::size_t(y) * width + x) * channels + c];
    }
};

namespace Internal {
// libpng's low-level reader; nothing with a destructor lives in this frame.
inline bool readPngInto(FILE* file, DecodedImage& out, std::vector<png_byte>& row) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    out.width = png_get_image_width(png, info);
    out.height = png_get_image_height(png, info);
    out.channels = png_get_channels(png, info);
    out.bits = png_get_bit_depth(png, info);
    out.frames = 1;
    row.resize(png_get_rowbytes(png, info));
    for (unsigned int y = 0; y < out.height; ++y) {
        png_read_row(png, row.data(), nullptr);
        for (unsigned int i = 0; i < out.width * out.channels; ++i)
            out.samples.push_back(out.bits == 16 ? row[2 * i] << 8 | row[2 * i + 1] : row[i]);
    }
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}
}  // namespace Internal

inline DecodedImage readPng(const std::string& path) {
    DecodedImage out;
    std::vector<png_byte> row;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return out;
    if (!Internal::readPngInto(file, out, row)) out = DecodedImage();
    std::fclose(file);
    return out;
}

// Frame `frame` of a TIFF file, any planar configuration.
inline DecodedImage readTiff(const std::string& path, unsigned int frame = 0) {
    DecodedImage out;
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    if (!tiff) return out;
    unsigned int frames = 0;
    do {
        ++frames;
    } while (TIFFReadDirectory(tiff));
    uint16_t bits = 0, channels = 0, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    if (TIFFSetDirectory(tiff, tdir_t(frame)) &&
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &out.width) &&
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &out.height)) {
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &channels);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
        out.bits = bits;
        out.channels = channels;
        out.frames = frames;
        out.floating = format == SAMPLEFORMAT_IEEEFP;
        const unsigned int bytes = bits / 8;
        std::vector<unsigned char> all(std::size_t(out.width) * out.height * channels * bytes);
        std::vector<unsigned char> row(TIFFScanlineSize(tiff));
        const unsigned int planes = planar == PLANARCONFIG_SEPARATE ? channels : 1;
        for (unsigned int s = 0; s < planes; ++s) {
            for (unsigned int y = 0; y < out.height; ++y) {
                if (TIFFReadScanline(tiff, row.data(), y, uint16_t(s)) < 0) {
                    TIFFClose(tiff);
                    return DecodedImage();
                }
                for (unsigned int i = 0; i < row.size() / bytes; ++i) {
                    const std::size_t place = planes == 1
                                                  ? std::size_t(y) * out.width * channels + i
                                                  : (std::size_t(y) * out.width + i) * channels + s;
                    std::memcpy(&all[place * bytes], &row[i * bytes], bytes);
                }
            }
        }
        for (std::size_t i = 0; i < all.size() / bytes; ++i) {
            const unsigned char* at = &all[i * bytes];
            float real = 0;
            uint16_t wide = 0;
            if (out.floating) std::memcpy(&real, at, sizeof real);
            if (bytes == 2) std::memcpy(&wide, at, sizeof wide);
            out.samples.push_back(out.floating ? real : bytes == 2 ? wide : *at);
        }
    }
    TIFFClose(tiff);
    return out;
}

}  // namespace KorvaneTest
