#pragma once
// Bounded waiting for threaded tests: poll a condition until it holds or a generous
// deadline passes, so that a fault fails the test instead of hanging CI.

#include <chrono>
#include <thread>

namespace KorvaneTest {

constexpr std::chrono::seconds kGenerousDeadline{10};

template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = kGenerousDeadline) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace KorvaneTest
