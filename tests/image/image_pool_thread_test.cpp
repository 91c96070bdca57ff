// A pool feeding consumers on other threads through a FIFO: a frame must never be
// handed out again while a consumer still holds it. The producer stamps every byte of
// a frame; a consumer that finds its frame's bytes changed while it held it has seen
// the frame recycled too early (and ThreadSanitizer reports the race).

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImagePool.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
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
    for (unsigned int i = 0; i < frameBytes; ++i) {
        if (bytes[i] != value) return false;
    }
    return true;
}

}  // namespace

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
