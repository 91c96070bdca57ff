// The sample storages, loaded from their module: every format written and read back
// through the StorageManager, the files checked independently (PNG through libpng,
// TIFF through libtiff, PGM/PPM byte by byte), multi-frame TIFF files, and the bad
// input each storage must refuse with a clear log line and no crash.

#include <gtest/gtest.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/process/StorageManager.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/ImageFiles.h"
#include "support/SamplePlugins.h"
#include "support/SystemLogRecorder.h"
#include "support/TempDir.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Lines = std::vector<std::string>;
using Samples = std::vector<double>;  // interleaved, pixel by pixel

using Pattern = double (*)(unsigned int);
const Pattern bytePattern = [](unsigned int i) -> double { return (i * 37 + 5) % 256; };
const Pattern wordPattern = [](unsigned int i) -> double { return (i * 4099 + 11) % 65536; };
const Pattern twelveBitPattern = [](unsigned int i) -> double { return (i * 397 + 3) % 4096; };
const Pattern floatPattern = [](unsigned int i) { return i * 0.25 - 1.5; };

// A w x h image of `channels` channels of quantumId whose sample (x, y, c) is
// pattern(i) with i its place in the interleaved order.
ImgRefPtr patterned(unsigned int quantumId, unsigned int w, unsigned int h, int channels,
                    Pattern pattern) {
    ImgRefPtr image = ImageManager::get()->createAnonymous(quantumId, w, h, unsigned(channels));
    for (int c = 0; c < channels; ++c) {
        unsigned char* raw = image->channel(c)->rawBuffer();
        for (unsigned int p = 0; p < w * h; ++p) {
            const double v = pattern(p * channels + c);
            if (quantumId == 129) raw[p] = static_cast<unsigned char>(v);
            if (quantumId == 257) reinterpret_cast<unsigned short*>(raw)[p] = (unsigned short)v;
            if (quantumId == 514) reinterpret_cast<float*>(raw)[p] = static_cast<float>(v);
        }
    }
    return image;
}

// The samples of image, interleaved as the files store them.
Samples interleaved(const ImgRefPtr& image) {
    Samples out;
    for (unsigned int p = 0; p < image->pixelCount(); ++p) {
        for (int c = 0; c < image->channelCount(); ++c) {
            const unsigned char* raw = image->channel(c)->rawBuffer();
            const unsigned int id = image->channel(c)->quantumId();
            out.push_back(id == 129   ? raw[p]
                          : id == 257 ? reinterpret_cast<const unsigned short*>(raw)[p]
                                      : reinterpret_cast<const float*>(raw)[p]);
        }
    }
    return out;
}

// Writes 8-bit samples (rows of width * channels) as an Adam7-interlaced PNG of
// colourType, as other programs may write them.
bool writeInterlacedPng(FILE* file, unsigned int width, unsigned int height, int colourType,
                        png_bytep* rows) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, colourType, PNG_INTERLACE_ADAM7,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

constexpr char kStoragePlugin[] = "KorvaneStorage";

class SampleStorage : public SamplePluginTest<kStoragePlugin> {
protected:
    // The first line logged since the last call, or "" when nothing was.
    static std::string firstMessage() {
        const Lines lines = recorder->messages();
        return lines.empty() ? std::string() : lines.front();
    }
    // Expects the first line logged since the last call to start with "ERROR      : "
    // and prefix, where an @ in prefix stands for the quoted path.
    static void expectLoggedFirst(const std::string& path, std::string prefix) {
        if (prefix.find('@') != std::string::npos)
            prefix.replace(prefix.find('@'), 1, "\"" + path + "\"");
        prefix = "ERROR      : " + prefix;
        const std::string message = firstMessage();
        EXPECT_EQ(message.substr(0, prefix.size()), prefix) << message;
    }

    StorageManager* storages = StorageManager::get();
    TempDir dir;
};

}  // namespace

// Each format and sample type: saved through the manager, read back by an independent
// reader and by our own, sample by sample.
TEST_F(SampleStorage, EveryFormatRoundTripsItsSampleTypes) {
    struct Case {
        const char* file;
        unsigned int quantumId;
        int channels;
        Pattern pattern;
        unsigned int bitDepth;  // significant bits to set; 0 keeps the whole sample
    };
    // clang-format off
    const Case cases[] = {
        {"grey8.png", 129, 1, bytePattern, 0},        {"grey16.png", 257, 1, wordPattern, 0},
        {"rgb8.png", 129, 3, bytePattern, 0},         {"rgb16.png", 257, 3, wordPattern, 0},
        {"rgba8.png", 129, 4, bytePattern, 0},        {"grey12.png", 257, 1, twelveBitPattern, 12},
        {"grey8.tif", 129, 1, bytePattern, 0},        {"grey16.tiff", 257, 1, wordPattern, 0},
        {"float.tif", 514, 1, floatPattern, 0},       {"rgb16.tif", 257, 3, wordPattern, 0},
        {"grey8.pgm", 129, 1, bytePattern, 0},        {"grey16.pgm", 257, 1, wordPattern, 0},
        {"grey12.pgm", 257, 1, twelveBitPattern, 12}, {"rgb8.ppm", 129, 3, bytePattern, 0},
        {"rgb16.PPM", 257, 3, wordPattern, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string path = dir.file(c.file);
        ImgRefPtr image = patterned(c.quantumId, 5, 3, c.channels, c.pattern);
        if (c.bitDepth)
            for (int ch = 0; ch < c.channels; ++ch) image->channel(ch)->setBitDepth(c.bitDepth);
        ASSERT_TRUE(storages->saveImage(image, path.c_str()));
        const Samples expected = interleaved(image);

        const std::string ext = std::filesystem::path(path).extension();
        if (ext != ".pgm" && ext != ".ppm" && ext != ".PPM") {
            const DecodedImage file = ext == ".png" ? readPng(path) : readTiff(path);
            const unsigned int bits = c.quantumId == 129 ? 8 : c.quantumId == 257 ? 16 : 32;
            EXPECT_EQ(std::vector<unsigned>({file.width, file.height, file.channels, file.bits}),
                      std::vector<unsigned>({5, 3, unsigned(c.channels), bits}));
            EXPECT_EQ(file.floating, c.quantumId == 514);
            EXPECT_EQ(file.samples, expected);
        } else {
            // The exact bytes: header, then big-endian samples.
            const unsigned int top = c.bitDepth           ? (1u << c.bitDepth) - 1
                                     : c.quantumId == 129 ? 255
                                                          : 65535;
            std::string bytes =
                std::string(c.channels == 3 ? "P6" : "P5") + "\n5 3\n" + std::to_string(top) + "\n";
            for (double v : expected) {
                if (c.quantumId == 257) bytes += char(int(v) >> 8);
                bytes += char(int(v) & 0xff);
            }
            EXPECT_EQ(readFile(path), bytes);
        }

        ImgRefPtr back;
        ASSERT_TRUE(storages->loadImage(back, path.c_str()));
        ASSERT_TRUE(back.isValid());
        EXPECT_EQ(
            std::vector<unsigned>({back->width(), back->height(), unsigned(back->channelCount()),
                                   back->channel(0)->quantumId()}),
            std::vector<unsigned>({5, 3, unsigned(c.channels), c.quantumId}));
        EXPECT_EQ(back->bitDepth(), c.bitDepth ? c.bitDepth : image->bitDepth());
        EXPECT_EQ(interleaved(back), expected);
    }
    EXPECT_EQ(recorder->messages(), Lines{});
}

// A contiguous RGB file, as most programs write it, loads into planar channels.
TEST_F(SampleStorage, ATiffWrittenByLibtiffWithInterleavedSamplesLoads) {
    const std::string path = dir.file("contig.tif");
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(2));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(1));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(8));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, uint16_t(3));
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, uint16_t(PHOTOMETRIC_RGB));
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, uint16_t(PLANARCONFIG_CONTIG));
    unsigned char row[] = {1, 2, 3, 4, 5, 6};
    ASSERT_GE(TIFFWriteScanline(tiff, row, 0, 0), 0);
    TIFFClose(tiff);
    ImgRefPtr image;
    ASSERT_TRUE(storages->loadImage(image, path.c_str()));
    EXPECT_EQ(image->pixelHint(), Image::PlanarRgb);
    EXPECT_EQ(interleaved(image), (Samples{1, 2, 3, 4, 5, 6}));
}

// Interlaced files need every pass; grey with alpha loads as grey.
TEST_F(SampleStorage, AnInterlacedPngWrittenByLibpngLoads) {
    const std::string path = dir.file("interlaced.png");
    const unsigned int w = 9, h = 7;
    std::vector<png_byte> pixels(w * h * 2);
    std::vector<png_bytep> rows(h);
    Samples grey;
    for (unsigned int i = 0; i < w * h; ++i) {
        pixels[2 * i] = static_cast<png_byte>(bytePattern(i));
        pixels[2 * i + 1] = 255;
        grey.push_back(bytePattern(i));
    }
    for (unsigned int y = 0; y < h; ++y) rows[y] = &pixels[y * w * 2];
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    const bool written = writeInterlacedPng(file, w, h, PNG_COLOR_TYPE_GRAY_ALPHA, rows.data());
    std::fclose(file);
    ASSERT_TRUE(written);
    ImgRefPtr image;
    ASSERT_TRUE(storages->loadImage(image, path.c_str()));
    EXPECT_EQ(image->channelCount(), 1);
    EXPECT_EQ(interleaved(image), grey);
}

// Appended frames land in one file; loads walk through them with "FrameId".
TEST_F(SampleStorage, MultiFrameTiffFilesCountAndWalkTheirFrames) {
    const std::string path = dir.file("frames.tif");
    std::string name = "frames";
    StorageRefPtr tiff = storages->create("tiffstorage", name, true);
    ASSERT_TRUE(tiff.isValid());
    auto number = [&tiff](const char* property) {
        unsigned int value = 99;
        tiff->getProperty(property, &value);
        return value;
    };
    for (unsigned int frame = 0; frame < 3; ++frame) {
        ImgRefPtr image = ImageManager::get()->createAnonymous(257u, 4, 2, 1);
        std::fill_n(reinterpret_cast<unsigned short*>(image->rawBuffer()), 8, 1000 * (frame + 1));
        ASSERT_TRUE(tiff->setProperty("Append", frame > 0));
        ASSERT_TRUE(tiff->save(image, path.c_str())) << frame;
        EXPECT_EQ(number("FrameCount"), frame + 1);
    }
    EXPECT_EQ(readTiff(path, 2).samples, Samples(8, 3000));
    EXPECT_EQ(readTiff(path, 3).width, 0u);  // no fourth frame

    for (unsigned int frame : {0u, 1u, 2u, 0u}) {  // each load moves "FrameId" on
        ImgRefPtr image;
        ASSERT_TRUE(tiff->load(image, path.c_str()));
        EXPECT_EQ(interleaved(image), Samples(8, 1000.0 * (frame + 1))) << frame;
        EXPECT_EQ(std::make_pair(number("FrameId"), number("FrameCount")),
                  std::make_pair((frame + 1) % 3, 3u));
    }
    ASSERT_TRUE(tiff->setProperty("FrameId", 3u));
    ImgRefPtr image;
    EXPECT_FALSE(tiff->load(image, path.c_str()));
    EXPECT_EQ(firstMessage(),
              "ERROR      : TiffStorage: no frame 3 among the 3 of \"" + path + "\"");
    storages->releaseInstance(name.c_str());
}

TEST_F(SampleStorage, BadFilesAreRefusedWithAClearMessage) {
    const std::string good = dir.file("good.png");
    ASSERT_TRUE(storages->saveImage(patterned(129, 64, 64, 1, bytePattern), good.c_str()));
    const std::string whole = readFile(good);
    struct Case {
        const char* file;
        std::string bytes;    // written unless empty
        const char* message;  // as expectLoggedFirst takes it
    };
    const Case cases[] = {
        {"cut.png", whole.substr(0, whole.size() / 2), "PngStorage: libpng failed ("},
        {"fake.png", "not a png", "PngStorage: not a PNG file: @"},
        {"notes.tif", "This is a text file, not an image.\n",
         "TiffStorage: not a readable TIFF file ("},
        {"short.pgm", "P5\n# made by hand\n400 400\n255\n\x01\x02",
         "PnmStorage: truncated samples in @"},
        {"missing.pgm", "", "PnmStorage: cannot read @: No such file or directory"},
    };
    for (const Case& c : cases) {
        const std::string path = dir.file(c.file);
        SCOPED_TRACE(path);
        if (!c.bytes.empty()) std::ofstream(path, std::ios::binary) << c.bytes;
        ImgRefPtr image;
        EXPECT_FALSE(storages->loadImage(image, path.c_str()));
        EXPECT_TRUE(image.isNull());
        expectLoggedFirst(path, c.message);
    }
}

TEST_F(SampleStorage, ImagesAFormatCannotHoldAndUnwritablePlacesAreRefused) {
    std::ofstream(dir.file("plain-file")) << "a file where a directory should be";
    struct Case {
        ImgRefPtr image;
        const char* file;     // in the temporary directory
        const char* message;  // as expectLoggedFirst takes it
    };
    const ImgRefPtr grey = patterned(129, 2, 2, 1, bytePattern);
    const Case cases[] = {
        {patterned(514, 2, 2, 1, floatPattern), "f.png",
         "PngStorage: cannot store 32-bit float samples in @"},
        {patterned(129, 2, 2, 2, bytePattern), "two.png",
         "PngStorage: PNG holds 1, 3 or 4 channels, not 2, for @"},
        {ImageManager::get()->createAnonymous(259u, 2, 2, 1), "s.pgm",
         "PnmStorage: cannot store 16-bit signed samples in @"},
        {grey, "grey.ppm", "PnmStorage: PPM needs 3 channels, not 1, for @"},
        {patterned(514, 2, 2, 3, floatPattern), "rgb.tif",
         "TiffStorage: cannot store 32-bit float samples of 3 channels in @"},
        {grey, "plain-file/x.png", "PngStorage: cannot write @: Not a directory"},
        {grey, "plain-file/x.pgm", "PnmStorage: cannot write @"},
        {grey, "plain-file/x.tif", "TiffStorage: cannot write"},
    };
    for (const Case& c : cases) {
        const std::string path = dir.file(c.file);
        SCOPED_TRACE(path);
        EXPECT_FALSE(storages->saveImage(c.image, path.c_str()));
        EXPECT_FALSE(std::filesystem::exists(path));
        expectLoggedFirst(path, c.message);
    }
}
