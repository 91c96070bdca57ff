#include "TiffStorage.h"

#include <korvane/image/ImageManager.h>
#include <tiffio.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace KorvaneSample {

using namespace Korvane;

namespace {

// libtiff's last error message for one open file.
struct TiffError {
    char message[256] = "";
};

int onError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto* error = static_cast<TiffError*>(user);
    std::vsnprintf(error->message, sizeof error->message, format, arguments);
    return 1;  // handled: nothing on stderr
}

int onWarning(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

// Opens fileName in mode ("r", "w" or "a") with libtiff's messages going to error.
TiffFile open(const char* fileName, const char* mode, TiffError& error) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, onError, &error);
    TIFFOpenOptionsSetWarningHandlerExtR(options, onWarning, nullptr);
    TiffFile tiff(TIFFOpenExt(fileName, mode, options));
    TIFFOpenOptionsFree(options);
    return tiff;
}

std::string reasonOf(const TiffError& error) {
    return error.message[0] ? std::string(" (") + error.message + ")" : std::string();
}

// The quantum id for a TIFF sample layout; 0 when we do not handle it.
unsigned int quantumFor(uint16_t bits, uint16_t format) {
    if (format == SAMPLEFORMAT_UINT && bits == 8) return storedUint8;
    if (format == SAMPLEFORMAT_UINT && bits == 16) return storedUint16;
    if (format == SAMPLEFORMAT_IEEEFP && bits == 32) return storedFloat32;
    return 0;
}

}  // namespace

TiffStorage::TiffStorage() : FileStorage("TiffStorage") {
    for (const char* format : {"tif", "tiff"}) {
        addLoadFormat(format);
        addSaveFormat(format);
    }
    setPropertyForce("CanRead", true);
    setPropertyForce("CanWrite", true);
    addProperty("Append", false, bool_property, read_write_access, 0,
                PropertyText::permanent("Save adds the image as the next frame of an existing "
                                        "file instead of writing a new file."));
    addProperty("Compression", 0LL, std::vector<std::string>{"None", "LZW", "Deflate"},
                enum_property, read_write_access, 0,
                PropertyText::permanent("Compression of the frames written."));
}

bool TiffStorage::save(ImgRefPtr image, const char* fileName) {
    if (image.isNull()) return failedOn("no image to save as", fileName);
    const int channels = image->channelCount();
    const unsigned int type = sampleType(*image);
    if (channels != 1 && channels != 3)
        return failedOn("TIFF holds 1 or 3 channels, not " + std::to_string(channels) + ", for",
                        fileName);
    if (type != storedUint8 && type != storedUint16 && (type != storedFloat32 || channels != 1))
        return failedOn("cannot store " + sampleTypeText(*image) + " samples of " +
                            std::to_string(channels) + " channels in",
                        fileName);
    bool append = false;
    getProperty("Append", &append);
    std::string compression;
    getProperty("Compression", &compression);
    TiffError error;
    TiffFile tiff = open(fileName, append ? "a" : "w", error);
    if (!tiff) return failedOn("cannot write" + reasonOf(error), fileName, errno);
    const unsigned int bytes = image->pixelSize();
    TIFF* t = tiff.get();
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(image->width()));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(image->height()));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, uint16_t(bytes * 8));
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, uint16_t(channels));
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT,
                 uint16_t(type == storedFloat32 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT));
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC,
                 uint16_t(channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK));
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, uint16_t(PLANARCONFIG_SEPARATE));
    TIFFSetField(t, TIFFTAG_SUBFILETYPE, uint32_t(FILETYPE_PAGE));
    TIFFSetField(t, TIFFTAG_COMPRESSION,
                 uint16_t(compression == "LZW"       ? COMPRESSION_LZW
                          : compression == "Deflate" ? COMPRESSION_ADOBE_DEFLATE
                                                     : COMPRESSION_NONE));
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    // Planes stored one after another, so each channel's rows go out as they are.
    for (int c = 0; c < channels; ++c) {
        unsigned char* samples = image->channel(c)->rawBuffer();
        for (unsigned int y = 0; y < image->height(); ++y) {
            if (TIFFWriteScanline(t, samples + std::size_t(y) * image->width() * bytes, y,
                                  uint16_t(c)) < 0)
                return append ? failedOn("could not append a frame" + reasonOf(error) + " to",
                                         fileName)
                              : saveFailed("could not write" + reasonOf(error), fileName);
        }
    }
    if (!TIFFWriteDirectory(t)) return saveFailed("could not finish" + reasonOf(error), fileName);
    const unsigned int frames = TIFFNumberOfDirectories(t);
    tiff.reset();
    setPropertyForce("FrameCount", frames);
    return true;
}

bool TiffStorage::load(ImgRefPtr& image, const char* fileName) {
    image = ImgRefPtr();
    TiffError error;
    TiffFile tiff = open(fileName, "r", error);
    if (!tiff) return failedOn("not a readable TIFF file" + reasonOf(error) + ":", fileName);
    TIFF* t = tiff.get();
    const unsigned int frames = TIFFNumberOfDirectories(t);
    const unsigned int frame = wantedFrame();
    if (frame >= frames)
        return failedOn(
            "no frame " + std::to_string(frame) + " among the " + std::to_string(frames) + " of",
            fileName);
    if (!TIFFSetDirectory(t, tdir_t(frame)))
        return failedOn("cannot reach frame " + std::to_string(frame) + reasonOf(error) + " of",
                        fileName);
    uint32_t width = 0, height = 0;
    uint16_t bits = 1, channels = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(t, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &channels);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(t, TIFFTAG_PLANARCONFIG, &planar);
    const unsigned int quantum = quantumFor(bits, format);
    if (TIFFIsTiled(t)) return failedOn("tiled TIFF files are not supported:", fileName);
    if (quantum == 0 || (channels != 1 && channels != 3) ||
        (channels == 3 && quantum == storedFloat32))
        return failedOn("unsupported samples (" + std::to_string(channels) + " x " +
                            std::to_string(bits) + " bits, format " + std::to_string(format) +
                            ") in",
                        fileName);
    ImgRefPtr made = ImageManager::get()->createAnonymous(quantum, width, height, channels);
    if (made.isNull() || made->channelCount() != channels || width == 0 || height == 0)
        return failedOn("cannot hold the image of", fileName);
    made->setPixelHint(channels == 3 ? Image::PlanarRgb : Image::Mono);
    const unsigned int bytes = bits / 8;
    if (planar == PLANARCONFIG_SEPARATE || channels == 1) {
        for (uint16_t c = 0; c < channels; ++c) {
            unsigned char* samples = made->channel(c)->rawBuffer();
            for (uint32_t y = 0; y < height; ++y)
                if (TIFFReadScanline(t, samples + std::size_t(y) * width * bytes, y, c) < 0)
                    return failedOn("could not read" + reasonOf(error), fileName);
        }
    } else {
        std::vector<unsigned char> row(TIFFScanlineSize(t));
        for (uint32_t y = 0; y < height; ++y) {
            if (TIFFReadScanline(t, row.data(), y, 0) < 0)
                return failedOn("could not read" + reasonOf(error), fileName);
            for (uint16_t c = 0; c < channels; ++c) {
                unsigned char* samples =
                    made->channel(c)->rawBuffer() + std::size_t(y) * width * bytes;
                for (uint32_t x = 0; x < width; ++x)
                    std::memcpy(samples + x * bytes, &row[(std::size_t(x) * channels + c) * bytes],
                                bytes);
            }
        }
    }
    framesRead(frame, frames);
    image = made;
    return true;
}

}  // namespace KorvaneSample
