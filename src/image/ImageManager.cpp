#include <korvane/image/Channel.h>
#include <korvane/image/ImageManager.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

namespace Korvane {

namespace {

constexpr std::uint64_t maxUint32 = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned int rgbaQuantumId = 513;

template <class T>
ChannelRefPtr makePrototype() {
    return ChannelRefPtr(new ChannelTemplate<T>(0, 0), nullptr);
}

// The storage width in bits for a sample of `bits` significant bits; 0 when none fits.
unsigned int storageBits(unsigned int bits, bool isInteger) {
    if (bits > 64) return 0;
    if (!isInteger) return bits <= 32 ? 32 : 64;
    if (bits <= 8) return 8;
    if (bits <= 16) return 16;
    return bits <= 32 ? 32 : 64;
}

}  // namespace

ImageManager* ImageManager::get() {
    static ImageManager manager;
    return &manager;
}

ImageManager::ImageManager() {
    registerChannel(makePrototype<unsigned char>());
    registerChannel(makePrototype<unsigned short>());
    registerChannel(makePrototype<unsigned int>());
    registerChannel(makePrototype<std::uint64_t>());
    registerChannel(makePrototype<signed char>());
    registerChannel(makePrototype<short>());
    registerChannel(makePrototype<int>());
    registerChannel(makePrototype<std::int64_t>());
    registerChannel(makePrototype<float>());
    registerChannel(makePrototype<double>());

    const std::pair<const char*, unsigned int> names[] = {
        {"uint8", 129},     {"UInt8Image", 129},   {"uint16", 257},   {"UInt16Image", 257},
        {"uint32", 513},    {"UInt32Image", 513},  {"uint64", 1025},  {"UInt64Image", 1025},
        {"int8", 131},      {"Int8Image", 131},    {"int16", 259},    {"Int16Image", 259},
        {"int32", 515},     {"Int32Image", 515},   {"int64", 1027},   {"Int64Image", 1027},
        {"float32", 514},   {"Float32Image", 514}, {"float64", 1026}, {"Float64Image", 1026},
        {"ByteImage", 129},
    };
    for (const auto& [name, quantumId] : names) registerQuantumName(name, quantumId);

    registerType("Image", ImgRefPtr(new Image, &freeCallback));
    registerType("RgbaImage", ImgRefPtr(new Image, &freeCallback));
}

ImageManager::~ImageManager() = default;

bool ImageManager::releaseInstance(const char* name) {
    if (!name || !*name) return false;
    return Manager::releaseInstance(name);
}

bool ImageManager::cleanUp() {
    return Manager::cleanUp();
}

// ---- anonymous images -----------------------------------------------------------------

ImgRefPtr ImageManager::createAnonymous(unsigned int quantumId, unsigned int width,
                                        unsigned int height, unsigned int channels) {
    MutexLock lock(&m_lock);
    return announcePrivate(buildPrivate(quantumId, width, height, channels, "Image"));
}

ImgRefPtr ImageManager::createAnonymous(unsigned int bits, bool isInteger, bool isSigned,
                                        unsigned int width, unsigned int height,
                                        unsigned int channels) {
    MutexLock lock(&m_lock);
    return announcePrivate(
        makeAnonymousPrivate(bits, isInteger, isSigned, width, height, channels));
}

ImgRefPtr ImageManager::createAnonymous(const char* typeName, unsigned int width,
                                        unsigned int height, unsigned int channels) {
    if (!typeName) return ImgRefPtr();
    MutexLock lock(&m_lock);
    return announcePrivate(makeAnonymousPrivate(typeName, width, height, channels));
}

ImgRefPtr ImageManager::createAnonymous(const ImgRefPtr& prototype, unsigned int width,
                                        unsigned int height, unsigned int channels) {
    MutexLock lock(&m_lock);
    return announcePrivate(makeAnonymousPrivate(prototype, width, height, channels));
}

// ---- named images ---------------------------------------------------------------------

ImgRefPtr ImageManager::create(unsigned int width, unsigned int height, unsigned int bits,
                               std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    return registerPrivate(makeAnonymousPrivate(bits, true, false, width, height, 1), name, unique);
}

ImgRefPtr ImageManager::create(const char* typeName, unsigned int width, unsigned int height,
                               std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    ImgRefPtr image;
    if (typeName) image = makeAnonymousPrivate(typeName, width, height, 1);
    return registerPrivate(image, name, unique);
}

ImgRefPtr ImageManager::create(ImgRefPtr prototype, unsigned int width, unsigned int height,
                               std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const unsigned int channels = prototype.isValid() ? prototype->channelCount() : 0;
    return registerPrivate(makeAnonymousPrivate(prototype, width, height, channels), name, unique);
}

bool ImageManager::addToImagePool(const ImgRefPtr& image, std::string& name, bool unique) {
    if (image.isNull()) return false;
    MutexLock lock(&m_lock);
    return instanceMapInsert(name, image, unique);
}

// ---- channels -------------------------------------------------------------------------

bool ImageManager::registerChannel(const ChannelRefPtr& prototype) {
    if (prototype.isNull()) return false;
    MutexLock lock(&m_lock);
    return m_channelPrototypes.emplace(prototype->quantumId(), prototype).second;
}

ChannelRefPtr ImageManager::createChannel(unsigned int quantumId, unsigned int width,
                                          unsigned int height) {
    MutexLock lock(&m_lock);
    return createChannelPrivate(quantumId, width, height);
}

// ---- private --------------------------------------------------------------------------

bool ImageManager::registerQuantumName(const std::string& name, unsigned int quantumId) {
    MutexLock lock(&m_lock);
    if (m_channelPrototypes.find(quantumId) == m_channelPrototypes.end()) return false;
    return m_quantumNames.emplace(name, quantumId).second;
}

ImgRefPtr ImageManager::makeAnonymousPrivate(unsigned int bits, bool isInteger, bool isSigned,
                                             unsigned int width, unsigned int height,
                                             unsigned int channels) {
    const unsigned int storage = storageBits(bits, isInteger);
    // Floating samples are always signed. storage is at most 64, so it fits a char.
    const unsigned int quantumId =
        Channel::makeQuantumId(static_cast<char>(storage), isSigned || !isInteger, isInteger);
    ImgRefPtr image = buildPrivate(quantumId, width, height, channels, "Image");
    if (image.isNull()) return image;
    for (int i = 0; i < image->channelCount(); ++i) image->channel(i)->setBitDepth(bits);
    return image;
}

ImgRefPtr ImageManager::makeAnonymousPrivate(const std::string& typeName, unsigned int width,
                                             unsigned int height, unsigned int channels) {
    const auto named = m_quantumNames.find(typeName);
    if (named != m_quantumNames.end()) {
        return buildPrivate(named->second, width, height, channels, "Image");
    }
    if (typeName == "Image") return buildPrivate(0, width, height, 0, "Image");
    if (typeName == "RgbaImage") return buildPrivate(rgbaQuantumId, width, height, 1, "RgbaImage");
    return ImgRefPtr();
}

ImgRefPtr ImageManager::makeAnonymousPrivate(const ImgRefPtr& prototype, unsigned int width,
                                             unsigned int height, unsigned int channels) {
    if (prototype.isNull()) return ImgRefPtr();
    const int sources = prototype->channelCount();
    if (sources == 0) channels = 0;
    const unsigned int quantumId = sources > 0 ? prototype->channel(0)->quantumId() : 0;
    const char* type = prototype->type() == "RgbaImage" ? "RgbaImage" : "Image";
    ImgRefPtr image = buildPrivate(quantumId, width, height, channels, type);
    if (image.isNull()) return image;
    for (int i = 0; i < image->channelCount(); ++i) {
        const unsigned int source = static_cast<unsigned int>(std::min(i, sources - 1));
        image->channel(i)->setBitDepth(prototype->channel(source)->bitDepth());
    }
    return image;
}

ImgRefPtr ImageManager::buildPrivate(unsigned int quantumId, unsigned int width,
                                     unsigned int height, unsigned int channels, const char* type) {
    if (!sizeAcceptedPrivate(quantumId, width, height, channels)) return ImgRefPtr();
    try {
        std::unique_ptr<Image> made(new Image(channels == 0 ? 0u : quantumId, width, height));
        ImgRefPtr image(made.get(), &freeCallback);
        made.release();
        // Stops at the first channel that could not be made.
        for (unsigned int n = 1; n < channels && image->channelCount() == static_cast<int>(n);
             ++n) {
            image->addChannel(quantumId);
        }
        const bool knownType = m_channelPrototypes.count(quantumId) != 0;
        if (knownType && image->channelCount() != static_cast<int>(channels)) return ImgRefPtr();
        setInstanceName(image, std::string());
        setInstanceType(image, type);
        return image;
    } catch (const std::bad_alloc&) {
        return ImgRefPtr();
    }
}

ImgRefPtr ImageManager::registerPrivate(const ImgRefPtr& image, std::string& name, bool unique) {
    if (image.isNull() || !instanceMapInsert(name, image, unique)) {
        name.clear();
        return ImgRefPtr();
    }
    // The type was set when the image was made and stays (it is set once).
    return announcePrivate(image);
}

ImgRefPtr ImageManager::announcePrivate(const ImgRefPtr& image) {
    if (image.isValid()) notify(Event::InstanceCreated, image->type(), std::string());
    return image;
}

ChannelRefPtr ImageManager::createChannelPrivate(unsigned int quantumId, unsigned int width,
                                                 unsigned int height) {
    const auto prototype = m_channelPrototypes.find(quantumId);
    if (prototype == m_channelPrototypes.end()) return ChannelRefPtr();
    std::unique_ptr<Channel> made(prototype->second->createCopy(width, height));
    if (!made) return ChannelRefPtr();
    ChannelRefPtr channel(made.get(), nullptr);
    made.release();
    return channel;
}

bool ImageManager::sizeAcceptedPrivate(unsigned int quantumId, unsigned int width,
                                       unsigned int height, unsigned int channels) const {
    const std::uint64_t pixels = std::uint64_t{width} * height;
    if (pixels > maxUint32 || channels > maxChannels) return false;
    const auto prototype = m_channelPrototypes.find(quantumId);
    if (prototype == m_channelPrototypes.end()) return true;  // no channel will be made
    const std::uint64_t quantumSize = prototype->second->quantumSize();
    return pixels * quantumSize * channels <= maxUint32 &&
           std::uint64_t{width} * quantumSize <= maxUint32;
}

}  // namespace Korvane
