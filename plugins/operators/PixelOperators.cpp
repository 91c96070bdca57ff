#include "PixelOperators.h"

#include <korvane/image/Channel.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/LutManager.h>
#include <korvane/log/LogFunctions.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace KorvaneSample {

using namespace Korvane;

namespace {

// The top of a channel's range: 2^bitDepth - 1 for integers, 1 for floats.
double rangeTop(Channel& channel) {
    if (!channel.isInteger()) return 1.0;
    return std::ldexp(1.0, static_cast<int>(channel.bitDepth())) - 1.0;
}

template <class T>
T saturated(double value, double top) {
    if (std::is_floating_point<T>::value) return static_cast<T>(value);
    return static_cast<T>(std::lround(std::clamp(value, 0.0, top)));
}

}  // namespace

// ---- ApplyLut -----------------------------------------------------------------------

ApplyLut::ApplyLut() : ImageOperator("ApplyLut") {
    addProperty("Lut", "Grey8Bit", string_property, read_write_access, 0,
                PropertyText::permanent("Type of the look-up table in the LutManager, for "
                                        "example \"Grey8Bit\" or \"Grey16Bit\"."));
}

bool ApplyLut::init() {
    if (!ImageOperator::init()) return false;
    const std::string type = textProperty("Lut");
    std::string name = "ApplyLut";
    m_lut = LutManager::get()->create(type.c_str(), name, true);
    if (m_lut.isNull()) korvLogError("ApplyLut: unknown look-up table \"" + type + "\"");
    return m_lut.isValid();
}

bool ApplyLut::cleanup() {
    if (m_lut.isValid()) LutManager::get()->releaseInstance(m_lut->name().c_str());
    m_lut = LutRefPtr();
    return ImageOperator::cleanup();
}

std::string ApplyLut::help() const {
    return "Turns grey images into four-byte colour images through a look-up table.";
}

ImgRefPtr ApplyLut::transform(const ImgRefPtr& image, std::string& reason) {
    if (image->channelCount() != 1) {
        reason = "needs a grey image of one channel";
        return ImgRefPtr();
    }
    if (!accepts(*image, false, reason)) return ImgRefPtr();
    ImgRefPtr out =
        ImageManager::get()->createAnonymous("RgbaImage", image->width(), image->height(), 1);
    if (!made(out, reason)) return out;
    out->setPixelHint(Image::PackedBgra);
    m_lut->applyLut(image->rawBuffer(), image->pixelCount(), image->pixelSize(),
                    reinterpret_cast<RGBQUAD*>(out->rawBuffer()));
    return out;
}

// ---- Threshold ----------------------------------------------------------------------

Threshold::Threshold() : ImageOperator("Threshold") {
    addProperty("Level", 128.0, double_property, read_write_access, 0,
                PropertyText::permanent("Samples at or above this value are set, the others "
                                        "cleared."));
    addProperty("Mode", 0LL, std::vector<std::string>{"Binary", "Inverted"}, enum_property,
                read_write_access, 0,
                PropertyText::permanent("Binary: set means the top of the range, cleared 0. "
                                        "Inverted: the other way round."));
}

std::string Threshold::help() const {
    return "Sets samples at or above a level to the top of the range and the others to 0.";
}

ImgRefPtr Threshold::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const double level = doubleProperty("Level");
    const bool inverted = textProperty("Mode") == "Inverted";
    ImgRefPtr out = ImageManager::get()->createAnonymous(image, image->width(), image->height(),
                                                         image->channelCount());
    if (!made(out, reason)) return out;
    for (int c = 0; c < image->channelCount(); ++c) {
        const double top = rangeTop(*image->channel(c));
        out->channel(c)->setBitDepth(image->channel(c)->bitDepth());
        withSamples(*image, c, [&](auto* in) {
            using T = std::remove_pointer_t<decltype(in)>;
            auto* target = reinterpret_cast<T*>(out->channel(c)->rawBuffer());
            const T high = static_cast<T>(inverted ? 0 : top);
            const T low = static_cast<T>(inverted ? top : 0);
            for (unsigned int i = 0; i < image->pixelCount(); ++i)
                target[i] = in[i] >= level ? high : low;
        });
    }
    return out;
}

// ---- ConvertType --------------------------------------------------------------------

ConvertType::ConvertType() : ImageOperator("ConvertType") {
    addProperty("Target", 1LL, std::vector<std::string>{"uint8", "uint16", "float32"},
                enum_property, read_write_access, 0,
                PropertyText::permanent("Sample type of the converted images."));
    addProperty("Scaling", 0LL, std::vector<std::string>{"FullRange", "Value"}, enum_property,
                read_write_access, 0,
                PropertyText::permanent("FullRange maps the source's range onto the target's "
                                        "(0 to 2^bits - 1, or 0 to 1 for float); Value keeps "
                                        "each value, saturated to the target's range."));
}

std::string ConvertType::help() const {
    return "Converts images between 8-bit, 16-bit unsigned and 32-bit float samples.";
}

ImgRefPtr ConvertType::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const std::string target = textProperty("Target");
    const unsigned int quantumId = target == "uint8"    ? uint8Samples
                                   : target == "uint16" ? uint16Samples
                                                        : float32Samples;
    const bool fullRange = textProperty("Scaling") == "FullRange";
    ImgRefPtr out = makeImage(quantumId, image->width(), image->height(), image->channelCount());
    if (!made(out, reason)) return out;
    out->setPixelHint(image->pixelHint());
    for (int c = 0; c < image->channelCount(); ++c) {
        const double sourceTop = rangeTop(*image->channel(c));
        const double targetTop = rangeTop(*out->channel(c));
        const double factor = fullRange ? targetTop / sourceTop : 1.0;
        withSamples(*image, c, [&](auto* in) {
            withSamples(*out, c, [&](auto* to) {
                using T = std::remove_pointer_t<decltype(to)>;
                for (unsigned int i = 0; i < image->pixelCount(); ++i)
                    to[i] = saturated<T>(in[i] * factor, targetTop);
            });
        });
    }
    return out;
}

}  // namespace KorvaneSample
