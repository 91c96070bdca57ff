// Destroying the event manager at exit with a dispatcher installed, its dispatch stalled
// and events pending, in a child forked before this program touches the event manager.
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
using namespace KorvaneTest;

namespace {

constexpr int kPosted = 300;

std::atomic<int> deletions{0};
int reportFd = -1;
std::shared_ptr<EventRecord> record;

// Registered before the event manager exists, so it runs after the manager's
// destruction and reports what that left behind: "<deleted events> <dispatcher deleted>".
void report() {
    const std::string text =
        std::to_string(deletions.load()) + " " + (record->state().deleted ? "1" : "0");
    if (write(reportFd, text.data(), text.size()) < 0) std::_Exit(3);
    close(reportFd);
}

[[noreturn]] void runChild() {
    record = std::make_shared<EventRecord>();
    std::atexit(report);
    static EventGenerator sender;
    // The first event stalls dispatch for a while; the others are queued at exit.
    record->stallNextDispatch(std::chrono::milliseconds(200));
    EventManager::get()->setEventDispatcher(new RecordingDispatcher(record));
    for (int i = 0; i < kPosted; ++i) {
        EventManager::get()->postEvent(new CountedEvent("pending", &deletions), &sender);
        if (i == 0 && !record->waitUntilStalled()) std::_Exit(2);
    }
    std::exit(0);
}

}  // namespace

TEST(EventManagerExit, DestructionWithDispatcherAndPendingEventsEndsCleanly) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(fds[0]);
        reportFd = fds[1];
        runChild();
    }
    close(fds[1]);
    int status = 0;
    if (!eventually([&] { return waitpid(child, &status, WNOHANG) == child; })) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        ADD_FAILURE() << "the child did not exit within the deadline";
    }
    char report[64] = {};
    const ssize_t length = read(fds[0], report, sizeof report - 1);
    close(fds[0]);

    ASSERT_TRUE(WIFEXITED(status)) << "status " << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(report), std::to_string(kPosted) + " 1");
}
