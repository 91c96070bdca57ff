#include <gtest/gtest.h>
#include <korvane/log/LogFileWriter.h>
#include <korvane/log/LogItem.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/TempDir.h"
#include "support/TextItem.h"

using namespace Korvane;
using KorvaneTest::TextItem;

namespace {

constexpr int linesPerThread = 400;
// Long lines, so that a line torn by an unguarded write would show.
const std::string padding(200, '.');

std::string lineOf(char writer, int n) {
    return std::string(1, writer) + "-" + std::to_string(n) + padding;
}

// Every line must be one whole line of one writer; answers the numbers seen per
// writer, in file order.
std::map<char, std::vector<int>> parse(const std::string& file) {
    std::map<char, std::vector<int>> seen;
    std::ifstream reader(file);
    for (std::string line; std::getline(reader, line);) {
        const std::size_t dash = line.find('-');
        EXPECT_EQ(dash, 1u) << "torn line: " << line;
        if (dash != 1) continue;
        const int n = std::atoi(line.c_str() + 2);
        EXPECT_EQ(line, lineOf(line[0], n)) << "torn line";
        seen[line[0]].push_back(n);
    }
    return seen;
}

// Threads that start together on one writer. Each thread holds the writer until its
// body ends, so one still running after a failed deadline never touches a destroyed
// writer; its lines then go to a directory already removed, which is harmless.
class LogFileWriterThreads : public ::testing::Test {
protected:
    LogFileWriterThreads() { configure(file, -1); }

    void configure(const std::string& name, int maxLines) {
        writer->beginPropertyChange();
        writer->setProperty("FileName", name);
        writer->setProperty("MaxLines", maxLines);
        writer->endPropertyChange();
    }

    // A thread that waits for go(), then writes its lines numbered 0 to linesPerThread - 1.
    std::future<void> startWriting(char name) {
        return KorvaneTest::startDetached([writer = writer, ready = ready, name]() mutable {
            ready.wait();
            for (int n = 0; n < linesPerThread; ++n) writer->write(TextItem(lineOf(name, n)));
            writer.reset();  // before the future is ready, so the test owns the last handle
        });
    }

    // A thread that waits for go(), then activates the writer again and again.
    std::future<void> startReconfiguring(int times) {
        return KorvaneTest::startDetached([writer = writer, ready = ready, times]() mutable {
            ready.wait();
            for (int n = 0; n < times; ++n) {
                writer->beginPropertyChange();
                writer->endPropertyChange();
            }
            writer.reset();
        });
    }

    void go() { start.set_value(); }

    static bool finished(std::future<void>& done) {
        return done.wait_for(KorvaneTest::kGenerousDeadline * 3) == std::future_status::ready;
    }

    KorvaneTest::TempDir dir;
    std::shared_ptr<LogFileWriter> writer = std::make_shared<LogFileWriter>();
    const std::string file = dir.file("log.txt");
    std::promise<void> start;
    std::shared_future<void> ready = start.get_future().share();
};

// The numbers from first to linesPerThread - 1.
std::vector<int> numbersFrom(int first) {
    std::vector<int> numbers;
    for (int n = first; n < linesPerThread; ++n) numbers.push_back(n);
    return numbers;
}

}  // namespace

TEST_F(LogFileWriterThreads, ConcurrentWritersProduceWholeLines) {
    std::future<void> a = startWriting('A');
    std::future<void> b = startWriting('B');
    go();
    ASSERT_TRUE(finished(a));
    ASSERT_TRUE(finished(b));

    const auto seen = parse(file);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen.at('A'), numbersFrom(0));
    EXPECT_EQ(seen.at('B'), numbersFrom(0));
}

TEST_F(LogFileWriterThreads, RotationUnderConcurrentWritersKeepsTheNewestWholeLines) {
    configure(file, 64);
    std::future<void> a = startWriting('A');
    std::future<void> b = startWriting('B');
    go();
    ASSERT_TRUE(finished(a));
    ASSERT_TRUE(finished(b));

    // The first rotation comes with the 65th line and leaves 8, each later one 57 lines
    // after: 800 = 65 + 12 * 57 + 51, so 8 + 51 lines remain, the newest of all. Of
    // each thread they are its last ones.
    const auto seen = parse(file);
    std::size_t total = 0;
    for (const auto& [name, numbers] : seen) {
        total += numbers.size();
        EXPECT_EQ(numbers, numbersFrom(linesPerThread - static_cast<int>(numbers.size())))
            << "thread " << name;
    }
    EXPECT_EQ(total, 59u);
}

TEST_F(LogFileWriterThreads, ReconfigurationNeverSplitsALine) {
    std::future<void> writing = startWriting('A');
    std::future<void> reconfiguring = startReconfiguring(linesPerThread / 4);
    go();
    ASSERT_TRUE(finished(writing));
    ASSERT_TRUE(finished(reconfiguring));

    const auto seen = parse(file);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen.at('A'), numbersFrom(0));
}
