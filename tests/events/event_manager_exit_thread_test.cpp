// Destroying the event manager at process exit while a dispatcher is installed, its
// dispatch stalled and events pending. The child process must be forked before this
// program touches the event manager: a forked child has no loop thread of its parent.
#include <gtest/gtest.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/events/EventManager.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/Deadline.h"
#include "support/RecordingDispatcher.h"

using namespace Korvane;
using KorvaneTest::CountedEvent;
using KorvaneTest::EventRecord;
using KorvaneTest::RecordingDispatcher;

namespace {

constexpr int kPosted = 300;

std::atomic<int> deletions{0};

// Built before the event manager and therefore destroyed after it: writes what the
// manager's destruction left behind ("<deleted events> <dispatcher deleted>").
class Reporter {
public:
    Reporter(int fd, std::shared_ptr<EventRecord> record) : m_fd(fd), m_record(std::move(record)) {}
    ~Reporter() {
        const std::string report =
            std::to_string(deletions.load()) + " " + (m_record->dispatcherDeleted() ? "1" : "0");
        if (write(m_fd, report.data(), report.size()) < 0) std::_Exit(3);
        close(m_fd);
    }

private:
    int m_fd;
    std::shared_ptr<EventRecord> m_record;
};

[[noreturn]] void runChild(int reportFd) {
    auto record = std::make_shared<EventRecord>();
    static Reporter reporter(reportFd, record);
    static EventGenerator sender;
    // The first event stalls the loop inside dispatch for a while, then lets go; the
    // others are still queued when exit destroys the manager.
    record->stallNextDispatch(std::chrono::milliseconds(200));
    EventManager::get()->setEventDispatcher(new RecordingDispatcher(record));
    for (int i = 0; i < kPosted; ++i) {
        EventManager::get()->postEvent(new CountedEvent("pending", &deletions), &sender);
        if (i == 0 && !record->waitUntilStalled()) std::_Exit(2);
    }
    record.reset();
    std::exit(0);
}

// The child's exit status; kills it and fails when it has not ended within the limit.
int awaitChild(pid_t child) {
    int status = 0;
    const bool ended =
        KorvaneTest::eventually([&] { return waitpid(child, &status, WNOHANG) == child; });
    if (!ended) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        ADD_FAILURE() << "the child did not exit within the deadline";
    }
    return status;
}

}  // namespace

TEST(EventManagerExit, DestructionWithDispatcherAndPendingEventsEndsCleanly) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(fds[0]);
        runChild(fds[1]);
    }
    close(fds[1]);
    const int status = awaitChild(child);
    char report[64] = {};
    const ssize_t length = read(fds[0], report, sizeof report - 1);
    close(fds[0]);

    ASSERT_TRUE(WIFEXITED(status)) << "status " << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(report), std::to_string(kPosted) + " 1");
}
