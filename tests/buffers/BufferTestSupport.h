#pragma once
// Helpers of the buffer tests: images that count their live instances (to see whether
// a buffer keeps or releases what it held) and switching an enumeration by item name.

#include <gtest/gtest.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/core/Handles.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/image/Image.h>

#include <atomic>
#include <string>

#include "support/BufferFixture.h"

namespace KorvaneTest {

using StringFifo = Korvane::FifoTemplate<std::string>;
using StringRing = Korvane::RingTemplate<std::string>;
const char* const policies[] = {"Single-threaded", "Multi-threaded"};

class CountedImage : public Korvane::Image {
public:
    explicit CountedImage(int serial) : serial(serial) { live.fetch_add(1); }
    ~CountedImage() override { live.fetch_sub(1); }

    const int serial;
    static inline std::atomic<int> live{0};
};

inline Korvane::ImgRefPtr makeImage(int serial = 0) {
    return Korvane::ImgRefPtr(new CountedImage(serial), nullptr);
}

inline int serialOf(const Korvane::ImgRefPtr& image) {
    return static_cast<const CountedImage&>(*image).serial;
}

// Writes "PushBlock", "PopBlock" or "ThreadingPolicy" by item name and applies it.
inline void setSwitch(Korvane::PropertyInterface& buffer, const char* name, const char* item) {
    ASSERT_TRUE(buffer.setProperty(name, item)) << name << " = " << item;
    ASSERT_TRUE(buffer.endPropertyChange());
}

}  // namespace KorvaneTest
