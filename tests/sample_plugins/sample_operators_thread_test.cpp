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

// Channel c's samples as doubles.
std::vector<double> samplesOf(const ImgRefPtr& image, unsigned int c = 0) {
    std::vector<double> out;
    const unsigned char* raw = image->channel(c)->rawBuffer();
    for (unsigned int i = 0; i < image->pixelCount(); ++i) {
        switch (image->channel(c)->quantumId()) {
            case 129:
                out.push_back(raw[i]);
                break;
            case 257:
                out.push_back(reinterpret_cast<const unsigned short*>(raw)[i]);
                break;
            case 514:
                out.push_back(reinterpret_cast<const float*>(raw)[i]);
                break;
            default:
                ADD_FAILURE() << "unexpected sample type";
        }
    }
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
        std::string processName = std::string(type) + "Process";
        process = OperatorManager::get()->createProcess(processName, true);
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
        if (!ready()) return ImgRefPtr();
        EXPECT_TRUE(static_cast<Images&>(*in).push(image));
        ImgRefPtr result;
        if (eventually([&] { return out->size() > 0; })) static_cast<Images&>(*out).pop(result);
        return result;
    }
    // Pushes image in and answers whether the process then ended on its own.
    bool refuses(const ImgRefPtr& image) {
        if (!ready()) return false;
        EXPECT_TRUE(static_cast<Images&>(*in).push(image));
        return eventually(
            [&] { return process->statusDetail() == ProcessInterface::StoppingDone; });
    }
    bool ready() {
        return process.isValid() && eventually([&] {
                   return process->statusDetail() == ProcessInterface::RunningIterating;
               });
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
    SlotOwner* makeOwner(const char* slot, buffer_slot_type type) {
        auto* owner = new SlotOwner;
        owner->addBufferSlot(slot, "Image", type, "", false);
        return owner;
    }
    RefPtr<SlotOwner> feeder{makeOwner("Out", slot_output), nullptr};
    RefPtr<SlotOwner> sink{makeOwner("In", slot_input), nullptr};
    BufferRefPtr in, out;
};

constexpr char kOperatorsPlugin[] = "KorvaneOperators";

using SampleOperators = SamplePluginTest<kOperatorsPlugin, BufferManagerFixture>;

}  // namespace

TEST_F(SampleOperators, TheModuleInstallsEveryOperatorWithItsSettings) {
    for (const char* type :
         {"ApplyLut", "Threshold", "ConvertType", "Flip", "Crop", "Binning", "Statistics"}) {
        std::string name = type;
        OperatorRefPtr op = OperatorManager::get()->create(type, name, true);
        ASSERT_TRUE(op.isValid()) << type;
        EXPECT_FALSE(op->help().empty()) << type;
        EXPECT_EQ(op->bufferSlotIds(), (Lines{"In", "Out"})) << type;
        OperatorManager::get()->releaseInstance(name.c_str());
    }
    std::string name = "Enumerations";
    OperatorRefPtr flip = OperatorManager::get()->create("Flip", name, true);
    EXPECT_EQ(flip->propertyEnumList("Direction"), (Lines{"Horizontal", "Vertical", "Both"}));
    EXPECT_FALSE(flip->setProperty("Direction", "Diagonal"));
    OperatorManager::get()->releaseInstance(name.c_str());
}

// Each case: an operator with its settings, one input image and the expected samples.
TEST_F(SampleOperators, EachOperatorTransformsSamplesAsDocumented) {
    struct Case {
        const char* type;
        Settings settings;
        ImgRefPtr input;
        unsigned int width, height, quantumId;
        std::vector<double> expected;
    };
    ImgRefPtr twelveBit = words(4, 1, {0, 2047, 2048, 4095});
    twelveBit->channel(0)->setBitDepth(12);
    const Case cases[] = {
        {"Threshold",
         {{"Level", "100"}},
         bytes(4, 1, {0, 99, 100, 255}),
         4,
         1,
         129,
         {0, 0, 255, 255}},
        {"Threshold",
         {{"Level", "100"}, {"Mode", "Inverted"}},
         bytes(4, 1, {0, 99, 100, 255}),
         4,
         1,
         129,
         {255, 255, 0, 0}},
        {"Threshold", {{"Level", "2048"}}, twelveBit, 4, 1, 257, {0, 0, 4095, 4095}},
        {"Threshold", {{"Level", "0.5"}}, floats(3, 1, {0.25f, 0.5f, -1.f}), 3, 1, 514, {0, 1, 0}},
        {"Flip",
         {{"Direction", "Horizontal"}},
         bytes(3, 2, {1, 2, 3, 4, 5, 6}),
         3,
         2,
         129,
         {3, 2, 1, 6, 5, 4}},
        {"Flip",
         {{"Direction", "Vertical"}},
         words(3, 2, {1, 2, 3, 4, 5, 60000}),
         3,
         2,
         257,
         {4, 5, 60000, 1, 2, 3}},
        {"Flip", {{"Direction", "Both"}}, floats(2, 2, {1, 2, 3, 4.5f}), 2, 2, 514, {4.5, 3, 2, 1}},
        {"Crop",
         {{"X", "1"}, {"Y", "1"}, {"Width", "2"}, {"Height", "1"}},
         bytes(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}),
         2,
         1,
         129,
         {5, 6}},
        {"Crop",
         {{"X", "2"}, {"Y", "1"}, {"Width", "5"}},
         words(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}),
         1,
         2,
         257,
         {6, 9}},
        {"Binning",
         {{"Factor", "2"}},
         bytes(5, 2, {1, 2, 3, 4, 9, 3, 4, 200, 201, 9}),
         2,
         1,
         129,
         {3, 102}},
        {"Binning",
         {{"Factor", "2"}, {"Mode", "Sum"}},
         bytes(4, 2, {1, 2, 3, 4, 3, 4, 200, 201}),
         2,
         1,
         129,
         {10, 255}},
        {"Binning",
         {{"Factor", "3"}, {"Mode", "Sum"}},
         words(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}),
         1,
         1,
         257,
         {45}},
        {"ConvertType",
         {{"Target", "uint16"}},
         bytes(3, 1, {0, 1, 255}),
         3,
         1,
         257,
         {0, 257, 65535}},
        {"ConvertType",
         {{"Target", "uint8"}},
         words(4, 1, {0, 128, 257, 65535}),
         4,
         1,
         129,
         {0, 0, 1, 255}},
        {"ConvertType", {{"Target", "uint8"}}, twelveBit, 4, 1, 129, {0, 127, 128, 255}},
        {"ConvertType", {{"Target", "float32"}}, bytes(2, 1, {0, 255}), 2, 1, 514, {0, 1}},
        {"ConvertType",
         {{"Target", "uint8"}, {"Scaling", "Value"}},
         floats(4, 1, {-1.f, 2.4f, 2.6f, 300.f}),
         4,
         1,
         129,
         {0, 2, 3, 255}},
        {"ConvertType",
         {{"Target", "uint16"}, {"Scaling", "Value"}},
         bytes(2, 1, {7, 255}),
         2,
         1,
         257,
         {7, 255}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type + (" " + std::to_string(&c - cases)));
        Stage stage(c.type, c.settings);
        ImgRefPtr result = stage.pass(c.input);
        ASSERT_TRUE(result.isValid());
        EXPECT_EQ(result->width(), c.width);
        EXPECT_EQ(result->height(), c.height);
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
    ImgRefPtr result = stage.pass(rgb);
    ASSERT_TRUE(result.isValid());
    ASSERT_EQ(result->channelCount(), 3);
    EXPECT_EQ(result->pixelHint(), Image::PlanarRgb);
    for (unsigned int c = 0; c < 3; ++c)
        EXPECT_EQ(samplesOf(result, c), (std::vector<double>{10. * c + 1, 10. * c})) << c;
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
    // The ramp is grey: the three colours of an entry agree.
    EXPECT_EQ(colours[2].red, colours[2].blue);
    EXPECT_EQ(colours[2].green, colours[2].blue);
    EXPECT_LT(colours[0].red, colours[2].red);
}

TEST_F(SampleOperators, StatisticsPublishesItsMeasuresAndPassesTheSameImageOn) {
    Stage stage("Statistics", {{"Bins", "4"}});
    ImgRefPtr input = bytes(3, 2, {0, 10, 64, 255, 128, 200});
    ImgRefPtr result = stage.pass(input);
    EXPECT_EQ(result.rawPtr(), input.rawPtr());
    double min = -1, max = -1, mean = -1;
    std::string histogram;
    unsigned long long frames = 0;
    EXPECT_TRUE(stage.op->getProperty("Min", &min));
    EXPECT_TRUE(stage.op->getProperty("Max", &max));
    EXPECT_TRUE(stage.op->getProperty("Mean", &mean));
    EXPECT_TRUE(stage.op->getProperty("Histogram", &histogram));
    EXPECT_TRUE(stage.op->getProperty("Frames", &frames));
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 255);
    EXPECT_DOUBLE_EQ(mean, (0 + 10 + 64 + 255 + 128 + 200) / 6.0);
    EXPECT_EQ(histogram, "2 1 1 2");
    EXPECT_EQ(frames, 1u);
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
    const Case cases[] = {
        {"Threshold",
         {},
         ImageManager::get()->createAnonymous(515u, 2, 2, 1),
         "ERROR      : Threshold: unsupported sample type of 32 bits (signed)"},
        {"Flip",
         {},
         ImageManager::get()->createAnonymous(1026u, 2, 2, 1),
         "ERROR      : Flip: unsupported sample type of 64 bits (floating)"},
        {"ApplyLut",
         {},
         floats(1, 1, {0.f}),
         "ERROR      : ApplyLut: unsupported sample type of 32 bits (floating)"},
        {"ApplyLut",
         {},
         ImageManager::get()->createAnonymous(129u, 2, 2, 3),
         "ERROR      : ApplyLut: needs a grey image of one channel"},
        {"Crop",
         {{"X", "3"}},
         bytes(3, 1, {1, 2, 3}),
         "ERROR      : Crop: the corner 3, 0 lies outside the image of 3 x 1"},
        {"Binning",
         {{"Factor", "0"}},
         bytes(1, 1, {1}),
         "ERROR      : Binning: Factor 0 is out of its range 1 to 16"},
        {"Binning",
         {{"Factor", "17"}},
         bytes(1, 1, {1}),
         "ERROR      : Binning: Factor 17 is out of its range 1 to 16"},
        {"Binning",
         {{"Factor", "2"}},
         bytes(3, 1, {1, 2, 3}),
         "ERROR      : Binning: the image of 3 x 1 is smaller than one block of 2 x 2"},
        {"Statistics",
         {{"Bins", "0"}},
         bytes(1, 1, {1}),
         "ERROR      : Statistics: Bins 0 is out of its range 1 to 65536"},
        {"ConvertType",
         {},
         ImageManager::get()->createAnonymous(1025u, 1, 1, 1),
         "ERROR      : ConvertType: unsupported sample type of 64 bits (unsigned)"},
        {"Threshold",
         {},
         ImgRefPtr(new Image, nullptr),
         "ERROR      : Threshold: unsupported image without channels"},
    };
    Lines expected;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        Stage stage(c.type, c.settings);
        EXPECT_TRUE(stage.refuses(c.input));
        expected.push_back(c.message);
    }
    // Each run also logs that its process failed; the operators' own lines come first.
    Lines reasons;
    for (const std::string& line : recorder->messages()) {
        if (line.find("Process") == std::string::npos) reasons.push_back(line);
    }
    EXPECT_EQ(reasons, expected);
}

TEST_F(SampleOperators, ApplyLutWithAnUnknownTableDoesNotStart) {
    Stage stage("ApplyLut", {{"Lut", "NoSuchTable"}});
    ASSERT_TRUE(eventually(
        [&] { return stage.process->statusDetail() == ProcessInterface::StoppingDone; }));
    const Lines messages = recorder->messages();
    ASSERT_GE(messages.size(), 2u);
    EXPECT_EQ(messages[0], "ERROR      : ApplyLut: unknown look-up table \"NoSuchTable\"");
    EXPECT_EQ(messages[1],
              "ERROR      : OperatorProcess: Could not initialize operator [ApplyLut]");
}
