#include "PngStorage.h"

#include <korvane/image/ImageManager.h>
#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace KorvaneSample {

using namespace Korvane;

namespace {

// libpng reports errors through this, then jumps back to the setjmp of the call.
// Nothing with a destructor may live between the setjmp and the jump: the functions
// below declare every such object before their setjmp.
struct PngError {
    char message[256] = "";
};

void onError(png_structp png, png_const_charp message) {
    auto* error = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(error->message, sizeof error->message, "%s", message);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

// Closes the file when the function that opened it returns.
struct File {
    explicit File(FILE* f) : file(f) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (file) std::fclose(file);
    }
    FILE* file;
};

int colourTypeFor(int channels) {
    return channels == 1   ? PNG_COLOR_TYPE_GRAY
           : channels == 3 ? PNG_COLOR_TYPE_RGB
                           : PNG_COLOR_TYPE_RGB_ALPHA;
}

Image::PixelHint hintFor(int channels) {
    return channels == 1 ? Image::Mono : channels == 3 ? Image::PlanarRgb : Image::PlanarRgba;
}

// Interleaves row y of image's channels into row (native byte order).
void interleave(Image& image, unsigned int y, unsigned int bytes, std::vector<png_byte>& row) {
    const int channels = image.channelCount();
    const std::size_t rowStart = std::size_t(y) * image.width();
    for (int c = 0; c < channels; ++c) {
        const unsigned char* samples = image.channel(c)->rawBuffer() + rowStart * bytes;
        for (unsigned int x = 0; x < image.width(); ++x)
            std::memcpy(&row[(std::size_t(x) * channels + c) * bytes], samples + x * bytes, bytes);
    }
}

void deinterleave(const png_byte* row, unsigned int y, unsigned int bytes, Image& image) {
    const int channels = image.channelCount();
    const std::size_t rowStart = std::size_t(y) * image.width();
    for (int c = 0; c < channels; ++c) {
        unsigned char* samples = image.channel(c)->rawBuffer() + rowStart * bytes;
        for (unsigned int x = 0; x < image.width(); ++x)
            std::memcpy(samples + x * bytes, &row[(std::size_t(x) * channels + c) * bytes], bytes);
    }
}

// Writes image to file; false with error set when libpng failed.
bool writePng(FILE* file, Image& image, PngError& error) {
    const unsigned int bytes = image.pixelSize();
    std::vector<png_byte> row(std::size_t(image.width()) * image.channelCount() * bytes);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, onError, onWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, image.width(), image.height(), int(bytes * 8),
                 colourTypeFor(image.channelCount()), PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (image.bitDepth() != bytes * 8) {
        png_color_8 significant{};
        const auto bits = static_cast<png_byte>(image.bitDepth());
        significant.gray = significant.red = significant.green = significant.blue = bits;
        significant.alpha = bits;
        png_set_sBIT(png, info, &significant);
    }
    png_write_info(png, info);
    if (bytes == 2) png_set_swap(png);  // our samples are little-endian
    for (unsigned int y = 0; y < image.height(); ++y) {
        interleave(image, y, bytes, row);
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

// Reads file into made; false with error set when libpng failed. The whole image is
// read at once (interlaced files need every pass) into pixels, through rows. pixels,
// rows and made belong to the caller, so that a jump back to the setjmp finds them in
// memory, not stale in registers of this frame.
bool readPng(FILE* file, PngError& error, std::vector<png_byte>& pixels,
             std::vector<png_bytep>& rows, ImgRefPtr& made) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, onError, onWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, file);
    png_set_sig_bytes(png, 8);
    png_read_info(png, info);
    const int colourType = png_get_color_type(png, info);
    if (colourType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colourType == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if (colourType == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_strip_alpha(png);
    if (png_get_bit_depth(png, info) == 16) png_set_swap(png);
    png_set_interlace_handling(png);
    png_color_8p significant = nullptr;
    int significantBits = 0;
    if (png_get_sBIT(png, info, &significant) && significant)
        significantBits = colourType == PNG_COLOR_TYPE_GRAY ? significant->gray : significant->red;
    png_read_update_info(png, info);
    const unsigned int width = png_get_image_width(png, info);
    const unsigned int height = png_get_image_height(png, info);
    const int channels = png_get_channels(png, info);
    const unsigned int bytes = png_get_bit_depth(png, info) == 16 ? 2 : 1;
    made = ImageManager::get()->createAnonymous(bytes == 2 ? storedUint16 : storedUint8, width,
                                                height, static_cast<unsigned int>(channels));
    if (made.isNull() || made->channelCount() != channels) {
        std::snprintf(error.message, sizeof error.message, "cannot hold an image of %u x %u", width,
                      height);
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    made->setPixelHint(hintFor(channels));
    if (significantBits > 0 && unsigned(significantBits) < bytes * 8)
        for (int c = 0; c < channels; ++c) made->channel(c)->setBitDepth(significantBits);
    const std::size_t rowBytes = png_get_rowbytes(png, info);
    pixels.resize(rowBytes * height);
    rows.resize(height);
    for (unsigned int y = 0; y < height; ++y) rows[y] = &pixels[y * rowBytes];
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    for (unsigned int y = 0; y < height; ++y) deinterleave(rows[y], y, bytes, *made);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

}  // namespace

PngStorage::PngStorage() : FileStorage("PngStorage") {
    addLoadFormat("png");
    addSaveFormat("png");
    setPropertyForce("CanRead", true);
    setPropertyForce("CanWrite", true);
}

bool PngStorage::save(ImgRefPtr image, const char* fileName) {
    if (image.isNull()) return failedOn("no image to save as", fileName);
    const int channels = image->channelCount();
    const unsigned int type = sampleType(*image);
    if (channels != 1 && channels != 3 && channels != 4)
        return failedOn("PNG holds 1, 3 or 4 channels, not " + std::to_string(channels) + ", for",
                        fileName);
    if (type != storedUint8 && type != storedUint16)
        return failedOn("cannot store " + sampleTypeText(*image) + " samples in", fileName);
    File file(std::fopen(fileName, "wb"));
    if (!file.file) return failedOn("cannot write", fileName, errno);
    PngError error;
    if (!writePng(file.file, *image, error))
        return saveFailed(std::string("libpng failed (") + error.message + ") on", fileName);
    const bool closed = std::fclose(file.file) == 0;
    file.file = nullptr;
    if (!closed) return saveFailed("could not write all of", fileName, errno);
    return true;
}

bool PngStorage::load(ImgRefPtr& image, const char* fileName) {
    image = ImgRefPtr();
    File file(std::fopen(fileName, "rb"));
    if (!file.file) return failedOn("cannot read", fileName, errno);
    png_byte signature[8] = {};
    if (std::fread(signature, 1, sizeof signature, file.file) != sizeof signature ||
        png_sig_cmp(signature, 0, sizeof signature) != 0)
        return failedOn("not a PNG file:", fileName);
    PngError error;
    std::vector<png_byte> pixels;
    std::vector<png_bytep> rows;
    ImgRefPtr made;
    if (!readPng(file.file, error, pixels, rows, made))
        return failedOn(std::string("libpng failed (") + error.message + ") on", fileName);
    image = made;
    framesRead(0, 1);
    return true;
}

}  // namespace KorvaneSample
