#include "GeometryOperators.h"

#include <korvane/image/Channel.h>
#include <korvane/image/ImageManager.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace KorvaneSample {

using namespace Korvane;

namespace {

// A new image like image (sample type, bit depth, layout hint) of width x height.
ImgRefPtr likeImage(const ImgRefPtr& image, unsigned int width, unsigned int height) {
    ImgRefPtr out =
        ImageManager::get()->createAnonymous(image, width, height, image->channelCount());
    if (out.isNull()) return out;
    out->setPixelHint(image->pixelHint());
    for (int c = 0; c < image->channelCount(); ++c)
        out->channel(c)->setBitDepth(image->channel(c)->bitDepth());
    return out;
}

template <class T>
T* samplesOf(const ImgRefPtr& image, int c) {
    return reinterpret_cast<T*>(image->channel(c)->rawBuffer());
}

}  // namespace

// ---- Flip ---------------------------------------------------------------------------

Flip::Flip() : ImageOperator("Flip") {
    addProperty("Direction", 0LL, std::vector<std::string>{"Horizontal", "Vertical", "Both"},
                enum_property, read_write_access, 0,
                PropertyText::permanent("Horizontal mirrors left and right, Vertical top and "
                                        "bottom, Both turns the image by 180 degrees."));
}

std::string Flip::help() const {
    return "Mirrors images horizontally, vertically or both.";
}

ImgRefPtr Flip::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const std::string direction = textProperty("Direction");
    const bool mirrorX = direction != "Vertical";
    const bool mirrorY = direction != "Horizontal";
    const unsigned int w = image->width(), h = image->height();
    ImgRefPtr out = likeImage(image, w, h);
    if (!made(out, reason)) return out;
    for (int c = 0; c < image->channelCount(); ++c) {
        withSamples(*image, c, [&](auto* in) {
            using T = std::remove_pointer_t<decltype(in)>;
            T* to = samplesOf<T>(out, c);
            for (unsigned int y = 0; y < h; ++y) {
                const T* row = in + std::size_t(mirrorY ? h - 1 - y : y) * w;
                T* target = to + std::size_t(y) * w;
                if (mirrorX)
                    std::reverse_copy(row, row + w, target);
                else
                    std::copy(row, row + w, target);
            }
        });
    }
    return out;
}

// ---- Crop ---------------------------------------------------------------------------

Crop::Crop() : ImageOperator("Crop") {
    addProperty("X", 0u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Left column of the rectangle, from 0 to the image's "
                                        "width - 1."));
    addProperty("Y", 0u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Top row of the rectangle, from 0 to the image's "
                                        "height - 1."));
    addProperty("Width", 0u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Width of the rectangle; 0, or more than is left, "
                                        "reaches to the right edge."));
    addProperty("Height", 0u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Height of the rectangle; 0, or more than is left, "
                                        "reaches to the bottom edge."));
}

std::string Crop::help() const {
    return "Cuts a rectangle out of images.";
}

ImgRefPtr Crop::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const unsigned int x = uintProperty("X"), y = uintProperty("Y");
    if (x >= image->width() || y >= image->height()) {
        reason = "the corner " + std::to_string(x) + ", " + std::to_string(y) +
                 " lies outside the image of " + std::to_string(image->width()) + " x " +
                 std::to_string(image->height());
        return ImgRefPtr();
    }
    const unsigned int wanted = uintProperty("Width"), wantedHeight = uintProperty("Height");
    const unsigned int w = wanted == 0 ? image->width() - x : std::min(wanted, image->width() - x);
    const unsigned int h =
        wantedHeight == 0 ? image->height() - y : std::min(wantedHeight, image->height() - y);
    ImgRefPtr out = likeImage(image, w, h);
    if (!made(out, reason)) return out;
    for (int c = 0; c < image->channelCount(); ++c) {
        withSamples(*image, c, [&](auto* in) {
            using T = std::remove_pointer_t<decltype(in)>;
            T* to = samplesOf<T>(out, c);
            for (unsigned int row = 0; row < h; ++row) {
                const T* from = in + std::size_t(y + row) * image->width() + x;
                std::copy(from, from + w, to + std::size_t(row) * w);
            }
        });
    }
    return out;
}

// ---- Binning ------------------------------------------------------------------------

Binning::Binning() : ImageOperator("Binning") {
    addProperty("Factor", 2u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Side of the square block that becomes one sample, "
                                        "from 1 to 16."));
    addProperty("Mode", 0LL, std::vector<std::string>{"Average", "Sum"}, enum_property,
                read_write_access, 0,
                PropertyText::permanent("Average: the block's mean, rounded. Sum: the block's "
                                        "sum, saturated to the sample type's range."));
}

std::string Binning::help() const {
    return "Combines blocks of n x n samples into one, by their mean or sum.";
}

ImgRefPtr Binning::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const unsigned int factor = uintProperty("Factor");
    if (factor < 1 || factor > maxFactor) {
        reason = "Factor " + std::to_string(factor) + " is out of its range 1 to " +
                 std::to_string(maxFactor);
        return ImgRefPtr();
    }
    const unsigned int w = image->width() / factor, h = image->height() / factor;
    if (w == 0 || h == 0) {
        reason = "the image of " + std::to_string(image->width()) + " x " +
                 std::to_string(image->height()) + " is smaller than one block of " +
                 std::to_string(factor) + " x " + std::to_string(factor);
        return ImgRefPtr();
    }
    const bool sum = textProperty("Mode") == "Sum";
    ImgRefPtr out = likeImage(image, w, h);
    if (!made(out, reason)) return out;
    for (int c = 0; c < image->channelCount(); ++c) {
        const Channel& channel = *image->channel(c);
        const double top = channel.isInteger() ? std::ldexp(1.0, int(channel.bitDepth())) - 1
                                               : std::numeric_limits<float>::max();
        withSamples(*image, c, [&](auto* in) {
            using T = std::remove_pointer_t<decltype(in)>;
            T* to = samplesOf<T>(out, c);
            for (unsigned int by = 0; by < h; ++by) {
                for (unsigned int bx = 0; bx < w; ++bx) {
                    double total = 0;
                    for (unsigned int dy = 0; dy < factor; ++dy) {
                        const T* row = in + std::size_t(by * factor + dy) * image->width();
                        for (unsigned int dx = 0; dx < factor; ++dx) total += row[bx * factor + dx];
                    }
                    double value = sum ? std::min(total, top) : total / (factor * factor);
                    if (std::is_integral<T>::value) value = std::round(value);
                    to[std::size_t(by) * w + bx] = static_cast<T>(value);
                }
            }
        });
    }
    return out;
}

}  // namespace KorvaneSample
