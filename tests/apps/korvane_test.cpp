// The korvane tool as its users run it: each case starts the built binary with a time
// limit, in a directory of its own, and checks the exit code, the texts on stdout and
// stderr and the image files written, read back through libpng and libtiff.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/ImageFiles.h"
#include "support/TempDir.h"

using namespace KorvaneTest;

namespace {

#ifdef KORVANE_TOOL
constexpr const char* kTool = KORVANE_TOOL;
#else
constexpr const char* kTool = "";
#endif

struct Result {
    int code = -1;
    std::string out, err;
};

// Quotes text for sh.
std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

class Korvane : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef KORVANE_NO_TOOL
        GTEST_SKIP() << "the tool or the sample plug-ins are not built";
#endif
    }

    // Runs `korvane args` (args already quoted for sh) in dir, killed after limit seconds.
    Result korvane(const std::string& args, int limit = 60) {
        return shell("timeout -k 5 " + std::to_string(limit) + " " + shellQuoted(kTool) + " " +
                     args + " >out.txt 2>err.txt");
    }

    // Runs script in dir and collects out.txt, err.txt and the exit code of its last command.
    Result shell(const std::string& script) {
        const std::string command =
            "cd " + shellQuoted(dir.path()) + " && { " + script + "; } ; echo $? > code.txt";
        std::system(command.c_str());
        Result result;
        result.out = readFile(dir.file("out.txt"));
        result.err = readFile(dir.file("err.txt"));
        const std::string code = readFile(dir.file("code.txt"));
        if (!code.empty()) result.code = std::stoi(code);
        return result;
    }

    std::string writeFile(const std::string& name, const std::string& text) {
        std::ofstream(dir.file(name), std::ios::binary) << text;
        return dir.file(name);
    }

    TempDir dir;
};

// A value of the summary ("frames: 12" gives "12"); empty when the line is missing.
std::string summary(const std::string& out, const std::string& key) {
    const std::size_t at = out.find("\n" + key + ": ");
    const std::size_t start =
        at == std::string::npos ? (out.rfind(key + ": ", 0) == 0 ? 0 : at) : at + 1;
    if (start == std::string::npos) return {};
    const std::size_t value = start + key.size() + 2;
    return out.substr(value, out.find('\n', value) - value);
}

using Grey = DecodedImage;

std::vector<std::string> filesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// ---- inspecting ----------------------------------------------------------------------

TEST_F(Korvane, InfoShowsTheLibraryAndThePathsOfTheBuildTree) {
    const Result run = korvane("info");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("KorvaneCore 1.4.2\n", 0), 0u) << run.out;
    EXPECT_NE(run.out.find("toolset 75 MSVC11"), std::string::npos) << run.out;
    for (const char* name :
         {"KORVANE_PATH", "BIN_PATH", "CONFIG_PATH", "DATA_PATH", "LOG_PATH", "PLUGIN_PATH"}) {
        EXPECT_NE(run.out.find(std::string("\n") + name + " "), std::string::npos) << name;
    }
    const std::string plugins = summary(run.out, "PLUGIN_PATH ");
    const std::size_t path = run.out.find('/', run.out.find("PLUGIN_PATH"));
    const std::string pluginDir = run.out.substr(path, run.out.find('\n', path) - path);
    EXPECT_TRUE(std::filesystem::exists(pluginDir + "KorvaneOperators.so")) << pluginDir;
    (void)plugins;
}

TEST_F(Korvane, PluginsListsModulesPluginsAndComponents) {
    const Result run = korvane("plugins");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("installed        "), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("KorvaneOperators.so"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("operator: ApplyLut, Threshold, ConvertType, Flip, Crop, Binning, "
                           "Statistics\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("storage: PnmStorage, PngStorage, TiffStorage\n"), std::string::npos)
        << run.out;
}

TEST_F(Korvane, PluginsNameShowsEveryPropertyOfAComponent) {
    const Result run = korvane("plugins Threshold");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("Level: double, read-write, category \"Unknown\", value 128, takes a "
                           "number from"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("Mode: enum, read-write, category \"Unknown\", value Binary, takes one "
                           "of Binary, Inverted\n"),
              std::string::npos)
        << run.out;

    const Result plugin = korvane("plugins KorvaneStorage");
    ASSERT_EQ(plugin.code, 0) << plugin.err;
    EXPECT_NE(plugin.out.find("Compression: enum, read-write"), std::string::npos) << plugin.out;
}

// ---- bad input -----------------------------------------------------------------------

struct BadInput {
    const char* args;
    int code;
    const char* message;  // a part of stderr
};

TEST_F(Korvane, BadInputNamesWhatExistsAndExitsWithItsCode) {
    const BadInput cases[] = {
        {"bogus", 2, "unknown command \"bogus\"; commands: info, plugins, detect, launch"},
        {"launch --frames many", 2, "--frames"},
        {"plugins Nothing", 2,
         "no plug-in or component is called \"Nothing\"; there are: "
         "KorvaneOperators, ApplyLut"},
        {"launch 'Nope ! Flip'", 2, "unknown device \"Nope\". Device types: "},
        {"launch 'Flip'", 2, "Flip is an operator; the first element must be a device."},
        {"launch 'SimCamera ! Blur'", 2,
         "unknown operator \"Blur\". Operator types: ApplyLut, Binning, ConvertType, Crop, Flip, "
         "Statistics, Threshold; sinks (last element only): pngstorage, pnmstorage, "
         "tiffstorage, null"},
        {"launch 'SimCamera Widht=64'", 2, "SimCamera has no property \"Widht\"; its properties: "},
        {"launch 'SimCamera ! Flip Direction=Up'", 2,
         "Flip: \"Up\" is not a value of Direction, which takes one of Horizontal, Vertical, "
         "Both"},
        {"launch 'SimCamera ! Binning Factor=-2'", 2,
         "Binning: \"-2\" is not a value of Factor, which takes a whole number from 0 to "
         "4294967295"},
        {"launch 'SimCamera ! Threshold Level=high'", 2, "\"high\" is not a value of Level"},
        {"launch 'SimCamera ! Statistics Mean=3'", 2, "Statistics's property Mean is read-only"},
        {"launch 'SimCamera ! PngStorage ! Flip'", 2,
         "PngStorage is a sink: it can only be the "
         "last element"},
        {"launch 'SimCamera ! PngStorage'", 2, "PngStorage needs File=NAME"},
        {"launch 'SimCamera ! PngStorage File=a.tif'", 2,
         "PngStorage does not write \"a.tif\"; it writes the extensions png"},
        {"launch 'SimCamera ! PngStorage File=a_%s.png'", 2, "unsupported field in the file name"},
        {"launch 'SimCamera ! PngStorage File=/proc/korvane/f_%d.png' --frames 1", 1,
         "cannot write files into /proc/korvane"},
        {"launch 'SimCamera ! PngStorage File=/proc/self/f_%d.png' --frames 1", 1,
         "cannot write files into /proc/self: Permission denied"},
        {"launch 'SimCamera Width=0' --frames 1", 2,
         "korvane: ERROR: [SimCamera] [Camera] \"Width\" 0 is out of its range 1 to 16384; the "
         "settings stay as they were.\n"},
        {"launch 'SimCamera Width=32 Height=24 ! ApplyLut ! PnmStorage File=f_%d.pgm' -n 2", 1,
         "PnmStorage could not save frame 0 to "},
        {"run no-such-file.txt", 2, "cannot read the run file no-such-file.txt"},
        {"snapshot SimCamera a.xyz", 2, "no storage writes files like a.xyz"},
    };
    for (const BadInput& bad : cases) {
        const Result run = korvane(bad.args);
        EXPECT_EQ(run.code, bad.code) << bad.args << "\n" << run.err;
        EXPECT_NE(run.err.find(bad.message), std::string::npos) << bad.args << "\n" << run.err;
    }
}

struct SyntaxError {
    const char* text;
    const char* message;
    std::size_t column;  // 1-based, where the caret must stand
};

TEST_F(Korvane, SyntaxErrorsOfADescriptionPointAtTheirColumn) {
    const SyntaxError cases[] = {
        {"", "the description is empty", 1},
        {"SimCamera ! ! Flip", "expected a type name before '!'", 13},
        {"SimCamera !", "expected a type name after the last '!'", 12},
        {"Width=3 ! Flip", "expected a type name, found the setting \"Width=3\"", 1},
        {"SimCamera Width=64 Flip", "expected Name=Value or '!' after SimCamera, found \"Flip\"",
         20},
        {"SimCamera Width=", "Width has no value", 17},
        {"SimCamera Pattern=\"open", "the quoted value of Pattern has no closing quote", 19},
        {"SimCamera Width=1 Width=2", "Width is set twice for SimCamera", 19},
        {"Sim/Camera", "unexpected character '/' in the type name", 4},
    };
    for (const SyntaxError& bad : cases) {
        const Result run = korvane("launch " + shellQuoted(bad.text));
        EXPECT_EQ(run.code, 2) << bad.text;
        const std::string expected = std::string("korvane: syntax error: ") + bad.message;
        EXPECT_EQ(run.err.rfind(expected, 0), 0u) << bad.text << "\n" << run.err;
        const std::string caret =
            "\n  " + std::string(bad.text) + "\n  " + std::string(bad.column - 1, ' ') + "^\n";
        EXPECT_NE(run.err.find(caret), std::string::npos) << bad.text << "\n" << run.err;
    }
}

TEST_F(Korvane, SyntaxErrorsOfARunFileNameLineAndColumn) {
    writeFile("bad.run", "[Run]\nFrames = 2\n[SimCamera]\n  Width 64\n");
    Result run = korvane("run bad.run");
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("korvane: bad.run:4:3: syntax error: expected [Type] or Name = Value\n"
                           "    Width 64\n    ^\n"),
              std::string::npos)
        << run.err;

    writeFile("option.run", "[Run]\nFrame = 2\n[SimCamera]\n");
    run = korvane("run option.run");
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("option.run:2:1: [Run] has no option \"Frame\"; its options: Frames, "
                           "Duration, Buffer, Timeout"),
              std::string::npos)
        << run.err;

    writeFile("setting.run", "Width = 3\n[SimCamera]\n");
    run = korvane("run setting.run");
    EXPECT_EQ(run.code, 2);
    EXPECT_NE(run.err.find("setting.run:1:1: syntax error: a setting before the first [Type] "
                           "section"),
              std::string::npos)
        << run.err;
}

// ---- running -------------------------------------------------------------------------

// The simulated camera's gradient: sample (x, y) of frame n, outside the counter box.
unsigned int gradient(unsigned int x, unsigned int y, unsigned int n, unsigned int bits) {
    const unsigned int level = ((n + y) % 256 + x) % 256;
    return bits == 16 ? level * 257 : level;
}

// Whether the counter in the top-left corner of image shows n, in white (top) on black.
bool showsCounter(const Grey& image, unsigned int n, unsigned int top) {
    static const unsigned char glyphs[10][7] = {
        {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
        {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
        {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
        {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
        {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},
    };
    const std::string digits = std::to_string(n);
    const unsigned int scale = std::max(1u, image.height / 120);
    for (std::size_t d = 0; d < digits.size(); ++d) {
        const unsigned int left = (1 + 6 * static_cast<unsigned int>(d)) * scale;
        for (unsigned int row = 0; row < 7; ++row) {
            for (unsigned int column = 0; column < 5; ++column) {
                const bool dot = (glyphs[digits[d] - '0'][row] >> (4 - column)) & 1u;
                const unsigned int x = left + column * scale + scale / 2;
                const unsigned int y = (1 + row) * scale + scale / 2;
                if (image.at(x, y) != (dot ? top : 0u)) return false;
            }
        }
    }
    return true;
}

Grey flippedVertically(const Grey& image) {
    Grey out = image;
    for (unsigned int y = 0; y < image.height; ++y) {
        for (unsigned int x = 0; x < image.width; ++x)
            out.samples[y * image.width + x] = image.at(x, image.height - 1 - y);
    }
    return out;
}

TEST_F(Korvane, LaunchWithoutADescriptionRunsTheDemoIntoPngFiles) {
    const Result run = korvane("launch --frames 5 --output demo");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("running: korvane launch 'SimCamera ", 0), 0u) << run.out;
    EXPECT_EQ(summary(run.out, "frames"), "5");
    EXPECT_EQ(summary(run.out, "dropped"), "0");
    EXPECT_EQ(summary(run.out, "files"),
              dir.file("demo/frame_00000.png") + " .. " + dir.file("demo/frame_00004.png"));
    ASSERT_EQ(filesIn(dir.file("demo")).size(), 5u);
    // Threshold at 100, then flipped top to bottom: frame n's counter and its ramp.
    for (unsigned int n = 0; n < 5; ++n) {
        char name[32];
        std::snprintf(name, sizeof name, "demo/frame_%05u.png", n);
        const Grey image = flippedVertically(readPng(dir.file(name)));
        ASSERT_EQ(image.width, 640u) << name;
        ASSERT_EQ(image.height, 480u) << name;
        EXPECT_TRUE(showsCounter(image, n, 255)) << name;
        for (unsigned int x : {100u, 150u, 639u}) {
            const unsigned int y = 300;
            EXPECT_EQ(image.at(x, y), gradient(x, y, n, 8) >= 100 ? 255u : 0u) << name << " " << x;
        }
    }
}

TEST_F(Korvane, SixteenBitFramesKeepTheirSamplesThroughPngAndTiff) {
    Result run = korvane(
        "launch 'SimCam-1 Width=96 Height=64 SampleType=uint16 FrameRate=0 "
        "! PngStorage File=png/f%d.png' --frames 3");
    ASSERT_EQ(run.code, 0) << run.err;
    run = korvane(
        "launch 'SimCamera Width=96 Height=64 SampleType=uint16 FrameRate=0 "
        "! TiffStorage File=\"tiff/all frames.tif\" Compression=LZW' --frames 4");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(summary(run.out, "files"), dir.file("tiff/all frames.tif"));
    EXPECT_EQ(filesIn(dir.file("tiff")), std::vector<std::string>{"all frames.tif"});
    for (unsigned int n = 0; n < 4; ++n) {
        const Grey tiff = readTiff(dir.file("tiff/all frames.tif"), n);
        EXPECT_EQ(tiff.frames, 4u);
        ASSERT_EQ(tiff.width, 96u);
        EXPECT_EQ(tiff.bits, 16u);
        EXPECT_TRUE(showsCounter(tiff, n, 65535)) << n;
        EXPECT_EQ(tiff.at(90, 40), gradient(90, 40, n, 16)) << n;
        if (n == 3) continue;
        const Grey png = readPng(dir.file("png/f" + std::to_string(n) + ".png"));
        EXPECT_EQ(png.bits, 16u);
        EXPECT_EQ(png.samples, tiff.samples) << n;
    }
}

TEST_F(Korvane, RunFileBuildsTheSameSetupAndTheCommandLineOverridesItsRunSection) {
    writeFile("setup.run",
              "# binning halves the frame\n[Run]\nFrames = 4\n\n[SimCamera]\nWidth = 64\n"
              "Height = 48\r\nFrameRate = 0\n[Binning]\nFactor = 2\n[PnmStorage]\n"
              "File = \"out/f_%02d.pgm\"\n");
    Result run = korvane("run setup.run");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(filesIn(dir.file("out")),
              (std::vector<std::string>{"f_00.pgm", "f_01.pgm", "f_02.pgm", "f_03.pgm"}));
    EXPECT_EQ(readFile(dir.file("out/f_03.pgm")).rfind("P5\n32 24\n255\n", 0), 0u);

    run = korvane("run setup.run --frames 2");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(summary(run.out, "frames"), "2");
}

TEST_F(Korvane, NullSinkCountsExactlyTheFramesAskedFor) {
    const Result run = korvane(
        "launch 'SimCamera Width=64 Height=48 FrameRate=0 ! Flip ! null' "
        "--frames 250");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(summary(run.out, "frames"), "250");
    EXPECT_EQ(summary(run.out, "MB written"), "0.00");
    EXPECT_EQ(summary(run.out, "files"), "none (null sink)");
    EXPECT_TRUE(run.err.empty()) << run.err;  // no progress when stderr is no terminal
}

// A live camera does not wait for the chain: what the PNG writer cannot take in a
// second is dropped and counted; the files hold the frames that were taken.
TEST_F(Korvane, LiveCameraDropsWhatTheChainCannotTakeAndCountsIt) {
    const Result run = korvane(
        "launch 'SimCamera Width=1024 Height=1024 FrameRate=1000 ! PngStorage "
        "File=live/f_%d.png' --live --buffer 1 --duration 1");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_GT(std::stoul("0" + summary(run.out, "dropped")), 0u) << run.out;
    EXPECT_EQ(summary(run.out, "frames"), std::to_string(filesIn(dir.file("live")).size()));
}

TEST_F(Korvane, SnapshotPicksTheStorageByExtensionAndDetectFindsTheCamera) {
    Result run = korvane("snapshot 'SimGrabber0 Width=40 Height=30' one.png");
    ASSERT_EQ(run.code, 0) << run.err;
    const Grey image = readPng(dir.file("one.png"));
    EXPECT_EQ(image.width, 40u);
    EXPECT_TRUE(showsCounter(image, 0, 255));

    run = korvane("detect");
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("SimGrabber0: Korvane SimGrabber, interface Simulated\n  camera "
                           "SimCamera: Korvane SimCam-1\n"),
              std::string::npos)
        << run.out;
}

TEST_F(Korvane, CtrlCStopsCleanlyWithCompleteFilesAndExitCode130) {
    // The run starts in the background; SIGINT follows once frames are on disk. Every
    // wait is bounded: the tool is killed after 60 s in any case.
    const Result run = shell(
        "timeout -k 5 60 " + shellQuoted(kTool) +
        " launch 'SimCamera Width=320 Height=240 FrameRate=200 ! PngStorage File=stop/f_%04d.png'"
        " --progress >out.txt 2>err.txt & pid=$!; i=0; "
        "while [ ! -e stop/f_0150.png ] && [ $i -lt 300 ]; do sleep 0.1; i=$((i+1)); done; "
        "kill -INT $pid; wait $pid");
    ASSERT_EQ(run.code, 130) << run.err;
    const std::string frames = summary(run.out, "frames");
    ASSERT_FALSE(frames.empty()) << run.out;
    const unsigned int count = static_cast<unsigned int>(std::stoul(frames));
    EXPECT_GE(count, 151u);
    const std::vector<std::string> files = filesIn(dir.file("stop"));
    ASSERT_EQ(files.size(), count);
    for (unsigned int n = 0; n < count; ++n) {
        const Grey image = readPng(dir.file("stop/" + files[n]));
        EXPECT_EQ(image.samples.size(), 320u * 240u) << files[n];
        EXPECT_TRUE(showsCounter(image, n, 255)) << files[n];
    }
    EXPECT_NE(run.err.find(" frames/s  dropped 0\n"), std::string::npos) << run.err;
}

}  // namespace
