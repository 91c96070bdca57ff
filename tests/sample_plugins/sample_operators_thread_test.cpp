// The sample operators, loaded from their module, at work in an operator process:
// images pushed into a real "ImageFifo" before the operator, results popped from the
// one after it and compared sample by sample; and the frames each operator refuses,
// with the log line that says why.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/image/Lut.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/OperatorProcess.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "support/BufferFixture.h"
#include "support/SamplePlugins.h"
#include "support/SystemLogRecorder.h"
#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Images = BufferTemplate<ImgRefPtr>;
using Settings = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;
using Samples = std::vector<double>;

// An image of width x height, one channel of quantumId, with these samples.
template <class T>
ImgRefPtr imageOf(unsigned int quantumId, unsigned int width, unsigned int height,
                  const std::vector<T>& samples) {
    ImgRefPtr image = ImageManager::get()->createAnonymous(quantumId, width, height, 1);
    EXPECT_EQ(samples.size(), std::size_t(width) * height);
    std::memcpy(image->rawBuffer(), samples.data(), samples.size() * sizeof(T));
    return image;
}
ImgRefPtr bytes(unsigned int w, unsigned int h, const std::vector<unsigned char>& s) {
    return imageOf(129, w, h, s);
}
ImgRefPtr words(unsigned int w, unsigned int h, const std::vector<unsigned short>& s) {
    return imageOf(257, w, h, s);
}
ImgRefPtr floats(unsigned int w, unsigned int h, const std::vector<float>& s) {
    return imageOf(514, w, h, s);
}
ImgRefPtr blank(unsigned int quantumId, unsigned int channels = 1) {
    return ImageManager::get()->createAnonymous(quantumId, 2, 2, channels);
}

// Channel c's samples as doubles (bytes, words or floats).
Samples samplesOf(const ImgRefPtr& image, unsigned int c = 0) {
    Samples out;
    const unsigned char* raw = image->channel(c)->rawBuffer();
    const unsigned int id = image->channel(c)->quantumId();
    for (unsigned int i = 0; i < image->pixelCount(); ++i)
        out.push_back(id == 129   ? raw[i]
                      : id == 257 ? reinterpret_cast<const unsigned short*>(raw)[i]
                                  : reinterpret_cast<const float*>(raw)[i]);
    return out;
}

// One operator of the module between two FIFOs in its own operator process. The
// process starts in the constructor; the destructor stops it within a deadline.
class Stage {
public:
    Stage(const char* type, const Settings& settings) {
        std::string name = type;
        op = OperatorManager::get()->create(type, name, true);
        if (op.isNull()) {
            ADD_FAILURE() << "no operator of type " << type;
            return;
        }
        for (const auto& [property, value] : settings)
            EXPECT_TRUE(set(property, value)) << property << " = " << value;
        in = BufferManager::get()->connect(feeder, "Out", op, "In", 16);
        out = BufferManager::get()->connect(op, "Out", sink, "In", 16);
        name += "Process";
        process = OperatorManager::get()->createProcess(name, true);
        process->addOperator(op, 0);
        process->startProcess();
    }
    ~Stage() {
        if (process.isValid()) {
            EXPECT_TRUE(stopProcessWithin(process));
            OperatorManager::get()->releaseProcess(process->name().c_str());
        }
        if (op.isValid()) OperatorManager::get()->releaseInstance(op->name().c_str());
    }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    // Pushes image in once the process runs, and answers what comes out (empty when
    // nothing came within the deadline).
    ImgRefPtr pass(const ImgRefPtr& image) {
        ImgRefPtr result;
        if (!reaches(ProcessInterface::RunningIterating)) return result;
        EXPECT_TRUE(static_cast<Images&>(*in).push(image));
        if (eventually([&] { return out->size() > 0; })) static_cast<Images&>(*out).pop(result);
        return result;
    }
    // Pushes image in and answers whether the process then ended on its own.
    bool refuses(const ImgRefPtr& image) {
        if (!reaches(ProcessInterface::RunningIterating)) return false;
        EXPECT_TRUE(static_cast<Images&>(*in).push(image));
        return reaches(ProcessInterface::StoppingDone);
    }
    bool reaches(ProcessInterface::StatusDetail detail) {
        return process.isValid() && eventually([&] { return process->statusDetail() == detail; });
    }

    OperatorRefPtr op;
    OperatorProcessRefPtr process;

private:
    // Writes value, given as text, as the property's own type.
    bool set(const std::string& property, const std::string& value) {
        switch (op->propertyType(property)) {
            case uint32_property:
                return op->setProperty(property, unsigned(std::stoul(value)));
            case double_property:
                return op->setProperty(property, std::stod(value));
            default:
                return op->setProperty(property, value);
        }
    }
    static SlotOwner* owner(const char* slot, buffer_slot_type type) {
        auto* owner = new SlotOwner;
        owner->addBufferSlot(slot, "Image", type, "", false);
        return owner;
    }
    RefPtr<SlotOwner> feeder{owner("Out", slot_output), nullptr};
    RefPtr<SlotOwner> sink{owner("In", slot_input), nullptr};
    BufferRefPtr in, out;
};

constexpr char kOperatorsPlugin[] = "KorvaneOperators";

using SampleOperators = SamplePluginTest<kOperatorsPlugin, BufferManagerFixture>;

}  // namespace

// Each case: an operator with its settings, one input image and the expected result.
TEST_F(SampleOperators, EachOperatorTransformsSamplesAsDocumented) {
    struct Case {
        const char* type;
        Settings settings;
        ImgRefPtr input;
        unsigned int width, height, quantumId;
        Samples expected;
    };
    ImgRefPtr twelveBit = words(4, 1, {0, 2047, 2048, 4095});
    twelveBit->channel(0)->setBitDepth(12);
    const auto b4 = [] { return bytes(4, 1, {0, 99, 100, 255}); };
    const auto b3x3 = [] { return bytes(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}); };
    const auto w3x3 = [] { return words(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}); };
    // clang-format off
    const Case cases[] = {
        {"Threshold", {{"Level", "100"}}, b4(), 4, 1, 129, {0, 0, 255, 255}},
        {"Threshold", {{"Level", "100"}, {"Mode", "Inverted"}}, b4(), 4, 1, 129, {255, 255, 0, 0}},
        {"Threshold", {{"Level", "2048"}}, twelveBit, 4, 1, 257, {0, 0, 4095, 4095}},
        {"Threshold", {{"Level", "0.5"}}, floats(3, 1, {0.25f, 0.5f, -1.f}), 3, 1, 514, {0, 1, 0}},
        {"Flip", {{"Direction", "Horizontal"}}, bytes(3, 2, {1, 2, 3, 4, 5, 6}), 3, 2, 129,
         {3, 2, 1, 6, 5, 4}},
        {"Flip", {{"Direction", "Vertical"}}, words(3, 2, {1, 2, 3, 4, 5, 60000}), 3, 2, 257,
         {4, 5, 60000, 1, 2, 3}},
        {"Flip", {{"Direction", "Both"}}, floats(2, 2, {1, 2, 3, 4.5f}), 2, 2, 514, {4.5, 3, 2, 1}},
        {"Crop", {{"X", "1"}, {"Y", "1"}, {"Width", "2"}, {"Height", "1"}}, b3x3(), 2, 1, 129, {5, 6}},
        {"Crop", {{"X", "2"}, {"Y", "1"}, {"Width", "5"}}, w3x3(), 1, 2, 257, {6, 9}},
        {"Binning", {{"Factor", "2"}}, bytes(5, 2, {1, 2, 3, 4, 9, 3, 4, 200, 201, 9}), 2, 1, 129,
         {3, 102}},
        {"Binning", {{"Factor", "2"}, {"Mode", "Sum"}}, bytes(4, 2, {1, 2, 3, 4, 3, 4, 200, 201}),
         2, 1, 129, {10, 255}},
        {"Binning", {{"Factor", "3"}, {"Mode", "Sum"}}, w3x3(), 1, 1, 257, {45}},
        {"ConvertType", {{"Target", "uint16"}}, bytes(3, 1, {0, 1, 255}), 3, 1, 257,
         {0, 257, 65535}},
        {"ConvertType", {{"Target", "uint8"}}, words(4, 1, {0, 128, 257, 65535}), 4, 1, 129,
         {0, 0, 1, 255}},
        {"ConvertType", {{"Target", "uint8"}}, twelveBit, 4, 1, 129, {0, 127, 128, 255}},
        {"ConvertType", {{"Target", "float32"}}, bytes(2, 1, {0, 255}), 2, 1, 514, {0, 1}},
        {"ConvertType", {{"Target", "uint8"}, {"Scaling", "Value"}},
         floats(4, 1, {-1.f, 2.4f, 2.6f, 300.f}), 4, 1, 129, {0, 2, 3, 255}},
        {"ConvertType", {{"Target", "uint16"}, {"Scaling", "Value"}}, bytes(2, 1, {7, 255}), 2, 1,
         257, {7, 255}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type + (" " + std::to_string(&c - cases)));
        Stage stage(c.type, c.settings);
        ImgRefPtr result = stage.pass(c.input);
        ASSERT_TRUE(result.isValid());
        EXPECT_EQ(result->width() * 1000 + result->height(), c.width * 1000 + c.height);
        EXPECT_EQ(result->channel(0)->quantumId(), c.quantumId);
        EXPECT_EQ(samplesOf(result), c.expected);
    }
    EXPECT_EQ(recorder->messages(), Lines{});
}

TEST_F(SampleOperators, ThreeChannelImagesKeepTheirLayoutChannelByChannel) {
    ImgRefPtr rgb = ImageManager::get()->createAnonymous(129u, 2, 1, 3);
    rgb->setPixelHint(Image::PlanarRgb);
    for (unsigned int c = 0; c < 3; ++c) {
        rgb->channel(c)->rawBuffer()[0] = static_cast<unsigned char>(10 * c);
        rgb->channel(c)->rawBuffer()[1] = static_cast<unsigned char>(10 * c + 1);
    }
    Stage stage("Flip", {});
    EXPECT_FALSE(stage.op->setProperty("Direction", "Diagonal"));  // not an item
    ImgRefPtr result = stage.pass(rgb);
    ASSERT_TRUE(result.isValid());
    ASSERT_EQ(result->channelCount(), 3);
    EXPECT_EQ(result->pixelHint(), Image::PlanarRgb);
    for (unsigned int c = 0; c < 3; ++c)
        EXPECT_EQ(samplesOf(result, c), (Samples{10. * c + 1, 10. * c})) << c;
}

TEST_F(SampleOperators, ApplyLutColoursGreySamplesThroughTheNamedTable) {
    Stage stage("ApplyLut", {{"Lut", "Grey16Bit"}});
    ImgRefPtr result = stage.pass(words(3, 1, {0, 1000, 65535}));
    ASSERT_TRUE(result.isValid());
    ASSERT_EQ(result->pixelSize(), 4u);
    EXPECT_EQ(result->pixelHint(), Image::PackedBgra);
    LutGrey16 reference;
    const auto* colours = reinterpret_cast<const RGBQUAD*>(result->rawBuffer());
    const unsigned int samples[] = {0, 1000, 65535};
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_TRUE(colours[i] == reference.colorAtIndex(samples[i])) << i;
    EXPECT_LT(colours[0].red, colours[2].red);
}

TEST_F(SampleOperators, StatisticsPublishesItsMeasuresAndPassesTheSameImageOn) {
    Stage stage("Statistics", {{"Bins", "4"}});
    ImgRefPtr input = bytes(3, 2, {0, 10, 64, 255, 128, 200});
    EXPECT_EQ(stage.pass(input).rawPtr(), input.rawPtr());
    double min = -1, max = -1, mean = -1;
    std::string histogram;
    unsigned long long frames = 0;
    EXPECT_TRUE(stage.op->getProperty("Min", &min) && stage.op->getProperty("Max", &max) &&
                stage.op->getProperty("Mean", &mean) &&
                stage.op->getProperty("Histogram", &histogram));
    EXPECT_EQ(min * 1000 + max, 255);
    EXPECT_DOUBLE_EQ(mean, (0 + 10 + 64 + 255 + 128 + 200) / 6.0);
    EXPECT_EQ(histogram, "2 1 1 2");
    EXPECT_FALSE(stage.op->setProperty("Min", 3.0));  // results are read-only

    // A float image spreads its bins over its own range.
    stage.pass(floats(4, 1, {-1.f, 0.f, 0.5f, 1.f}));
    EXPECT_TRUE(stage.op->getProperty("Histogram", &histogram));
    EXPECT_EQ(histogram, "1 0 1 2");
    EXPECT_TRUE(stage.op->getProperty("Frames", &frames));
    EXPECT_EQ(frames, 2u);
}

// Frames an operator cannot handle end its process with one error line naming why.
TEST_F(SampleOperators, RefusedFramesEndTheRunWithTheReasonInTheLog) {
    struct Case {
        const char* type;
        Settings settings;
        ImgRefPtr input;
        std::string message;
    };
    const ImgRefPtr one = bytes(1, 1, {1});
    // clang-format off
    const Case cases[] = {
        {"Threshold", {}, blank(515u), "Threshold: unsupported sample type of 32 bits (signed)"},
        {"Flip", {}, blank(1026u), "Flip: unsupported sample type of 64 bits (floating)"},
        {"ApplyLut", {}, blank(514u), "ApplyLut: unsupported sample type of 32 bits (floating)"},
        {"ApplyLut", {}, blank(129u, 3), "ApplyLut: needs a grey image of one channel"},
        {"Crop", {{"X", "3"}}, bytes(3, 1, {1, 2, 3}),
         "Crop: the corner 3, 0 lies outside the image of 3 x 1"},
        {"Binning", {{"Factor", "0"}}, one, "Binning: Factor 0 is out of its range 1 to 16"},
        {"Binning", {{"Factor", "17"}}, one, "Binning: Factor 17 is out of its range 1 to 16"},
        {"Binning", {{"Factor", "2"}}, bytes(3, 1, {1, 2, 3}),
         "Binning: the image of 3 x 1 is smaller than one block of 2 x 2"},
        {"Statistics", {{"Bins", "0"}}, one, "Statistics: Bins 0 is out of its range 1 to 65536"},
        {"ConvertType", {}, blank(1025u),
         "ConvertType: unsupported sample type of 64 bits (unsigned)"},
        {"Threshold", {}, ImgRefPtr(new Image, nullptr),
         "Threshold: unsupported image without channels"},
    };
    // clang-format on
    Lines expected;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        Stage stage(c.type, c.settings);
        EXPECT_TRUE(stage.refuses(c.input));
        expected.push_back("ERROR      : " + c.message);
    }
    // Each run also logs that its process failed; the operators' own lines come first.
    Lines reasons;
    for (const std::string& line : recorder->messages())
        if (line.find("Process") == std::string::npos) reasons.push_back(line);
    EXPECT_EQ(reasons, expected);
}

TEST_F(SampleOperators, ApplyLutWithAnUnknownTableDoesNotStart) {
    Stage stage("ApplyLut", {{"Lut", "NoSuchTable"}});
    ASSERT_TRUE(stage.reaches(ProcessInterface::StoppingDone));
    Lines messages = recorder->messages();
    messages.resize(2);  // the process's own failure may follow
    EXPECT_EQ(messages,
              (Lines{"ERROR      : ApplyLut: unknown look-up table \"NoSuchTable\"",
                     "ERROR      : OperatorProcess: Could not initialize operator [ApplyLut]"}));
}
