#include <korvane/image/Channel.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <istream>
#include <limits>
#include <new>
#include <ostream>

namespace Korvane {

namespace {

constexpr std::uint64_t maxUint32 = std::numeric_limits<std::uint32_t>::max();

// The fixed description of each sample type.
template <class T>
struct SampleType {
    static constexpr bool integer = std::numeric_limits<T>::is_integer;
    static constexpr bool isSigned = std::numeric_limits<T>::is_signed;
    static constexpr unsigned int size = sizeof(T);
    static constexpr unsigned int bits = sizeof(T) * 8;
    // For floating types min() is the smallest positive normal value, as intended.
    static constexpr double minValue = static_cast<double>(std::numeric_limits<T>::min());
    static constexpr double maxValue = static_cast<double>(std::numeric_limits<T>::max());
};

// True when a channel of this size has a byte count and a row length that fit the
// 32-bit fields and results.
bool fitsIn32Bits(unsigned int width, unsigned int height, unsigned int quantumSize) {
    const std::uint64_t samples = std::uint64_t{width} * height;
    return samples * quantumSize <= maxUint32 && std::uint64_t{width} * quantumSize <= maxUint32;
}

}  // namespace

// ---- Channel ------------------------------------------------------------------------

Channel::Channel() = default;

Channel::~Channel() = default;

void Channel::setBitDepth(unsigned int bits) {
    m_bitDepth = bits;
    if (!m_integer) return;
    if (bits == 0) {
        m_minValue = m_maxValue = 0.0;
    } else if (m_signed) {
        m_minValue = -std::ldexp(1.0, static_cast<int>(bits) - 1);
        m_maxValue = std::ldexp(1.0, static_cast<int>(bits) - 1) - 1.0;
    } else {
        m_minValue = 0.0;
        m_maxValue = std::ldexp(1.0, static_cast<int>(bits)) - 1.0;
    }
}

unsigned int Channel::makeQuantumId(char bits, bool isSigned, bool isInteger) {
    return static_cast<unsigned char>(bits) * 16u + (isSigned ? 2u : 0u) + (isInteger ? 1u : 0u);
}

void Channel::setLogicalSize(unsigned int width, unsigned int height) {
    if (std::uint64_t{width} * height > m_allocatedCount) return;
    m_width = width;
    m_height = height;
    m_step = m_quantumSize;
    m_offset = 0;
    m_stride = m_quantumSize * width;
}

// ---- ChannelTemplate ----------------------------------------------------------------

template <class T>
ChannelTemplate<T>::ChannelTemplate(unsigned int width, unsigned int height) {
    using Type = SampleType<T>;
    m_integer = Type::integer;
    m_signed = Type::isSigned;
    m_bitDepth = Type::bits;
    m_quantumSize = Type::size;
    m_quantumId = makeQuantumId(Type::bits, Type::isSigned, Type::integer);
    m_minValue = Type::minValue;
    m_maxValue = Type::maxValue;
    m_step = Type::size;
    if (!fitsIn32Bits(width, height, Type::size)) return;
    const unsigned int count = width * height;
    if (count > 0) {
        // Deliberately uninitialised: a frame is written by its producer, and touching
        // every page here would cost more than the allocation itself.
        m_data = new (std::nothrow) T[count];
        if (!m_data) return;
    }
    m_width = width;
    m_height = height;
    m_stride = Type::size * width;
    m_allocatedCount = count;
}

template <class T>
ChannelTemplate<T>::~ChannelTemplate() {
    delete[] m_data;
}

template <class T>
void ChannelTemplate<T>::clear() {
    if (m_data) std::memset(m_data, 0, sizeInBytes());
}

template <class T>
Channel* ChannelTemplate<T>::createCopy(unsigned int width, unsigned int height) {
    ChannelTemplate<T>* copy = nullptr;
    try {
        copy = new ChannelTemplate<T>(width, height);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    // The constructor leaves a channel 0 x 0 when it could not make the size asked for.
    if (copy->width() != width || copy->height() != height) {
        delete copy;
        return nullptr;
    }
    return copy;
}

template <class T>
void ChannelTemplate<T>::read(std::istream& in) {
    if (m_data) in.read(reinterpret_cast<char*>(m_data), sizeInBytes());
}

template <class T>
void ChannelTemplate<T>::write(std::ostream& out) const {
    if (m_data) out.write(reinterpret_cast<const char*>(m_data), sizeInBytes());
}

template <class T>
unsigned char* ChannelTemplate<T>::rawBuffer() const {
    return reinterpret_cast<unsigned char*>(m_data);
}

template class ChannelTemplate<unsigned char>;
template class ChannelTemplate<unsigned short>;
template class ChannelTemplate<unsigned int>;
template class ChannelTemplate<std::uint64_t>;
template class ChannelTemplate<signed char>;
template class ChannelTemplate<short>;
template class ChannelTemplate<int>;
template class ChannelTemplate<std::int64_t>;
template class ChannelTemplate<float>;
template class ChannelTemplate<double>;

}  // namespace Korvane
