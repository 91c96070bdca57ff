#include <gtest/gtest.h>
#include <korvane/image/Lut.h>
#include <korvane/image/LutManager.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace Korvane;

namespace {

RGBQUAD grey(unsigned char level) {
    return createColor4(level, level, level, 255);
}

const RGBQUAD untouched = createColor4(1, 2, 3, 4);
const RGBQUAD zero = createColor4(0, 0, 0, 0);

// The colours that table gives to samples of type S.
template <class S>
std::vector<RGBQUAD> lookUp(Lut& table, std::vector<S> samples) {
    std::vector<RGBQUAD> colours(samples.size(), untouched);
    auto* bytes = reinterpret_cast<unsigned char*>(samples.data());
    EXPECT_TRUE(table.applyLut(bytes, samples.size(), sizeof(S), colours.data()));
    return colours;
}

}  // namespace

// Wide samples use their low bits, masked; byte samples past a short table take its last entry.
TEST(Lut, SamplesOfEveryWidthMapThroughTheTable) {
    LutGrey8 grey8;
    EXPECT_EQ(lookUp<std::uint8_t>(grey8, {200}), std::vector<RGBQUAD>{grey(200)});
    EXPECT_EQ(lookUp<std::uint32_t>(grey8, {0x12345678u}), std::vector<RGBQUAD>{grey(0x78)});
    EXPECT_EQ(lookUp<std::uint64_t>(grey8, {0xFFFFFFFF00000005ull}), std::vector<RGBQUAD>{grey(5)});
    LutGrey10 grey10;
    EXPECT_EQ(lookUp<std::uint16_t>(grey10, {1023, 4, 1024}),
              (std::vector<RGBQUAD>{grey(255), grey(1), grey(0)}));
    LutGrey16 grey16;
    EXPECT_EQ(lookUp<std::uint16_t>(grey16, {0x1234}), std::vector<RGBQUAD>{grey(0x12)});
    LutGrey shortTable(4);
    EXPECT_EQ(lookUp<std::uint8_t>(shortTable, {2, 3, 4, 255}),
              (std::vector<RGBQUAD>{grey(2), grey(3), grey(3), grey(3)}));
}

TEST(Lut, UnsupportedSampleWidthWritesNothingAndEmptyTableRefuses) {
    unsigned char samples[3] = {1, 2, 3};
    RGBQUAD colour = untouched;
    EXPECT_TRUE(LutGrey8().applyLut(samples, 1, 3, &colour));
    EXPECT_FALSE(LutGrey(0).applyLut(samples, 1, 1, &colour));
    EXPECT_EQ(colour, untouched);
}

TEST(Lut, IndexBeyondTableReadsZeroAndIgnoresWrites) {
    LutGrey8 table;
    table.setColorAtIndex(256, untouched);
    EXPECT_EQ(table.colorAtIndex(256), zero);
}

TEST(Lut, ShortStreamFillsWhatItHoldsAndAnswersFalse) {
    LutGrey8 table;
    std::istringstream stream(std::string("\x01\x02\x03\x04\x05", 5));
    EXPECT_FALSE(table.read(stream));
    EXPECT_EQ(table.colorAtIndex(0), createColor4(3, 2, 1, 4));  // blue, green, red, alpha
    EXPECT_EQ(table.colorAtIndex(2), grey(2));
    std::ostringstream out;
    EXPECT_TRUE(table.write(out));
    EXPECT_EQ(out.str().substr(0, 4), "\x01\x02\x03\x04");
}

TEST(LutManager, CreateCopiesRegisteredType) {
    std::string name = "Display";
    LutRefPtr table = LutManager::get()->create("Grey10Bit", name, true);
    ASSERT_TRUE(table.isValid());
    EXPECT_EQ(table->size(), 1024u);
    std::string copyName = "Copy", unknown = "Missing";
    EXPECT_EQ(LutManager::get()->create(table, copyName, true)->type(), "Grey10Bit");
    EXPECT_TRUE(LutManager::get()->create("Grey12Bit", unknown, true).isNull() && unknown.empty());
    LutManager::get()->releaseInstance(name.c_str());
    LutManager::get()->releaseInstance(copyName.c_str());
}
