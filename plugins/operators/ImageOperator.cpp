#include "ImageOperator.h"

#include <korvane/image/Channel.h>
#include <korvane/image/ImageManager.h>
#include <korvane/log/LogFunctions.h>

namespace KorvaneSample {

using namespace Korvane;

ImageOperator::ImageOperator(std::string typeName) : m_typeName(std::move(typeName)) {
    addBufferSlot("In", "Image", slot_input, "Images to process.", false);
    addBufferSlot("Out", "Image", slot_output, "The processed images.", false);
}

bool ImageOperator::init() {
    m_in = bufferSlot("In");
    m_out = bufferSlot("Out");
    return m_in.isValid() && m_out.isValid();
}

bool ImageOperator::execute() {
    ImgRefPtr image;
    if (!images(m_in).pop(image)) return false;
    if (image.isNull()) {
        korvLogError(m_typeName + ": received an empty image");
        return false;
    }
    std::string reason;
    ImgRefPtr result = transform(image, reason);
    if (result.isNull()) {
        korvLogError(m_typeName + ": " + reason);
        return false;
    }
    return images(m_out).push(result);
}

bool ImageOperator::cleanup() {
    m_in = m_out = BufferRefPtr();
    return true;
}

ImgRefPtr ImageOperator::makeImage(unsigned int quantumId, unsigned int width, unsigned int height,
                                   int channels) {
    return ImageManager::get()->createAnonymous(quantumId, width, height,
                                                static_cast<unsigned int>(channels));
}

bool ImageOperator::supported(Image& image, bool withFloat) {
    if (image.channelCount() < 1) return false;
    ChannelRefPtr first = image.channel(0);
    switch (first->quantumId()) {
        case uint8Samples:
        case uint16Samples:
            return true;
        case float32Samples:
            return withFloat;
        default:
            return false;
    }
}

std::string ImageOperator::unsupportedText(Image& image) {
    if (image.channelCount() < 1) return "unsupported image without channels";
    return "unsupported sample type of " + std::to_string(image.bitDepth()) + " bits (" +
           (image.isInteger() ? (image.isSigned() ? "signed" : "unsigned") : "floating") + ")";
}

bool ImageOperator::accepts(Image& image, bool withFloat, std::string& reason) {
    if (supported(image, withFloat)) return true;
    reason = unsupportedText(image);
    return false;
}

bool ImageOperator::made(const ImgRefPtr& out, std::string& reason) {
    if (out.isValid()) return true;
    reason = "could not make the output image";
    return false;
}

unsigned int ImageOperator::uintProperty(const char* name) const {
    unsigned int value = 0;
    getProperty(name, &value);
    return value;
}

double ImageOperator::doubleProperty(const char* name) const {
    double value = 0;
    getProperty(name, &value);
    return value;
}

std::string ImageOperator::textProperty(const char* name) const {
    std::string value;
    getProperty(name, &value);
    return value;
}

}  // namespace KorvaneSample
