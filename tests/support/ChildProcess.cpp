#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

extern char** environ;

namespace KorvaneTest {

int runSelfAsChild(const std::vector<std::string>& environment, const std::string& directory,
                   std::chrono::seconds limit) {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry; ++entry) entries.push_back(*entry);
    entries.insert(entries.end(), environment.begin(), environment.end());
    std::vector<char*> envp;
    for (std::string& entry : entries) envp.push_back(entry.data());
    envp.push_back(nullptr);
    char program[] = "/proc/self/exe";
    char filter[] = "--gtest_filter=-*";
    char* argv[] = {program, filter, nullptr};

    const pid_t child = ::fork();
    if (child == -1) return -1;
    if (child == 0) {
        if (::chdir(directory.c_str()) != 0) ::_exit(126);
        ::execve(program, argv, envp.data());
        ::_exit(127);
    }
    int status = 0;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (::waitpid(child, &status, WNOHANG) != child) {
        if (std::chrono::steady_clock::now() > end) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace KorvaneTest
