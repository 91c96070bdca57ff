#include <gtest/gtest.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>

using namespace Korvane;

namespace {

ImgRefPtr makeImage(unsigned int quantumId, unsigned int width, unsigned int height, int channels) {
    ImgRefPtr image(new Image(quantumId, width, height), nullptr);
    while (image->channelCount() < channels) image->addChannel();
    return image;
}

}  // namespace

TEST(Image, WidthAndHeightGiveOneByteChannel) {
    Image image(640, 480);
    ASSERT_EQ(image.channelCount(), 1);
    EXPECT_EQ(image.channel(0)->quantumId(), 129u);
    EXPECT_EQ(image.sizeInBytes(), 307200u);
    EXPECT_EQ(image.bitDepth(), 8u);
    EXPECT_FALSE(image.isSigned());
    unsigned int width = 0;
    EXPECT_TRUE(image.getProperty("Width", &width));
    EXPECT_EQ(width, 640u);
    EXPECT_FALSE(image.setProperty("Width", 5u));
    EXPECT_EQ(image.propertyDescription("Status"), "Status of the image.");
    EXPECT_EQ(image.propertyDescription("Metadata"), "Image's metadata.");
    EXPECT_TRUE(image.setProperty("Metadata", std::string("exposure=5")));
    EXPECT_TRUE(image.setProperty("Status", std::string("ok")));
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
    EXPECT_EQ(source->channelCount(), 1);
    EXPECT_EQ(otherType->channelCount(), 1);
}

TEST(Image, CreateCopyHasOneChannelOfTheFirstType) {
    ImgRefPtr image = makeImage(514, 4, 4, 3);
    std::unique_ptr<Image> copy(image->createCopy(10, 10));
    ASSERT_EQ(copy->channelCount(), 1);
    EXPECT_EQ(copy->channel(0)->quantumId(), 514u);
    EXPECT_EQ(copy->channel(0)->quantumCount(), 100u);
}

TEST(Image, WriteThenReadReproducesEveryChannel) {
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
}

TEST(Image, ShortStreamFillsWhatItHoldsAndFails) {
    ImgRefPtr image = makeImage(129, 2, 2, 2);
    image->clear();
    std::istringstream stream(std::string(5, '\x09'));
    image->read(stream);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(image->channel(1)->rawBuffer()[0], 9);
    EXPECT_EQ(image->channel(1)->rawBuffer()[1], 0);
}

TEST(Image, SizeBeyond32BitsGivesNoChannel) {
    Image wrapping(129u, 0x10000u, 0x10001u);  // the pixel count itself does not fit
    EXPECT_EQ(wrapping.channelCount(), 0);
    EXPECT_EQ(wrapping.pixelCount(), 0u);
    Image doubles(1026u, 40000u, 40000u);  // the pixels fit, their bytes do not
    EXPECT_EQ(doubles.channelCount(), 0);
    EXPECT_EQ(doubles.rawBuffer(), nullptr);
}
