// ImagePool: frames recycled only when nobody holds them, and a pool feeding consumers
// on other threads through a FIFO. There the producer stamps every byte of a frame; a
// consumer that finds its frame's bytes changed while it held it has seen the frame
// recycled too early (and ThreadSanitizer reports the race).

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImagePool.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr int frames = 5'000;
#else
constexpr int frames = 50'000;
#endif
constexpr unsigned int frameBytes = 64;
constexpr unsigned int poolCapacity = 6;
constexpr auto deadline = std::chrono::seconds(60);

bool allBytesAre(const ImgRefPtr& frame, unsigned char value) {
    const unsigned char* bytes = frame->rawBuffer();
    return std::all_of(bytes, bytes + frameBytes, [value](unsigned char b) { return b == value; });
}

}  // namespace

TEST(ImagePool, FramesHaveThePoolsShape) {
    ImagePool pool(257, 32, 16, 2, 3);
    ImgRefPtr frame = pool.acquire();
    ASSERT_TRUE(frame.isValid());
    EXPECT_EQ(std::make_pair(frame->width(), frame->height()), std::make_pair(32u, 16u));
    ASSERT_EQ(frame->channelCount(), 3);
    EXPECT_EQ(frame->channel(2)->quantumId(), 257u);
}

TEST(ImagePool, AFrameComesBackOnlyWhenNobodyElseHoldsIt) {
    ImagePool pool(129, 8, 8, 4);
    ImgRefPtr first = pool.acquire(), second = pool.acquire();
    ASSERT_TRUE(first.isValid() && second.isValid() && first != second);
    Image* const firstImage = first.rawPtr();
    // A handle held by a buffer counts like any other.
    FifoTemplate<ImgRefPtr> fifo(4);
    ASSERT_TRUE(fifo.push(first));
    first = ImgRefPtr();
    ImgRefPtr third = pool.acquire();
    EXPECT_NE(third.rawPtr(), firstImage);
    ImgRefPtr popped;
    ASSERT_TRUE(fifo.pop(popped));
    popped = ImgRefPtr();
    EXPECT_EQ(pool.acquire().rawPtr(), firstImage);
    EXPECT_EQ(pool.frameCount(), 3u) << "a free frame was there, yet a new one was made";
}

TEST(ImagePool, AllFramesInUseOrAFrameThatCannotBeMadeGiveAnEmptyHandle) {
    ImagePool pool(129, 8, 8, 2);
    ImgRefPtr a = pool.acquire(), b = pool.acquire();
    EXPECT_TRUE(pool.acquire().isNull());
    Image* const released = b.rawPtr();
    b = ImgRefPtr();
    EXPECT_EQ(pool.acquire().rawPtr(), released);
    EXPECT_TRUE(ImagePool(129, 8, 8, 0).acquire().isNull());
    ImagePool huge(129, 70000, 70000, 2);  // width x height does not fit 32 bits
    EXPECT_TRUE(huge.acquire().isNull());
    EXPECT_EQ(huge.frameCount(), 0u);
}

// Recycled frames are not cleared: the next user gets what the last one left.
TEST(ImagePool, FramesOutliveThePoolAndComeBackUncleared) {
    ImgRefPtr frame;
    {
        ImagePool pool(129, 16, 16, 1);
        frame = pool.acquire();
        frame->rawBuffer()[0] = 42;
        frame = ImgRefPtr();
        frame = pool.acquire();
        EXPECT_EQ(frame->rawBuffer()[0], 42);
    }
    ASSERT_TRUE(frame.isValid());
    std::memset(frame->rawBuffer(), 7, frame->sizeInBytes());
    EXPECT_EQ(frame->rawBuffer()[255], 7);
}

TEST(ImagePoolThreads, NoFrameIsHandedOutWhileAConsumerHoldsIt) {
    auto pool = std::make_shared<ImagePool>(129, frameBytes, 1, poolCapacity);
    auto fifo = std::make_shared<FifoTemplate<ImgRefPtr>>(2);
    auto corrupted = std::make_shared<std::atomic<int>>(0);
    auto received = std::make_shared<std::atomic<int>>(0);
    std::vector<std::future<void>> consumers;
    for (int c = 0; c < 2; ++c) {
        consumers.push_back(startDetached([fifo, corrupted, received] {
            ImgRefPtr frame;
            while (fifo->pop(frame)) {
                const unsigned char stamp = frame->rawBuffer()[0];
                std::this_thread::yield();  // hold it while the producer goes on
                if (!allBytesAre(frame, stamp)) corrupted->fetch_add(1);
                frame = ImgRefPtr();
                received->fetch_add(1);
            }
        }));
    }
    auto producer = startDetached([pool, fifo] {
        for (int n = 0; n < frames; ++n) {
            ImgRefPtr frame = pool->acquire();
            while (frame.isNull()) {
                std::this_thread::yield();
                frame = pool->acquire();
            }
            std::memset(frame->rawBuffer(), n & 0xFF, frameBytes);
            if (!fifo->push(frame)) return;
        }
    });
    ASSERT_EQ(producer.wait_for(deadline), std::future_status::ready) << "producer hangs";
    EXPECT_TRUE(eventually([&] { return received->load() == frames; }, deadline))
        << received->load() << " of " << frames << " frames arrived";
    fifo->notifyAndAbort();
    for (auto& done : consumers) {
        ASSERT_EQ(done.wait_for(deadline), std::future_status::ready) << "consumer not released";
    }
    EXPECT_EQ(corrupted->load(), 0);
    EXPECT_LE(pool->frameCount(), poolCapacity);
}
