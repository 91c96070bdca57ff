#include <gtest/gtest.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>

using namespace Korvane;

namespace {

// Quantum id, integer, signed, minimum and maximum of a 3 x 2 channel of T, with the
// sizes that follow from T checked on the way.
template <class T>
std::tuple<unsigned int, bool, bool, double, double> described() {
    ChannelTemplate<T> channel(3, 2);
    EXPECT_EQ(channel.bitDepth() + channel.quantumSize() + channel.stride() + channel.sizeInBytes(),
              sizeof(T) * (8 + 1 + 3 + 6));
    return {channel.quantumId(), channel.isInteger(), channel.isSigned(), channel.minValue(),
            channel.maxValue()};
}

// Reaches the channel resizing that the library keeps for image subclasses.
class ResizingImage : public Image {
public:
    static void resize(Channel& channel, unsigned int width, unsigned int height) {
        setChannelLogicalSize(channel, width, height);
    }
};

ImgRefPtr makeImage(unsigned int quantumId, unsigned int width, unsigned int height, int channels) {
    ImgRefPtr image(new Image(quantumId, width, height), nullptr);
    while (image->channelCount() < channels) image->addChannel();
    return image;
}

}  // namespace

TEST(Channel, EachSampleTypeHasItsFixedDescription) {
    using D = std::tuple<unsigned int, bool, bool, double, double>;
    EXPECT_EQ(Channel::makeQuantumId(16, false, true), 257u);
    EXPECT_EQ(Channel::makeQuantumId(32, true, false), 514u);
    EXPECT_EQ(described<unsigned char>(), D(129, true, false, 0, 255));
    EXPECT_EQ(described<unsigned short>(), D(257, true, false, 0, 65535));
    EXPECT_EQ(described<unsigned int>(), D(513, true, false, 0, 4294967295.0));
    EXPECT_EQ(described<std::uint64_t>(), D(1025, true, false, 0, 18446744073709551615.0));
    EXPECT_EQ(described<signed char>(), D(131, true, true, -128, 127));
    EXPECT_EQ(described<short>(), D(259, true, true, -32768, 32767));
    EXPECT_EQ(described<int>(), D(515, true, true, -2147483648.0, 2147483647.0));
    EXPECT_EQ(described<std::int64_t>(),
              D(1027, true, true, -9223372036854775808.0, 9223372036854775807.0));
    // The floating minimum is the smallest positive normal value, not the most negative.
    EXPECT_EQ(described<float>(),
              D(514, false, true, 1.1754943508222875e-38, 3.4028234663852886e+38));
    EXPECT_EQ(described<double>(),
              D(1026, false, true, 2.2250738585072014e-308, 1.7976931348623157e+308));
}

TEST(Channel, SetBitDepthNarrowsOnlyIntegerRanges) {
    ChannelTemplate<unsigned short> unsignedChannel(1, 1);
    ChannelTemplate<short> signedChannel(1, 1);
    ChannelTemplate<float> floating(1, 1);
    unsignedChannel.setBitDepth(12);
    signedChannel.setBitDepth(12);
    floating.setBitDepth(16);
    EXPECT_EQ(unsignedChannel.maxValue(), 4095.0);
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
    EXPECT_EQ(channel.stride() + channel.sizeInBytes(), 150u);
}

TEST(Channel, SizeBeyond32BitsGivesNoArray) {
    // 0x10000 x 0x10001 wraps to 0x10000: a naive product would allocate that few.
    ChannelTemplate<unsigned char> channel(0x10000, 0x10001);
    EXPECT_EQ(channel.rawBuffer(), nullptr);
    EXPECT_EQ(channel.width() + channel.sizeInBytes(), 0u);
    EXPECT_EQ(channel.createCopy(0x10000, 0x10000), nullptr);
    ChannelTemplate<double> doubles(1, 1);
    EXPECT_EQ(doubles.createCopy(0x8000, 0x8000), nullptr);  // 8 GiB
    EXPECT_EQ(doubles.createCopy(0xFFFFFFFFu, 0), nullptr);  // no samples, but the row
}

TEST(Image, WidthAndHeightGiveOneByteChannel) {
    Image image(640, 480);
    ASSERT_EQ(image.channelCount(), 1);
    EXPECT_EQ(image.channel(0)->quantumId(), 129u);
    EXPECT_EQ(image.sizeInBytes(), 307200u);
    unsigned int width = 0;
    EXPECT_TRUE(image.getProperty("Width", &width) && width == 640u);
    EXPECT_FALSE(image.setProperty("Width", 5u));
    EXPECT_EQ(image.propertyDescription("Status"), "Status of the image.");
    EXPECT_EQ(image.propertyDescription("Metadata"), "Image's metadata.");
    EXPECT_TRUE(image.setProperty("Metadata", std::string("exposure=5")));
    image.addChannel(257);  // another sample type is refused
    EXPECT_EQ(image.channelCount(), 1);
    image.addChannel();
    EXPECT_EQ(image.channelCount(), 2);
}

TEST(Image, IndicesOutOfRangeAreIgnored) {
    ImgRefPtr image = makeImage(129, 2, 2, 2);
    ChannelRefPtr first = image->channel(0);
    image->swapChannels(0, 5);
    image->removeChannel(2);
    EXPECT_EQ(image->channelCount(), 2);
    EXPECT_EQ(image->channel(0), first);
    EXPECT_TRUE(image->channel(2).isNull());
    image->swapChannels(0, 1);
    EXPECT_EQ(image->channel(1), first);
}

TEST(Image, MoveChannelHandsOverTheSameObject) {
    ImgRefPtr source = makeImage(257, 3, 3, 3);
    ImgRefPtr target = makeImage(257, 3, 3, 1);
    ImgRefPtr otherSize = makeImage(257, 3, 4, 1);
    ImgRefPtr otherType = makeImage(129, 3, 3, 1);
    ChannelRefPtr moved = source->channel(1);
    source->moveChannel(1, otherSize, 0);
    EXPECT_EQ(source->channelCount(), 3);
    source->moveChannel(1, target, 0);
    EXPECT_EQ(target->channel(0), moved);
    // A target of another sample type refuses the channel: it is gone from both.
    source->moveChannel(0, otherType, 0);
    EXPECT_EQ(source->channelCount() + otherType->channelCount(), 2);
}

TEST(Image, CreateCopyHasOneChannelOfTheFirstType) {
    std::unique_ptr<Image> copy(makeImage(514, 4, 4, 3)->createCopy(10, 10));
    ASSERT_EQ(copy->channelCount(), 1);
    EXPECT_EQ(copy->channel(0)->quantumId(), 514u);
    EXPECT_EQ(copy->channel(0)->quantumCount(), 100u);
}

TEST(Image, WriteThenReadReproducesEveryChannelAndAShortStreamFails) {
    ImgRefPtr source = makeImage(257, 5, 4, 3);
    for (int c = 0; c < 3; ++c)
        for (int i = 0; i < 40; ++i) source->channel(c)->rawBuffer()[i] = c * 40 + i;
    std::stringstream stream;
    source->write(stream);
    EXPECT_EQ(stream.str().size(), source->sizeInBytes());
    ImgRefPtr target = makeImage(257, 5, 4, 3);
    target->read(stream);
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(memcmp(source->channel(c)->rawBuffer(), target->channel(c)->rawBuffer(), 40), 0);

    ImgRefPtr image = makeImage(129, 2, 2, 2);
    image->clear();
    std::istringstream shortStream(std::string(5, '\x09'));
    image->read(shortStream);
    EXPECT_TRUE(shortStream.fail());
    EXPECT_EQ(image->channel(1)->rawBuffer()[0] * 10 + image->channel(1)->rawBuffer()[1], 90);
}

TEST(Image, SizeBeyond32BitsGivesNoChannel) {
    Image wrapping(129u, 0x10000u, 0x10001u);  // the pixel count itself does not fit
    EXPECT_EQ(wrapping.channelCount(), 0);
    EXPECT_EQ(wrapping.pixelCount(), 0u);
    Image doubles(1026u, 40000u, 40000u);  // the pixels fit, their bytes do not
    EXPECT_EQ(doubles.channelCount(), 0);
    EXPECT_EQ(doubles.rawBuffer(), nullptr);
}
