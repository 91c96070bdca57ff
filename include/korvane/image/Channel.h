#pragma once
// A Channel is one plane of an image: a contiguous array of samples of one numeric
// type, owned by the channel and shared through ChannelRefPtr. ChannelTemplate<T>
// exists for exactly the ten sample types below, instantiated once in the library so
// that the core, hosts and plug-ins share one definition. Samples start uninitialised.
// No lock: one producer writes a channel before handing its image on.
//
// Decision: a channel whose byte count (width x height x quantum size) or row length
// (quantum size x width) does not fit 32 bits, or whose array cannot be allocated, is
// made 0 x 0 without an array; createCopy answers null for such a size.

#include <korvane/core/Export.h>

#include <cstdint>
#include <iosfwd>

namespace Korvane {

class Image;

class KORVANE_API Channel {
public:
    Channel(const Channel&) = default;
    Channel& operator=(const Channel&) = default;
    virtual ~Channel();

    // Zeroes the samples of the logical size.
    virtual void clear() = 0;
    // A new channel of the same sample type and the given size; the samples are not
    // copied. Null when that size cannot be made (see above).
    virtual Channel* createCopy(unsigned int width, unsigned int height) = 0;
    // Exactly sizeInBytes() bytes, in memory order. A short stream fills what it holds
    // and leaves the stream failed; the remaining samples keep their values.
    virtual void read(std::istream& in) = 0;
    virtual void write(std::ostream& out) const = 0;
    virtual unsigned char* rawBuffer() const = 0;

    bool isInteger() const { return m_integer; }
    bool isSigned() const { return m_signed; }
    unsigned int bitDepth() const { return m_bitDepth; }
    unsigned int quantumSize() const { return m_quantumSize; }
    unsigned int quantumId() const { return m_quantumId; }
    double minValue() const { return m_minValue; }
    double maxValue() const { return m_maxValue; }
    unsigned int stride() const { return m_stride; }
    unsigned int step() const { return m_step; }
    unsigned int width() const { return m_width; }
    unsigned int height() const { return m_height; }
    unsigned int quantumCount() const { return m_width * m_height; }
    unsigned int sizeInBytes() const { return m_width * m_height * m_quantumSize; }

    void setMinValue(double value) { m_minValue = value; }
    void setMaxValue(double value) { m_maxValue = value; }
    // The significant bits of a sample (12 in a 16-bit sample, say). An integer
    // channel's range follows them; a floating channel keeps its range.
    void setBitDepth(unsigned int bits);

    // bits x 16 + (signed ? 2 : 0) + (integer ? 1 : 0); 129 is 8-bit unsigned.
    static unsigned int makeQuantumId(char bits, bool isSigned, bool isInteger);

protected:
    Channel();

    bool m_integer = false;
    bool m_signed = false;
    unsigned int m_bitDepth = 0;
    unsigned int m_quantumSize = 0;
    unsigned int m_quantumId = 0;
    double m_minValue = 0.0;
    double m_maxValue = 0.0;
    unsigned int m_offset = 0;  // always 0: the first sample starts the array
    unsigned int m_stride = 0;  // bytes per row
    unsigned int m_step = 0;    // bytes between neighbouring samples of a row
    unsigned int m_width = 0;
    unsigned int m_height = 0;
    unsigned int m_allocatedCount = 0;  // samples in the array

private:
    // Image subclasses resize their channels through Image::setChannelLogicalSize.
    friend class Image;

    unsigned int allocatedCount() const { return m_allocatedCount; }
    // Shrinks or regrows the logical size within the allocation; a size that needs
    // more samples than were allocated changes nothing.
    void setLogicalSize(unsigned int width, unsigned int height);
};

// One per sample type: unsigned char, unsigned short, unsigned int, std::uint64_t,
// signed char, short, int, std::int64_t, float, double.
template <class T>
class KORVANE_API ChannelTemplate : public Channel {
public:
    ChannelTemplate(unsigned int width, unsigned int height);
    ChannelTemplate(const ChannelTemplate&) = delete;
    ChannelTemplate& operator=(const ChannelTemplate&) = delete;
    ~ChannelTemplate() override;

    void clear() override;
    Channel* createCopy(unsigned int width, unsigned int height) override;
    void read(std::istream& in) override;
    void write(std::ostream& out) const override;
    unsigned char* rawBuffer() const override;

    // The samples, typed; null for a channel without an array.
    T* data() const { return m_data; }

private:
    T* m_data = nullptr;  // owned; m_allocatedCount samples
};

extern template class KORVANE_API ChannelTemplate<unsigned char>;
extern template class KORVANE_API ChannelTemplate<unsigned short>;
extern template class KORVANE_API ChannelTemplate<unsigned int>;
extern template class KORVANE_API ChannelTemplate<std::uint64_t>;
extern template class KORVANE_API ChannelTemplate<signed char>;
extern template class KORVANE_API ChannelTemplate<short>;
extern template class KORVANE_API ChannelTemplate<int>;
extern template class KORVANE_API ChannelTemplate<std::int64_t>;
extern template class KORVANE_API ChannelTemplate<float>;
extern template class KORVANE_API ChannelTemplate<double>;

}  // namespace Korvane
