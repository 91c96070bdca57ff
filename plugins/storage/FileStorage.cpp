#include "FileStorage.h"

#include <korvane/log/LogFunctions.h>

#include <cctype>
#include <cstdio>
#include <cstring>

namespace KorvaneSample {

using namespace Korvane;

bool FileStorage::failed(const std::string& message) const {
    korvLogError(m_typeName + ": " + message);
    return false;
}

bool FileStorage::failedOn(const std::string& what, const char* fileName, int error) const {
    std::string message = what + " \"" + (fileName ? fileName : "") + "\"";
    if (error != 0) message += std::string(": ") + std::strerror(error);
    return failed(message);
}

bool FileStorage::saveFailed(const std::string& what, const char* fileName, int error) const {
    if (fileName) std::remove(fileName);
    return failedOn(what, fileName, error);
}

std::string FileStorage::formatOf(const char* fileName) {
    std::string format = extension(fileName ? fileName : "");
    for (char& c : format) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return format;
}

unsigned int FileStorage::sampleType(Image& image) {
    return image.channelCount() > 0 ? image.channel(0)->quantumId() : 0;
}

std::string FileStorage::sampleTypeText(Image& image) {
    switch (sampleType(image)) {
        case storedUint8:
            return "8-bit unsigned";
        case storedUint16:
            return "16-bit unsigned";
        case storedFloat32:
            return "32-bit float";
        case 0:
            return "no samples";
        default:
            return std::to_string(image.pixelSize() * 8) + "-bit " +
                   (image.isInteger() ? (image.isSigned() ? "signed" : "unsigned") : "float");
    }
}

unsigned int FileStorage::topValue(Image& image) {
    const unsigned int bits = image.bitDepth();
    return bits >= 32 ? 0xffffffffu : (1u << bits) - 1;
}

void FileStorage::framesRead(unsigned int read, unsigned int count) {
    setPropertyForce("FrameCount", count);
    setPropertyForce("FrameId", read + 1 < count ? read + 1 : 0u);
}

unsigned int FileStorage::wantedFrame() const {
    unsigned int frame = 0;
    getProperty("FrameId", &frame);
    return frame;
}

}  // namespace KorvaneSample
