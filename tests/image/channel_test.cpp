#include <gtest/gtest.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>

#include <cstdint>
#include <limits>
#include <utility>

using namespace Korvane;

namespace {

template <class T>
void expectType(unsigned int quantumId, bool integer, bool isSigned, double min, double max) {
    SCOPED_TRACE(quantumId);
    ChannelTemplate<T> channel(3, 2);
    EXPECT_EQ(channel.quantumId(), quantumId);
    EXPECT_EQ(channel.bitDepth(), sizeof(T) * 8);
    EXPECT_EQ(channel.quantumSize(), sizeof(T));
    EXPECT_EQ(channel.stride(), 3 * sizeof(T));
    EXPECT_EQ(channel.sizeInBytes(), 6 * sizeof(T));
    EXPECT_EQ(channel.isInteger(), integer);
    EXPECT_EQ(channel.isSigned(), isSigned);
    EXPECT_EQ(channel.minValue(), min);
    EXPECT_EQ(channel.maxValue(), max);
}

// Reaches the channel resizing that the library keeps for image subclasses.
class ResizingImage : public Image {
public:
    static void resize(Channel& channel, unsigned int width, unsigned int height) {
        setChannelLogicalSize(channel, width, height);
    }
};

}  // namespace

TEST(Channel, EachSampleTypeHasItsFixedDescription) {
    EXPECT_EQ(Channel::makeQuantumId(16, false, true), 257u);
    EXPECT_EQ(Channel::makeQuantumId(32, true, false), 514u);
    expectType<unsigned char>(129, true, false, 0, 255);
    expectType<unsigned short>(257, true, false, 0, 65535);
    expectType<unsigned int>(513, true, false, 0, 4294967295.0);
    expectType<std::uint64_t>(1025, true, false, 0, 18446744073709551615.0);
    expectType<signed char>(131, true, true, -128, 127);
    expectType<short>(259, true, true, -32768, 32767);
    expectType<int>(515, true, true, -2147483648.0, 2147483647.0);
    expectType<std::int64_t>(1027, true, true, -9223372036854775808.0, 9223372036854775807.0);
    // The floating minimum is the smallest positive normal value, not the most negative.
    expectType<float>(514, false, true, 1.1754943508222875e-38, 3.4028234663852886e+38);
    expectType<double>(1026, false, true, 2.2250738585072014e-308, 1.7976931348623157e+308);
}

TEST(Channel, SetBitDepthNarrowsOnlyIntegerRanges) {
    ChannelTemplate<unsigned short> unsignedChannel(1, 1);
    ChannelTemplate<short> signedChannel(1, 1);
    ChannelTemplate<float> floating(1, 1);
    unsignedChannel.setBitDepth(12);
    signedChannel.setBitDepth(12);
    floating.setBitDepth(16);
    EXPECT_EQ(std::make_pair(unsignedChannel.minValue(), unsignedChannel.maxValue()),
              std::make_pair(0.0, 4095.0));
    EXPECT_EQ(std::make_pair(signedChannel.minValue(), signedChannel.maxValue()),
              std::make_pair(-2048.0, 2047.0));
    EXPECT_EQ(floating.bitDepth(), 16u);
    EXPECT_EQ(floating.maxValue(), static_cast<double>(std::numeric_limits<float>::max()));
}

TEST(Channel, LogicalSizeStaysWithinAllocation) {
    ChannelTemplate<unsigned short> channel(10, 10);
    ResizingImage::resize(channel, 20, 20);
    ResizingImage::resize(channel, 0x10000, 0x10000);  // wraps to 0 in 32 bits
    EXPECT_EQ(std::make_pair(channel.width(), channel.height()), std::make_pair(10u, 10u));
    ResizingImage::resize(channel, 25, 2);
    EXPECT_EQ(channel.stride(), 50u);
    EXPECT_EQ(channel.sizeInBytes(), 100u);
}

TEST(Channel, SizeBeyond32BitsGivesNoArray) {
    // 0x10000 x 0x10001 wraps to 0x10000: a naive product would allocate that few.
    ChannelTemplate<unsigned char> channel(0x10000, 0x10001);
    EXPECT_EQ(channel.rawBuffer(), nullptr);
    EXPECT_EQ(channel.width(), 0u);
    EXPECT_EQ(channel.sizeInBytes(), 0u);
    EXPECT_EQ(channel.createCopy(0x10000, 0x10000), nullptr);
    ChannelTemplate<double> doubles(1, 1);
    EXPECT_EQ(doubles.createCopy(0x8000, 0x8000), nullptr);  // 8 GiB
    EXPECT_EQ(doubles.createCopy(0xFFFFFFFFu, 0), nullptr);  // no samples, but the row
}
