#pragma once
// Runs this test program again as a child process that runs no tests, for cases that
// need a fresh process (a singleton built once per process). The child's work is done
// by a static initializer of the test file that recognises one of the given
// environment variables, does the work and exits with its status.

#include <chrono>
#include <string>
#include <vector>

namespace KorvaneTest {

// Runs /proc/self/exe with --gtest_filter=-* in directory, with this environment plus
// the given "NAME=value" entries, and waits at most limit. The exit status (0 to 255),
// or -1 when the child was killed for hanging, or ended by a signal.
int runSelfAsChild(const std::vector<std::string>& environment, const std::string& directory,
                   std::chrono::seconds limit = std::chrono::seconds(60));

}  // namespace KorvaneTest
