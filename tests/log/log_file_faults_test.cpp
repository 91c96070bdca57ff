// LogFileWriter when the file system fails under it: the directory removed or made
// read-only while the file is written (as root the latter only checks that nothing
// changes). Nothing may crash, no
// kept line may be lost where the file system allows it, and a failure is reported
// once, not for every line.
#include <gtest/gtest.h>
#include <korvane/log/LogFileWriter.h>

#include <filesystem>
#include <string>

#include "support/TempDir.h"
#include "support/TextItem.h"

using namespace Korvane;
using namespace KorvaneTest;
namespace fs = std::filesystem;

namespace {

constexpr char kReport[] = "ERROR: Can not write to log file. Reason: ";

void configure(LogFileWriter& writer, const std::string& file, int maxLines) {
    ASSERT_TRUE(writer.setProperty("FileName", file));
    ASSERT_TRUE(writer.setProperty("MaxLines", maxLines));
    ASSERT_TRUE(writer.endPropertyChange());
}

void writeNumbers(LogFileWriter& writer, int first, int last) {
    for (int n = first; n <= last; ++n) writer.write(TextItem(std::to_string(n)));
}

// How often the failure report appears in what was printed.
int reports(const std::string& printed) {
    int count = 0;
    for (std::size_t at = printed.find(kReport); at != std::string::npos;
         at = printed.find(kReport, at + 1))
        ++count;
    return count;
}

class LogFileFaults : public ::testing::Test {
protected:
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(logs, fs::perms::owner_all, ignored);
    }

    TempDir dir;
    const std::string logs = dir.file("logs");
    const std::string log = logs + "/logfile.txt";
    LogFileWriter writer;
};

}  // namespace

TEST_F(LogFileFaults, RemovedDirectoryIsReportedOnceAndWritingResumesWhenItIsBack) {
    fs::create_directory(logs);
    configure(writer, log, 16);
    writeNumbers(writer, 1, 5);
    fs::remove_all(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 6, 40);  // enough to rotate, were the file there
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(reports(printed), 1) << printed;
    EXPECT_NE(printed.find(log), std::string::npos) << printed;
    EXPECT_FALSE(fs::exists(logs)) << "the writer must not make directories";

    fs::create_directory(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 41, 43);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(readFile(log), "41\n42\n43\n");
    // A later outage is reported again.
    fs::remove_all(logs);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 44, 45);
    EXPECT_EQ(reports(::testing::internal::GetCapturedStdout()), 1);
}

TEST_F(LogFileFaults, ReadOnlyDirectoryLosesNoKeptLineInRotation) {
    // The same lines through a writer whose directory stays writable.
    LogFileWriter control;
    configure(control, dir.file("control.txt"), 16);
    writeNumbers(control, 1, 100);

    fs::create_directory(logs);
    configure(writer, log, 16);
    writeNumbers(writer, 1, 10);
    fs::permissions(logs, fs::perms::owner_read | fs::perms::owner_exec);
    ::testing::internal::CaptureStdout();
    writeNumbers(writer, 11, 100);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(readFile(log), readFile(dir.file("control.txt")));
    EXPECT_FALSE(fs::exists(logs + "/__temp__logfile.txt"));
}
