#include <gtest/gtest.h>
#include <korvane/log/LogFileWriter.h>
#include <korvane/log/LogItem.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/TempDir.h"
#include "support/TextItem.h"

using namespace Korvane;
namespace fs = std::filesystem;
using KorvaneTest::readFile;
using KorvaneTest::TextItem;

namespace {

class ThrowingItem : public LogItemInterface {
public:
    void print(std::string&) const override { throw std::runtime_error("disk on fire"); }
};

void createFile(const std::string& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

// "first\n...\nlast\n" for the numbers first to last.
std::string numberLines(int first, int last) {
    std::string text;
    for (int n = first; n <= last; ++n) text += std::to_string(n) + "\n";
    return text;
}

class LogFileWriterTest : public ::testing::Test {
protected:
    void configure(const std::string& file, int maxLines, const char* mode = "Append") {
        configure(writer, file, maxLines, mode);
    }
    static void configure(LogFileWriter& target, const std::string& file, int maxLines,
                          const char* mode) {
        ASSERT_TRUE(target.beginPropertyChange());
        ASSERT_TRUE(target.setProperty("FileName", file));
        ASSERT_TRUE(target.setProperty("MaxLines", maxLines));
        ASSERT_TRUE(target.setProperty("OpenMode", mode));
        ASSERT_TRUE(target.endPropertyChange());
    }
    void writeNumbers(int first, int last) {
        for (int n = first; n <= last; ++n) writer.write(TextItem(std::to_string(n)));
    }

    KorvaneTest::TempDir dir;
    const std::string log = dir.file("log.txt");
    LogFileWriter writer;
};

}  // namespace

TEST_F(LogFileWriterTest, DeclaresItsThreeProperties) {
    std::string text;
    EXPECT_TRUE(writer.getProperty("ComponentType", &text));
    EXPECT_EQ(text, "LogWriter");

    EXPECT_EQ(writer.propertyType("FileName"), string_property);
    EXPECT_EQ(writer.propertyAccess("FileName"), read_write_access);
    EXPECT_EQ(writer.propertyCategory("FileName"), 4);
    EXPECT_EQ(writer.propertyDescription("FileName"), "The output filename.");
    EXPECT_TRUE(writer.getProperty("FileName", &text));
    EXPECT_EQ(text, "");

    int maxLines = 0;
    EXPECT_EQ(writer.propertyType("MaxLines"), int32_property);
    EXPECT_EQ(writer.propertyAccess("MaxLines"), read_write_access);
    EXPECT_EQ(writer.propertyCategory("MaxLines"), 0);
    EXPECT_EQ(writer.propertyDescription("MaxLines"), "Maximum number of lines in this log file.");
    EXPECT_TRUE(writer.getProperty("MaxLines", &maxLines));
    EXPECT_EQ(maxLines, -1);

    EXPECT_EQ(writer.propertyType("OpenMode"), enum_property);
    EXPECT_EQ(writer.propertyAccess("OpenMode"), read_write_access);
    EXPECT_EQ(writer.propertyCategory("OpenMode"), 0);
    EXPECT_EQ(writer.propertyDescription("OpenMode"),
              "Defines whether the log file is cleared (size = 0) at begin or that new data is "
              "appended at the end.");
    EXPECT_EQ(writer.propertyEnumList("OpenMode"), (std::vector<std::string>{"Trunc", "Append"}));
    EXPECT_TRUE(writer.getProperty("OpenMode", &text));
    EXPECT_EQ(text, "Append");
}

TEST_F(LogFileWriterTest, CreateCopyStartsFromTheInitialSettings) {
    configure(log, 16, "Trunc");
    const std::unique_ptr<LogWriter> copy(writer.createCopy());
    ASSERT_NE(dynamic_cast<LogFileWriter*>(copy.get()), nullptr);
    std::string text;
    int maxLines = 0;
    EXPECT_TRUE(copy->getProperty("FileName", &text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(copy->getProperty("MaxLines", &maxLines));
    EXPECT_EQ(maxLines, -1);
    EXPECT_TRUE(copy->getProperty("OpenMode", &text));
    EXPECT_EQ(text, "Append");
}

TEST_F(LogFileWriterTest, WritesOneFlushedLinePerItem) {
    configure(log, -1);
    writer.write(TextItem("first"));
    EXPECT_EQ(readFile(log), "first\n") << "visible before the writer closes";
    writer.write(TextItem("second"));
    EXPECT_EQ(readFile(log), "first\nsecond\n");
}

TEST_F(LogFileWriterTest, SeventeenthLineOfSixteenRotatesToTheNewestTwo) {
    configure(log, 16);
    writeNumbers(1, 16);
    EXPECT_EQ(readFile(log), numberLines(1, 16));
    writeNumbers(17, 17);
    EXPECT_EQ(readFile(log), numberLines(16, 17));
    EXPECT_FALSE(fs::exists(dir.file("__temp__log.txt")));

    // The count restarted at 2: fourteen more lines fill the file, the next rotates.
    writeNumbers(18, 31);
    EXPECT_EQ(readFile(log), numberLines(16, 31));
    writeNumbers(32, 32);
    EXPECT_EQ(readFile(log), numberLines(31, 32));
}

TEST_F(LogFileWriterTest, EighthLineOfSevenEmptiesTheFile) {
    configure(log, 7);
    writeNumbers(1, 8);
    EXPECT_TRUE(fs::exists(log));
    EXPECT_EQ(readFile(log), "");
    writeNumbers(9, 9);
    EXPECT_EQ(readFile(log), "9\n");
}

TEST_F(LogFileWriterTest, NoLimitAtMinusOneOrZero) {
    for (const int unlimited : {-1, 0}) {
        const std::string file = dir.file("unlimited" + std::to_string(unlimited) + ".txt");
        LogFileWriter target;
        configure(target, file, unlimited, "Append");
        for (int n = 1; n <= 300; ++n) target.write(TextItem(std::to_string(n)));
        EXPECT_EQ(readFile(file), numberLines(1, 300)) << "MaxLines " << unlimited;
    }
}

TEST_F(LogFileWriterTest, AppendCountsTheLinesAlreadyThere) {
    createFile(log, numberLines(1, 5));
    configure(log, 8);
    writeNumbers(6, 8);
    EXPECT_EQ(readFile(log), numberLines(1, 8)) << "appended, nothing truncated";
    writeNumbers(9, 9);
    EXPECT_EQ(readFile(log), "9\n") << "the 9th line exceeds 8 only if the 5 were counted";
}

TEST_F(LogFileWriterTest, AppendCountsAnUnfinishedLastLineAndEndsIt) {
    createFile(log, "1\n2\n3\n4\n5");
    configure(log, 8);
    writeNumbers(6, 8);
    EXPECT_EQ(readFile(log), numberLines(1, 8));
    writeNumbers(9, 9);
    EXPECT_EQ(readFile(log), "9\n");
}

TEST_F(LogFileWriterTest, AppendCreatesAMissingFile) {
    configure(log, 8);
    EXPECT_TRUE(fs::exists(log));
    writeNumbers(1, 9);
    EXPECT_EQ(readFile(log), "9\n");
}

TEST_F(LogFileWriterTest, TruncEmptiesTheFileOfAClosedWriter) {
    createFile(log, numberLines(1, 5));
    configure(log, 8, "Trunc");
    EXPECT_EQ(readFile(log), "") << "emptied at activation, before any write";
    writeNumbers(1, 8);
    EXPECT_EQ(readFile(log), numberLines(1, 8));
    writeNumbers(9, 9);
    EXPECT_EQ(readFile(log), "9\n");
}

TEST_F(LogFileWriterTest, TruncLeavesTheFileOfAnOpenWriter) {
    configure(log, -1, "Append");
    writeNumbers(1, 3);
    configure(log, -1, "Trunc");
    EXPECT_EQ(readFile(log), numberLines(1, 3));
    writeNumbers(4, 4);
    EXPECT_EQ(readFile(log), numberLines(1, 4));
}

TEST_F(LogFileWriterTest, NewFileNameTakesEffectAtActivation) {
    const std::string other = dir.file("other.txt");
    configure(log, -1);
    writeNumbers(1, 1);
    ASSERT_TRUE(writer.setProperty("FileName", other));
    writeNumbers(2, 2);
    EXPECT_EQ(readFile(log), "1\n2\n") << "a plain write changes nothing yet";
    ASSERT_TRUE(writer.endPropertyChange());
    writeNumbers(3, 3);
    EXPECT_EQ(readFile(log), "1\n2\n");
    EXPECT_EQ(readFile(other), "3\n");
}

TEST_F(LogFileWriterTest, EmptyFileNameWritesNothing) {
    writer.write(TextItem("before any activation"));
    configure("", 4);
    writeNumbers(1, 10);
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST_F(LogFileWriterTest, EmptyFileNameClosesAnOpenFile) {
    configure(log, -1);
    writeNumbers(1, 1);
    configure("", -1);
    writeNumbers(2, 2);
    EXPECT_EQ(readFile(log), "1\n");
}

TEST_F(LogFileWriterTest, FileThatCannotBeOpenedLosesLinesSilently) {
    configure(dir.file("missing/log.txt"), 2);
    writeNumbers(1, 5);
    EXPECT_FALSE(fs::exists(dir.file("missing")));
}

TEST_F(LogFileWriterTest, RotationKeepsLinesWhenTheTemporaryNameIsADirectory) {
    const std::string blocker = dir.file("__temp__log.txt");
    fs::create_directory(blocker);
    configure(log, 16);
    writeNumbers(1, 17);
    EXPECT_EQ(readFile(log), numberLines(16, 17));
    EXPECT_TRUE(fs::is_directory(blocker)) << "nothing of someone else's is removed";

    writeNumbers(18, 32);
    EXPECT_EQ(readFile(log), numberLines(31, 32)) << "the count restarted at 2 here too";
}

TEST_F(LogFileWriterTest, RotationReplacesAStaleTemporaryFileInTheFilesDirectory) {
    fs::create_directory(dir.file("logs"));
    const std::string nested = dir.file("logs/log.txt");
    const std::string stale = dir.file("logs/__temp__log.txt");
    createFile(stale, "left over from a crash\n");
    configure(nested, 16);
    writeNumbers(1, 17);
    EXPECT_EQ(readFile(nested), numberLines(16, 17));
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_FALSE(fs::exists(dir.file("__temp__log.txt")));
}

TEST_F(LogFileWriterTest, ExceptionWhileWritingIsReportedOnStandardOutput) {
    configure(log, -1);
    ::testing::internal::CaptureStdout();
    writer.write(ThrowingItem());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "ERROR: Can not write to log file. Reason: disk on fire");
    writer.write(TextItem("still writing"));
    EXPECT_EQ(readFile(log), "still writing\n");
}
