#include <gtest/gtest.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

using namespace Korvane;

// This program replaces the global allocation functions (the library's calls reach them
// too), so that a test can make allocations fail without exhausting the machine.

namespace {

struct AllocationFailures {
    bool armed = false;
    std::size_t minimumSize = 0;  // fail every allocation at least this large
    long countdown = -1;          // or: fail the allocation after this many successes
};
AllocationFailures failures;

void* allocate(std::size_t size) {
    const bool fail = failures.armed && (failures.countdown >= 0 ? failures.countdown-- == 0
                                                                 : size >= failures.minimumSize);
    if (fail) throw std::bad_alloc();
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

void* allocateOrNull(std::size_t size) noexcept {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Arms the failures for its scope.
struct FailingAllocations {
    FailingAllocations(std::size_t size, long countdown) {
        failures = AllocationFailures{true, size, countdown};
    }
    ~FailingAllocations() { failures = AllocationFailures(); }
    bool fired() const { return failures.countdown < 0; }
};

}  // namespace

// clang-format off
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
// clang-format on

namespace {

ImageManager& manager() {
    return *ImageManager::get();
}

// Every channel has quantumId and the image's size.
void expectChannels(const ImgRefPtr& image, int count, unsigned int quantumId) {
    ASSERT_TRUE(image.isValid());
    ASSERT_EQ(image->channelCount(), count);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(image->channel(i)->quantumId(), quantumId);
        EXPECT_EQ(image->channel(i)->width(), image->width());
        EXPECT_EQ(image->channel(i)->height(), image->height());
    }
}

ImgRefPtr withBitDepths(const std::vector<unsigned int>& depths) {
    ImgRefPtr image = manager().createAnonymous("uint16", 2, 2, depths.size());
    for (std::size_t i = 0; i < depths.size(); ++i) image->channel(i)->setBitDepth(depths[i]);
    return image;
}

}  // namespace

TEST(ImageManager, EveryQuantumNameGivesItsSampleType) {
    const std::pair<const char*, unsigned int> names[] = {
        {"uint8", 129},         {"UInt8Image", 129}, {"ByteImage", 129},    {"uint16", 257},
        {"UInt16Image", 257},   {"uint32", 513},     {"UInt32Image", 513},  {"uint64", 1025},
        {"UInt64Image", 1025},  {"int8", 131},       {"Int8Image", 131},    {"int16", 259},
        {"Int16Image", 259},    {"int32", 515},      {"Int32Image", 515},   {"int64", 1027},
        {"Int64Image", 1027},   {"float32", 514},    {"Float32Image", 514}, {"float64", 1026},
        {"Float64Image", 1026},
    };
    for (const auto& [name, quantumId] : names) {
        SCOPED_TRACE(name);
        expectChannels(manager().createAnonymous(name, 3, 2, 1), 1, quantumId);
    }
    ImgRefPtr three = manager().createAnonymous("uint16", 640, 480, 3);
    expectChannels(three, 3, 257);
    EXPECT_EQ(three->name() + "|" + three->type(), "|Image");
    // Image types ignore the channel count.
    ImgRefPtr rgba = manager().createAnonymous("RgbaImage", 4, 4, 7);
    expectChannels(rgba, 1, 513);
    EXPECT_EQ(rgba->type(), "RgbaImage");
    expectChannels(manager().createAnonymous("Image", 4, 4, 3), 0, 0);
    EXPECT_TRUE(manager().createAnonymous("uint12", 4, 4, 1).isNull());
}

TEST(ImageManager, BitDepthPicksSmallestStorageAndPrototypesGiveDepths) {
    ImgRefPtr twelve = manager().createAnonymous(12, true, false, 8, 8, 1);
    expectChannels(twelve, 1, 257);
    EXPECT_EQ(twelve->channel(0)->maxValue(), 4095.0);
    expectChannels(manager().createAnonymous(16, false, false, 8, 8, 1), 1, 514);
    expectChannels(manager().createAnonymous(65, true, true, 8, 8, 1), 0, 0);

    ImgRefPtr prototype = withBitDepths({10, 12});
    ImgRefPtr image = manager().createAnonymous(prototype, 5, 5, 3);
    expectChannels(image, 3, 257);
    EXPECT_EQ(image->channel(0)->bitDepth(), 10u);
    EXPECT_EQ(image->channel(2)->bitDepth(), 12u);  // the last one stands in
    expectChannels(manager().createAnonymous(prototype, 5, 5, 0), 0, 0);
    EXPECT_TRUE(manager().createAnonymous(ImgRefPtr(), 5, 5, 1).isNull());
    std::string name = "Shaped";
    expectChannels(manager().create(prototype, 4, 3, name, false), 2, 257);
    manager().releaseInstance("Shaped");
}

TEST(ImageManager, NamedImagesAndThePool) {
    std::string first = "Frame", second = "Frame";
    ASSERT_TRUE(manager().create(640, 480, 8, first, true).isValid());
    ImgRefPtr b = manager().create(640, 480, 8, second, true);
    ASSERT_TRUE(b.isValid() && second != first);
    EXPECT_EQ(manager().instance(second.c_str()), b);
    EXPECT_TRUE(manager().releaseInstance(first.c_str()) &&
                manager().releaseInstance(second.c_str()));
    ImgRefPtr image = manager().createAnonymous("uint8", 2, 2, 1);
    std::string name = "Pooled";
    EXPECT_TRUE(manager().addToImagePool(image, name, false));
    EXPECT_EQ(image->name(), "Pooled");
    EXPECT_FALSE(manager().addToImagePool(ImgRefPtr(), name, true));
    manager().releaseInstance("Pooled");
}

TEST(ImageManager, ZeroSizesGiveChannelsWithoutSamples) {
    ImgRefPtr image = manager().createAnonymous("uint16", 0, 0, 2);
    expectChannels(image, 2, 257);
    EXPECT_EQ(image->rawBuffer(), nullptr);
    expectChannels(manager().createAnonymous("uint8", 0, 480, 1), 1, 129);
}

TEST(ImageManager, SizesBeyond32BitsGiveEmptyHandleInEveryForm) {
    const unsigned int w = 0x10000, h = 0x10001;  // w x h wraps to 0x10000 in 32 bits
    EXPECT_TRUE(manager().createAnonymous(129u, w, h, 0u).isNull());
    EXPECT_TRUE(manager().createAnonymous("Image", w, h, 1).isNull());
    EXPECT_TRUE(manager().createAnonymous(8, true, false, w, h, 1).isNull());
    EXPECT_TRUE(manager().createAnonymous(withBitDepths({16}), w, h, 1).isNull());
    std::string name = "Huge";
    EXPECT_TRUE(manager().create("uint8", w, h, name, true).isNull());
    EXPECT_EQ(name, "");
    // Each channel alone would fit; together they do not.
    EXPECT_TRUE(manager().createAnonymous("uint8", 0x10000, 0xFFFF, 2).isNull());
    EXPECT_TRUE(manager().createAnonymous("RgbaImage", 40000, 40000, 1).isNull());
    EXPECT_TRUE(manager().createAnonymous("uint8", 1, 1, ImageManager::maxChannels + 1).isNull());
}

TEST(ImageManager, FailedSampleAllocationGivesEmptyHandle) {
    const std::size_t before = manager().instanceCount();
    std::string name = "NoMemory";
    ImgRefPtr anonymous, named;
    {
        FailingAllocations scope(100000, -1);
        anonymous = manager().createAnonymous("uint8", 640, 480, 3);
        named = manager().create(640, 480, 12, name, true);
    }
    EXPECT_TRUE(anonymous.isNull() && named.isNull());
    EXPECT_EQ(name, "");
    EXPECT_EQ(manager().instanceCount(), before);
}

TEST(ImageManager, AnyFailedAllocationGivesEmptyHandleOrWholeImage) {
    manager();  // the singleton itself is made with memory to spare
    for (long successes = 0; successes < 500; ++successes) {
        SCOPED_TRACE(successes);
        ImgRefPtr image;
        bool fired = false;
        {
            FailingAllocations scope(0, successes);
            image = manager().createAnonymous("uint16", 64, 48, 3);
            fired = scope.fired();
        }
        if (!fired) {
            EXPECT_GT(successes, 0) << "the allocation functions were not replaced";
            return expectChannels(image, 3, 257);
        }
        if (image.isValid()) expectChannels(image, 3, 257);
    }
    FAIL() << "createAnonymous never completed without an allocation failure";
}
