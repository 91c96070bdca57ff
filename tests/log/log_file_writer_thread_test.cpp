// LogFileWriter: lines, rotation, open modes and failures, the file system failing under
// it, and threads sharing one writer (each thread holds the writer until its body ends,
// so one still running after a failed deadline never touches a destroyed writer).
#include <gtest/gtest.h>
#include <korvane/log/LogFileWriter.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/SerializedTable.h"
#include "support/TempDir.h"
#include "support/TextItem.h"

using namespace Korvane;
namespace fs = std::filesystem;
using namespace KorvaneTest;

namespace {

constexpr int linesPerThread = 400;

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

void configure(LogFileWriter& writer, const std::string& file, int maxLines,
               const char* mode = "Append") {
    ASSERT_TRUE(writer.beginPropertyChange());
    ASSERT_TRUE(writer.setProperty("FileName", file));
    ASSERT_TRUE(writer.setProperty("MaxLines", maxLines));
    ASSERT_TRUE(writer.setProperty("OpenMode", mode));
    ASSERT_TRUE(writer.endPropertyChange());
}

void writeNumbers(LogFileWriter& writer, int first, int last) {
    for (int n = first; n <= last; ++n) writer.write(TextItem(std::to_string(n)));
}

// Long lines, so that a line torn by an unguarded write would show.
std::string lineOf(char writer, int n) {
    return std::string(1, writer) + "-" + std::to_string(n) + std::string(200, '.');
}

// Each writer's numbers in file order; every line must be one whole line.
std::map<char, std::vector<int>> parse(const std::string& file) {
    std::map<char, std::vector<int>> seen;
    std::ifstream reader(file);
    for (std::string line; std::getline(reader, line);) {
        const int n = line.size() > 2 ? std::atoi(line.c_str() + 2) : -1;
        EXPECT_EQ(line, lineOf(line[0], n)) << "torn line";
        seen[line[0]].push_back(n);
    }
    return seen;
}

std::vector<int> numbersFrom(int first) {
    std::vector<int> numbers;
    for (int n = first; n < linesPerThread; ++n) numbers.push_back(n);
    return numbers;
}

class LogFileWriterTest : public ::testing::Test {
protected:
    // A thread that waits for run(), then calls step for 0 to linesPerThread - 1.
    std::future<void> startThread(std::function<void(LogFileWriter&, int)> step) {
        return startDetached([shared = shared, ready = ready, step]() mutable {
            ready.wait();
            for (int n = 0; n < linesPerThread; ++n) step(*shared, n);
            shared.reset();  // before the future is ready: the test owns the last handle
        });
    }

    std::future<void> startWriting(char name) {
        return startThread([name](LogFileWriter& w, int n) { w.write(TextItem(lineOf(name, n))); });
    }

    template <class... Futures>
    void run(Futures... threads) {
        start.set_value();
        for (auto* done : {&threads...})
            ASSERT_EQ(done->wait_for(kGenerousDeadline * 3), std::future_status::ready);
    }

    TempDir dir;
    const std::string log = dir.file("log.txt");
    LogFileWriter writer;
    std::shared_ptr<LogFileWriter> shared = std::make_shared<LogFileWriter>();
    std::promise<void> start;
    std::shared_future<void> ready = start.get_future().share();
};

}  // namespace

TEST_F(LogFileWriterTest, DeclaresItsPropertiesAndCopiesStartFromTheirInitialValues) {
    configure(writer, log, 16, "Trunc");
    const std::unique_ptr<LogWriter> copy(writer.createCopy());
    ASSERT_NE(dynamic_cast<LogFileWriter*>(copy.get()), nullptr);
    const std::tuple<const char*, PropertyType, int, const char*> properties[] = {
        {"FileName", string_property, 4, "The output filename."},
        {"MaxLines", int32_property, 0, "Maximum number of lines in this log file."},
        {"OpenMode", enum_property, 0,
         "Defines whether the log file is cleared (size = 0) at begin or that new data is "
         "appended at the end."},
    };
    for (const auto& [name, type, category, description] : properties)
        EXPECT_EQ(record(*copy, name), record(type, read_write_access, category, description));
    std::string fileName = "?", mode, component;
    int maxLines = 0;
    EXPECT_TRUE(copy->getProperty("FileName", &fileName) &&
                copy->getProperty("MaxLines", &maxLines) && copy->getProperty("OpenMode", &mode) &&
                copy->getProperty("ComponentType", &component));
    EXPECT_EQ(fileName + "|" + std::to_string(maxLines) + "|" + mode + "|" + component,
              "|-1|Append|LogWriter");
    EXPECT_EQ(copy->propertyEnumList("OpenMode"), (std::vector<std::string>{"Trunc", "Append"}));
}

TEST_F(LogFileWriterTest, NoLimitAtMinusOneOrZeroAndEachLineIsFlushed) {
    for (const int unlimited : {-1, 0}) {
        SCOPED_TRACE(unlimited);
        const std::string file = dir.file("unlimited" + std::to_string(unlimited) + ".txt");
        LogFileWriter target;
        configure(target, file, unlimited);
        writeNumbers(target, 1, 1);
        EXPECT_EQ(readFile(file), "1\n") << "visible while the writer is open";
        writeNumbers(target, 2, 300);
        EXPECT_EQ(readFile(file), numberLines(1, 300));
    }
}

TEST_F(LogFileWriterTest, RotationKeepsTheNewestEighthWhateverHoldsTheTemporaryName) {
    fs::create_directory(dir.file("__temp__log.txt"));  // someone else's, in the way
    configure(writer, log, 16);
    writeNumbers(writer, 1, 16);
    EXPECT_EQ(readFile(log), numberLines(1, 16));
    writeNumbers(writer, 17, 17);
    EXPECT_EQ(readFile(log), numberLines(16, 17));
    writeNumbers(writer, 18, 31);  // the count restarted at 2
    EXPECT_EQ(readFile(log), numberLines(16, 31));
    writeNumbers(writer, 32, 32);
    EXPECT_EQ(readFile(log), numberLines(31, 32));
    EXPECT_TRUE(fs::is_directory(dir.file("__temp__log.txt")));

    fs::create_directory(dir.file("logs"));
    const std::string nested = dir.file("logs/log.txt");
    createFile(dir.file("logs/__temp__log.txt"), "left over from a crash\n");
    configure(writer, nested, 16);
    writeNumbers(writer, 1, 17);
    EXPECT_EQ(readFile(nested), numberLines(16, 17));
    EXPECT_FALSE(fs::exists(dir.file("logs/__temp__log.txt")));

    const std::string seven = dir.file("seven.txt");  // an eighth of 7 lines is none
    configure(writer, seven, 7);
    writeNumbers(writer, 1, 8);
    EXPECT_TRUE(fs::exists(seven));
    EXPECT_EQ(readFile(seven), "");
    writeNumbers(writer, 9, 9);
    EXPECT_EQ(readFile(seven), "9\n");
}

TEST_F(LogFileWriterTest, AppendCountsTheLinesAlreadyThere) {
    // The 9th line exceeds a maximum of 8 only if the lines found were counted.
    const std::pair<const char*, int> existing[] = {
        {nullptr, 0}, {"1\n2\n3\n4\n5\n", 5}, {"1\n2\n3\n4\n5", 5}};  // missing, unfinished
    int index = 0;
    for (const auto& [text, lines] : existing) {
        SCOPED_TRACE(++index);
        const std::string file = dir.file("append" + std::to_string(index) + ".txt");
        if (text) createFile(file, text);
        LogFileWriter target;
        configure(target, file, 8);
        writeNumbers(target, lines + 1, 8);
        EXPECT_EQ(readFile(file), numberLines(1, 8));
        writeNumbers(target, 9, 9);
        EXPECT_EQ(readFile(file), "9\n");
    }
}

TEST_F(LogFileWriterTest, TruncEmptiesTheFileOnlyOfAClosedWriter) {
    createFile(log, numberLines(1, 5));
    configure(writer, log, 8, "Trunc");
    EXPECT_EQ(readFile(log), "") << "emptied at activation";
    writeNumbers(writer, 1, 3);
    configure(writer, log, 8, "Trunc");
    writeNumbers(writer, 4, 11);
    EXPECT_EQ(readFile(log), numberLines(1, 11)) << "an open writer's file is kept";
    writeNumbers(writer, 12, 12);
    // The count restarted at 0, so 9 of the 12 lines exceed 8: the 8 oldest go.
    EXPECT_EQ(readFile(log), numberLines(9, 12));
}

TEST_F(LogFileWriterTest, FileNameTakesEffectAtActivationAndNothingIsWrittenWithoutAFile) {
    const std::string other = dir.file("other.txt");
    writer.write(TextItem("before any activation"));
    configure(writer, dir.file("missing/log.txt"), 2);
    writeNumbers(writer, 1, 5);
    configure(writer, log, -1);
    writeNumbers(writer, 1, 1);
    ASSERT_TRUE(writer.setProperty("FileName", other));
    writeNumbers(writer, 2, 2);
    ASSERT_TRUE(writer.endPropertyChange());
    writeNumbers(writer, 3, 3);
    configure(writer, "", -1);
    writeNumbers(writer, 4, 4);
    EXPECT_EQ(readFile(log), "1\n2\n");
    EXPECT_EQ(readFile(other), "3\n");
    EXPECT_FALSE(fs::exists(dir.file("missing")));
}

TEST_F(LogFileWriterTest, ExceptionWhileWritingIsReportedOnStandardOutput) {
    configure(writer, log, -1);
    ::testing::internal::CaptureStdout();
    writer.write(ThrowingItem());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "ERROR: Can not write to log file. Reason: disk on fire");
    writer.write(TextItem("still writing"));
    EXPECT_EQ(readFile(log), "still writing\n");
}

TEST_F(LogFileWriterTest, ConcurrentWritesAndActivationsKeepEveryLineWhole) {
    configure(*shared, log, -1);
    run(startWriting('A'), startWriting('B'), startThread([](LogFileWriter& w, int n) {
            if (n % 4 == 0) {
                w.beginPropertyChange();
                w.endPropertyChange();
            }
        }));
    const auto seen = parse(log);
    EXPECT_EQ(seen.size(), 2u);
    for (const auto& [name, numbers] : seen) EXPECT_EQ(numbers, numbersFrom(0)) << name;
}

TEST_F(LogFileWriterTest, RotationUnderConcurrentWritersKeepsTheNewestWholeLines) {
    configure(*shared, log, 64);
    run(startWriting('A'), startWriting('B'));
    // The first rotation comes with the 65th line and leaves 8, each later one 57 lines
    // after: 800 = 65 + 12 * 57 + 51, so 8 + 51 lines remain, each thread's last ones.
    std::size_t total = 0;
    for (const auto& [name, numbers] : parse(log)) {
        total += numbers.size();
        EXPECT_EQ(numbers, numbersFrom(linesPerThread - static_cast<int>(numbers.size()))) << name;
    }
    EXPECT_EQ(total, 59u);
}

namespace {

constexpr char kReport[] = "ERROR: Can not write to log file. Reason: ";

// How often the failure report appears in what was printed.
int reports(const std::string& printed) {
    int count = 0;
    for (std::size_t at = printed.find(kReport); at != std::string::npos;
         at = printed.find(kReport, at + 1))
        ++count;
    return count;
}

// The directory removed or made read-only while the file is written (as root the latter
// only checks that nothing changes). Nothing may crash, no kept line may be lost where
// the file system allows it, and a failure is reported once, not for every line.
class LogFileFaults : public LogFileWriterTest {
protected:
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(logs, fs::perms::owner_all, ignored);
    }
    const std::string logs = dir.file("logs");
    const std::string inLogs = logs + "/logfile.txt";
};

}  // namespace

TEST_F(LogFileFaults, RemovedDirectoryIsReportedOnceAndWritingResumesWhenItIsBack) {
    fs::create_directory(logs);
    configure(writer, inLogs, 16);
    writeNumbers(writer, 1, 5);
    fs::remove_all(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 6, 40);  // enough to rotate, were the file there
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(reports(printed), 1) << printed;
    EXPECT_NE(printed.find(inLogs), std::string::npos) << printed;
    EXPECT_FALSE(fs::exists(logs)) << "the writer must not make directories";
    fs::create_directory(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 41, 43);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(readFile(inLogs), "41\n42\n43\n");
    // A later outage is reported again.
    fs::remove_all(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 44, 45);
    EXPECT_EQ(reports(::testing::internal::GetCapturedStdout()), 1);
}

TEST_F(LogFileFaults, ReadOnlyDirectoryLosesNoKeptLineInRotation) {
    // The same lines through a writer whose directory stays writable.
    LogFileWriter control;
    configure(control, log, 16);
    writeNumbers(control, 1, 100);
    fs::create_directory(logs);
    configure(writer, inLogs, 16);
    writeNumbers(writer, 1, 10);
    fs::permissions(logs, fs::perms::owner_read | fs::perms::owner_exec);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 11, 100);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(readFile(inLogs), readFile(log));
    EXPECT_FALSE(fs::exists(logs + "/__temp__logfile.txt"));
}
