#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>

#include <cstdint>
#include <limits>
#include <utility>

namespace Korvane {

namespace {

constexpr unsigned int byteQuantumId = 129;

// Declared for every image; as permanent texts they cost no allocation.
const PropertyText& statusDescription() {
    static const PropertyText text = PropertyText::permanent("Status of the image.");
    return text;
}

const PropertyText& metadataDescription() {
    static const PropertyText text = PropertyText::permanent("Image's metadata.");
    return text;
}

}  // namespace

Image::Image() : Image(0u, 0u, 0u) {}

Image::Image(unsigned int width, unsigned int height) : Image(byteQuantumId, width, height) {}

Image::Image(unsigned int quantumId, unsigned int width, unsigned int height)
    : ManageableType(preset()) {
    init(quantumId, width, height);
}

Image::Image(PresetTag) : ManageableType("Image") {
    addProperty("Status", std::string(), string_property, read_write_access, 0,
                statusDescription());
    addProperty("Metadata", std::string(), string_property, read_write_access, 0,
                metadataDescription());
}

const Image& Image::preset() {
    static const Image records{PresetTag{}};
    return records;
}

Image::~Image() = default;

Image* Image::createCopy(unsigned int width, unsigned int height) {
    const unsigned int quantumId = m_channels.empty() ? byteQuantumId : m_channels[0]->quantumId();
    return new Image(quantumId, width, height);
}

void Image::clear() {
    for (const ChannelRefPtr& channel : m_channels) channel->clear();
}

void Image::read(std::istream& in) {
    for (const ChannelRefPtr& channel : m_channels) channel->read(in);
}

void Image::write(std::ostream& out) const {
    for (const ChannelRefPtr& channel : m_channels) channel->write(out);
}

unsigned int Image::bitDepth() const {
    return m_channels.empty() ? 0 : m_channels[0]->bitDepth();
}

unsigned int Image::pixelSize() const {
    return m_channels.empty() ? 0 : m_channels[0]->quantumSize();
}

bool Image::isInteger() const {
    return !m_channels.empty() && m_channels[0]->isInteger();
}

bool Image::isSigned() const {
    return !m_channels.empty() && m_channels[0]->isSigned();
}

bool Image::isNativeType() const {
    return false;
}

ChannelRefPtr Image::channel(unsigned int index) {
    return index < m_channels.size() ? m_channels[index] : ChannelRefPtr();
}

void Image::addChannel(unsigned int quantumId) {
    if (!m_channels.empty() && m_channels[0]->quantumId() != quantumId) return;
    ChannelRefPtr channel = ImageManager::get()->createChannel(quantumId, m_width, m_height);
    if (channel.isValid()) m_channels.push_back(channel);
}

void Image::addChannel() {
    if (!m_channels.empty()) addChannel(m_channels[0]->quantumId());
}

void Image::removeChannel(unsigned int index) {
    if (index < m_channels.size()) m_channels.erase(m_channels.begin() + index);
}

void Image::swapChannels(unsigned int a, unsigned int b) {
    if (a < m_channels.size() && b < m_channels.size()) std::swap(m_channels[a], m_channels[b]);
}

void Image::moveChannel(unsigned int index, ImgRefPtr& target, unsigned int targetIndex) {
    if (index >= m_channels.size() || target.isNull()) return;
    if (target->width() != m_width || target->height() != m_height) return;
    ChannelRefPtr moved = m_channels[index];
    removeChannel(index);
    target->insertChannel(moved, targetIndex);
}

unsigned char* Image::rawBuffer() const {
    return m_channels.empty() ? nullptr : m_channels[0]->rawBuffer();
}

unsigned int Image::sizeInBytes() const {
    unsigned int size = 0;
    for (const ChannelRefPtr& channel : m_channels) size += channel->sizeInBytes();
    return size;
}

void Image::init(unsigned int quantumId, unsigned int width, unsigned int height) {
    if (std::uint64_t{width} * height > std::numeric_limits<std::uint32_t>::max()) {
        width = height = 0;
        quantumId = 0;
    }
    m_width = width;
    m_height = height;
    m_pixelCount = m_allocPixelCount = width * height;
    m_pixelHint = NoHint;
    if (quantumId != 0 && m_channels.empty()) addChannel(quantumId);
    addProperty("Width", width, uint32_property, read_access);
    addProperty("Height", height, uint32_property, read_access);
}

void Image::insertChannel(ChannelRefPtr channel, unsigned int index) {
    if (channel.isNull()) return;
    if (!m_channels.empty() && channel->quantumId() != m_channels[0]->quantumId()) return;
    const auto at = index < m_channels.size() ? m_channels.begin() + index : m_channels.end();
    m_channels.insert(at, channel);
}

void Image::setLogicalSize(unsigned int width, unsigned int height) {
    if (std::uint64_t{width} * height > m_allocPixelCount) return;
    m_width = width;
    m_height = height;
    m_pixelCount = width * height;
}

void Image::setChannelLogicalSize(Channel& channel, unsigned int width, unsigned int height) {
    channel.setLogicalSize(width, height);
}

}  // namespace Korvane
