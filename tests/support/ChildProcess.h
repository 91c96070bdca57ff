#pragma once
// Runs the current test again, alone, in a fresh child process of this program, for
// cases that need process-wide state of their own (a singleton made from scratch).
//
//     TEST(Suite, Case) {
//         if (!KorvaneTest::inFreshProcess()) return;  // the parent stops here
//         ...                                         // the child runs the body
//     }
//
// In the parent it starts the child, waits at most limit for it (then kills it) and
// fails the test unless the child exits with 0; the child's output shows its failures.

#include <chrono>

namespace KorvaneTest {

bool inFreshProcess(std::chrono::seconds limit = std::chrono::seconds(60));

}  // namespace KorvaneTest
