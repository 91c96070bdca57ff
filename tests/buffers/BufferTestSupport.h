#pragma once
// Helpers of the buffer tests: elements that count their live instances, so that a
// test can see whether a buffer keeps, releases or drops what it held, and switching
// a buffer's enumeration properties by item name.

#include <gtest/gtest.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Object.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/events/Event.h>
#include <korvane/image/Image.h>

#include <atomic>
#include <string>

#include "support/BufferFixture.h"

namespace KorvaneTest {

class CountedImage : public Korvane::Image {
public:
    explicit CountedImage(int serial = 0) : serial(serial) { live.fetch_add(1); }
    ~CountedImage() override { live.fetch_sub(1); }

    const int serial;

    static inline std::atomic<int> live{0};
};

class CountedObject : public Korvane::Object {
public:
    CountedObject() { live.fetch_add(1); }
    CountedObject(const CountedObject& other) : Object(other) { live.fetch_add(1); }
    ~CountedObject() override { live.fetch_sub(1); }

    static inline std::atomic<int> live{0};
};

class CountedEvent : public Korvane::UserEvent {
public:
    CountedEvent() : UserEvent("counted") { live.fetch_add(1); }
    ~CountedEvent() override { live.fetch_sub(1); }

    static inline std::atomic<int> live{0};
};

inline Korvane::ImgRefPtr makeImage(int serial = 0) {
    return Korvane::ImgRefPtr(new CountedImage(serial), nullptr);
}

// The serial number of an image made by makeImage.
inline int serialOf(const Korvane::ImgRefPtr& image) {
    return static_cast<const CountedImage&>(*image).serial;
}

inline Korvane::ObjectRefPtr makeObject() {
    return Korvane::ObjectRefPtr(new CountedObject, nullptr);
}

// Writes an enumeration switch ("PushBlock", "PopBlock", "ThreadingPolicy") by item
// name and applies the batch.
inline void setSwitch(Korvane::PropertyInterface& buffer, const char* name, const char* item) {
    ASSERT_TRUE(buffer.setProperty(name, item)) << name << " = " << item;
    ASSERT_TRUE(buffer.endPropertyChange());
}

}  // namespace KorvaneTest
