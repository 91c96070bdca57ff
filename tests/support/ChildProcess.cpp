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

bool inFreshProcess(std::chrono::seconds limit) {
    const std::string variable = "KORVANE_CHILD_TEST";
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(info->test_suite_name()) + "." + info->name();
    const char* marker = std::getenv(variable.c_str());
    if (marker && name == marker) return true;

    // Everything the child needs is built before fork: after it only exec runs. The
    // environment is copied rather than changed, since other threads may read it.
    std::vector<std::string> environment = {variable + "=" + name};
    for (char** entry = environ; *entry; ++entry) {
        if (std::string(*entry).rfind(variable + "=", 0) != 0) environment.push_back(*entry);
    }
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::string program = "/proc/self/exe";
    std::string filter = "--gtest_filter=" + name;
    char* argv[] = {program.data(), filter.data(), nullptr};

    const pid_t child = ::fork();
    if (child == 0) {
        ::execve(argv[0], argv, envp.data());
        ::_exit(127);
    }
    int status = 0;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (child != -1 && ::waitpid(child, &status, WNOHANG) != child) {
        if (std::chrono::steady_clock::now() > end) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            ADD_FAILURE() << name << ": the child process did not end within " << limit.count()
                          << " s";
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(child != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << name << ": the child process failed (fork or exit), status " << status;
    return false;
}

}  // namespace KorvaneTest
