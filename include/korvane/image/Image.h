#pragma once
// An Image is a managed object made of channels of equal size and one sample type,
// held by counted handles (ChannelRefPtr), so a channel moved to another image stays
// the same object. Images come from the ImageManager and travel as ImgRefPtr. Only the
// properties are locked: one producer writes the pixels before handing the image on.
// Bad indices, empty handles and mismatched types or sizes are ignored silently.
//
// Decisions: a width x height that does not fit 32 bits makes the image 0 x 0 without
// channels. PixelHint names common layouts, but the library only stores it.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace Korvane {

class Channel;

class KORVANE_API Image : public ManageableType {
public:
    // A free tag for the pixel layout; the library stores it and starts it at NoHint.
    enum PixelHint : std::uint32_t {
        NoHint = 0,
        Mono = 1,
        PlanarRgb = 2,   // three channels: red, green, blue
        PlanarRgba = 3,  // four channels: red, green, blue, alpha
        PackedBgra = 4,  // one 32-bit channel, bytes blue, green, red, alpha
        BayerRggb = 5,   // one channel of raw sensor data, by its first 2 x 2 tile
        BayerGrbg = 6,
        BayerGbrg = 7,
        BayerBggr = 8,
        User = 0x80000000u,  // first value free for plug-ins
    };

    // No channels, 0 x 0.
    Image();
    // One unsigned char channel (quantum id 129).
    Image(unsigned int width, unsigned int height);
    // One channel of quantumId; none when it is 0, not registered, or cannot be made.
    Image(unsigned int quantumId, unsigned int width, unsigned int height);
    Image(const Image&) = delete;
    ~Image() override;

    // A new image of this size with one channel of this image's sample type (unsigned
    // char when it has none); neither samples nor further channels are copied.
    virtual Image* createCopy(unsigned int width, unsigned int height);
    virtual void clear();
    // The raw stream: every channel's bytes in channel order, no header. The image
    // must already have the stream's shape; a short stream leaves the stream failed.
    virtual void read(std::istream& in);
    virtual void write(std::ostream& out) const;
    // Those of the first channel; 0 or false without channels.
    virtual unsigned int bitDepth() const;
    virtual unsigned int pixelSize() const;
    virtual bool isInteger() const;
    virtual bool isSigned() const;
    // True only for plug-in images whose memory belongs to a device or driver.
    virtual bool isNativeType() const;

    unsigned int width() const { return m_width; }
    unsigned int height() const { return m_height; }
    unsigned int pixelCount() const { return m_pixelCount; }

    int channelCount() const { return static_cast<int>(m_channels.size()); }
    ChannelRefPtr channel(unsigned int index);
    // Appends a channel of quantumId made by the ImageManager; when the image has
    // channels, only their quantum id is accepted.
    void addChannel(unsigned int quantumId);
    // Appends one more channel of the first channel's type.
    void addChannel();
    void removeChannel(unsigned int index);
    void swapChannels(unsigned int a, unsigned int b);
    // Moves channel index into target (of the same size) before targetIndex. If target
    // refuses the channel's type, the channel is gone from both.
    void moveChannel(unsigned int index, ImgRefPtr& target, unsigned int targetIndex);

    // The first channel's array; null without channels.
    unsigned char* rawBuffer() const;
    // The bytes of all channels together.
    unsigned int sizeInBytes() const;

    PixelHint pixelHint() const { return m_pixelHint; }
    void setPixelHint(PixelHint hint) { m_pixelHint = hint; }

protected:
    // Sets the size, adds a first channel of quantumId (unless 0 or one exists) and
    // declares "Width" and "Height".
    void init(unsigned int quantumId, unsigned int width, unsigned int height);
    // Ignores an empty handle and a type other than the first channel's; inserts
    // before index, or appends when index is past the end.
    void insertChannel(ChannelRefPtr channel, unsigned int index);

    // For subclasses that reuse their allocation for smaller frames; the library
    // itself never calls them. The channels are resized one by one.
    unsigned int allocPixelCount() const { return m_allocPixelCount; }
    void setAllocPixelCount(unsigned int count) { m_allocPixelCount = count; }
    void setLogicalSize(unsigned int width, unsigned int height);
    static void setChannelLogicalSize(Channel& channel, unsigned int width, unsigned int height);

private:
    // Builds the preset: the records every image declares before its size is known.
    struct PresetTag {};
    explicit Image(PresetTag);
    // Each image starts as a copy of the preset's records, which costs one table copy
    // instead of declaring five properties one by one.
    static const Image& preset();

    std::vector<ChannelRefPtr> m_channels;  // in channel order
    unsigned int m_width = 0;
    unsigned int m_height = 0;
    unsigned int m_pixelCount = 0;
    unsigned int m_allocPixelCount = 0;
    PixelHint m_pixelHint = NoHint;
};

}  // namespace Korvane
