#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImagePool.h>

#include <cstring>
#include <memory>

using namespace Korvane;

TEST(ImagePool, FramesHaveThePoolsShape) {
    ImagePool pool(257, 32, 16, 2, 3);
    ImgRefPtr frame = pool.acquire();
    ASSERT_TRUE(frame.isValid());
    EXPECT_EQ(frame->width(), 32u);
    EXPECT_EQ(frame->height(), 16u);
    ASSERT_EQ(frame->channelCount(), 3);
    EXPECT_EQ(frame->channel(2)->quantumId(), 257u);
    EXPECT_EQ(pool.capacity(), 2u);
}

TEST(ImagePool, AFrameComesBackOnlyWhenNobodyElseHoldsIt) {
    ImagePool pool(129, 8, 8, 4);
    EXPECT_EQ(pool.frameCount(), 0u);
    ImgRefPtr first = pool.acquire();
    ImgRefPtr second = pool.acquire();
    ASSERT_TRUE(first.isValid() && second.isValid());
    EXPECT_NE(first, second);
    Image* const firstImage = first.rawPtr();

    // A handle held by a buffer counts like any other.
    FifoTemplate<ImgRefPtr> fifo(4);
    ASSERT_TRUE(fifo.push(first));
    first = ImgRefPtr();
    ImgRefPtr third = pool.acquire();
    EXPECT_NE(third.rawPtr(), firstImage);
    EXPECT_EQ(pool.frameCount(), 3u);

    ImgRefPtr popped;
    ASSERT_TRUE(fifo.pop(popped));
    popped = ImgRefPtr();
    EXPECT_EQ(pool.acquire().rawPtr(), firstImage);
    EXPECT_EQ(pool.frameCount(), 3u) << "a free frame was there, yet a new one was made";
}

TEST(ImagePool, AllFramesInUseGiveAnEmptyHandle) {
    ImagePool pool(129, 8, 8, 2);
    ImgRefPtr a = pool.acquire();
    ImgRefPtr b = pool.acquire();
    EXPECT_TRUE(pool.acquire().isNull());
    EXPECT_EQ(pool.frameCount(), 2u);
    Image* const released = b.rawPtr();
    b = ImgRefPtr();
    EXPECT_EQ(pool.acquire().rawPtr(), released);

    ImagePool none(129, 8, 8, 0);
    EXPECT_TRUE(none.acquire().isNull());
}

TEST(ImagePool, AFrameThatCannotBeMadeGivesAnEmptyHandle) {
    ImagePool pool(129, 70000, 70000, 2);  // width x height does not fit 32 bits
    EXPECT_TRUE(pool.acquire().isNull());
    EXPECT_EQ(pool.frameCount(), 0u);
}

TEST(ImagePool, FramesOutliveThePool) {
    ImgRefPtr frame;
    {
        ImagePool pool(129, 16, 16, 1);
        frame = pool.acquire();
    }
    ASSERT_TRUE(frame.isValid());
    std::memset(frame->rawBuffer(), 7, frame->sizeInBytes());
    EXPECT_EQ(frame->rawBuffer()[255], 7);
}

TEST(ImagePool, ARecycledFrameKeepsWhatItsLastUserLeft) {
    ImagePool pool(129, 4, 4, 1);
    ImgRefPtr frame = pool.acquire();
    frame->rawBuffer()[0] = 42;
    frame->setProperty("Status", std::string("seen"));
    frame = ImgRefPtr();
    frame = pool.acquire();
    EXPECT_EQ(frame->rawBuffer()[0], 42);
    std::string status;
    frame->getProperty("Status", &status);
    EXPECT_EQ(status, "seen");
}
