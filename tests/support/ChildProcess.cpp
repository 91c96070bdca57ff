#include "support/ChildProcess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace KorvaneTest {

namespace {

constexpr const char* kChildVariable = "KORVANE_CHILD_TEST";

std::string currentTestName() {
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return info ? std::string(info->test_suite_name()) + "." + info->name() : std::string();
}

// Waits for child until limit, then kills it; false when it had to be killed.
bool waitBounded(pid_t child, std::chrono::seconds limit, int& status) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (::waitpid(child, &status, WNOHANG) != child) {
        if (std::chrono::steady_clock::now() > end) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace

bool inFreshProcess(std::chrono::seconds limit) {
    const std::string name = currentTestName();
    const char* marker = std::getenv(kChildVariable);
    if (marker && name == marker) return true;

    // Everything the child needs is built before fork: after it only exec runs.
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) {
        if (std::string(*entry).rfind(std::string(kChildVariable) + "=", 0) != 0)
            environment.push_back(*entry);
    }
    environment.push_back(std::string(kChildVariable) + "=" + name);
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::string program = "/proc/self/exe";
    std::string filter = "--gtest_filter=" + name;
    char* argv[] = {program.data(), filter.data(), nullptr};

    const pid_t child = ::fork();
    if (child == -1) {
        ADD_FAILURE() << "fork failed";
        return false;
    }
    if (child == 0) {
        ::execve(argv[0], argv, envp.data());
        ::_exit(127);
    }
    int status = 0;
    if (!waitBounded(child, limit, status)) {
        ADD_FAILURE() << name << ": the child process did not end within " << limit.count() << " s";
        return false;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << name << ": the child process failed, status " << status;
    return false;
}

}  // namespace KorvaneTest
