#include "PnmStorage.h"

#include <korvane/image/ImageManager.h>

#include <cerrno>
#include <fstream>
#include <vector>

namespace KorvaneSample {

using namespace Korvane;

namespace {

// Skips white space and "#" comments up to the next header token.
void skipSpace(std::istream& in) {
    while (in) {
        const int c = in.peek();
        if (c == '#') {
            std::string comment;
            std::getline(in, comment);
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            in.get();
        } else {
            return;
        }
    }
}

bool readHeaderNumber(std::istream& in, unsigned int& value) {
    skipSpace(in);
    return bool(in >> value);
}

// The number of bits when top is 2^n - 1, else 0.
unsigned int bitsOf(unsigned int top) {
    for (unsigned int bits = 1; bits <= 16; ++bits)
        if (top == (1u << bits) - 1) return bits;
    return 0;
}

}  // namespace

PnmStorage::PnmStorage() : FileStorage("PnmStorage") {
    for (const char* format : {"pgm", "ppm"}) {
        addLoadFormat(format);
        addSaveFormat(format);
    }
    setPropertyForce("CanRead", true);
    setPropertyForce("CanWrite", true);
}

bool PnmStorage::save(ImgRefPtr image, const char* fileName) {
    if (image.isNull()) return failedOn("no image to save as", fileName);
    const bool colour = formatOf(fileName) == "ppm";
    const int channels = colour ? 3 : 1;
    const unsigned int type = sampleType(*image);
    if (image->channelCount() != channels)
        return failedOn(
            std::string(colour ? "PPM needs 3 channels, not " : "PGM needs 1 channel, not ") +
                std::to_string(image->channelCount()) + ", for",
            fileName);
    if (type != storedUint8 && type != storedUint16)
        return failedOn("cannot store " + sampleTypeText(*image) + " samples in", fileName);
    std::ofstream out(fileName, std::ios::binary);
    if (!out) return failedOn("cannot write", fileName, errno);
    out << (colour ? "P6\n" : "P5\n") << image->width() << ' ' << image->height() << '\n'
        << topValue(*image) << '\n';
    const unsigned int bytes = type == storedUint16 ? 2 : 1;
    std::vector<unsigned char> row(std::size_t(image->width()) * channels * bytes);
    for (unsigned int y = 0; y < image->height() && out; ++y) {
        std::size_t at = 0;
        for (unsigned int x = 0; x < image->width(); ++x) {
            const std::size_t index = std::size_t(y) * image->width() + x;
            for (int c = 0; c < channels; ++c) {
                const unsigned char* samples = image->channel(c)->rawBuffer();
                if (bytes == 1) {
                    row[at++] = samples[index];
                } else {
                    const unsigned int v = reinterpret_cast<const unsigned short*>(samples)[index];
                    row[at++] = static_cast<unsigned char>(v >> 8);  // big-endian
                    row[at++] = static_cast<unsigned char>(v & 0xff);
                }
            }
        }
        out.write(reinterpret_cast<const char*>(row.data()), std::streamsize(row.size()));
    }
    out.close();
    if (!out) return saveFailed("could not write all of", fileName, errno);
    return true;
}

bool PnmStorage::load(ImgRefPtr& image, const char* fileName) {
    image = ImgRefPtr();
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return failedOn("cannot read", fileName, errno);
    std::string magic(2, '\0');
    in.read(&magic[0], 2);
    unsigned int width = 0, height = 0, top = 0;
    if (!in || (magic != "P5" && magic != "P6") || !readHeaderNumber(in, width) ||
        !readHeaderNumber(in, height) || !readHeaderNumber(in, top) || top == 0 || top > 65535 ||
        width == 0 || height == 0)
        return failedOn("not a binary PGM or PPM file:", fileName);
    in.get();  // the one white-space character before the samples
    const int channels = magic == "P6" ? 3 : 1;
    const unsigned int bytes = top > 255 ? 2 : 1;
    // A header must not make us allocate more than the file holds.
    const std::streamoff start = in.tellg();
    in.seekg(0, std::ios::end);
    const std::streamoff available = in.tellg() - start;
    in.seekg(start);
    if (double(width) * height * channels * bytes > double(available))
        return failedOn("truncated samples in", fileName);
    ImgRefPtr made = ImageManager::get()->createAnonymous(bytes == 2 ? storedUint16 : storedUint8,
                                                          width, height, channels);
    if (made.isNull()) return failedOn("cannot hold the image of", fileName);
    made->setPixelHint(channels == 3 ? Image::PlanarRgb : Image::Mono);
    const unsigned int bits = bitsOf(top);
    for (int c = 0; c < channels; ++c) made->channel(c)->setBitDepth(bits ? bits : bytes * 8);
    std::vector<unsigned char> row(std::size_t(width) * channels * bytes);
    for (unsigned int y = 0; y < height; ++y) {
        if (!in.read(reinterpret_cast<char*>(row.data()), std::streamsize(row.size())))
            return failedOn("truncated samples in", fileName);
        std::size_t at = 0;
        for (unsigned int x = 0; x < width; ++x) {
            const std::size_t index = std::size_t(y) * width + x;
            for (int c = 0; c < channels; ++c) {
                unsigned char* samples = made->channel(c)->rawBuffer();
                if (bytes == 1) {
                    samples[index] = row[at++];
                } else {
                    const unsigned int high = row[at++];
                    reinterpret_cast<unsigned short*>(samples)[index] =
                        static_cast<unsigned short>(high << 8 | row[at++]);
                }
            }
        }
    }
    framesRead(0, 1);
    image = made;
    return true;
}

}  // namespace KorvaneSample
