// Slow: the whole acquisition setup started and stopped a thousand times. Every stop of
// an operator process waits at least one stop interval (10 ms), so this takes tens of
// seconds; it looks for hangs, leaks (under AddressSanitizer) and claims left behind.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "support/AcquisitionSetup.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

using KorvaneTest::eventually;

TEST(AcquisitionSetupCycles, AThousandStartsAndStopsLeaveNothingRunningOrClaimed) {
    constexpr int cycles = 1000;
    KorvaneTest::TempDir directory;
    KorvaneTest::AcquisitionSetup setup(directory.path(), 1000);
    ASSERT_TRUE(setup.wired);
    KorvaneTest::SaveEveryNth& sink = KorvaneTest::sinkOf(setup.sink);

    const auto began = std::chrono::steady_clock::now();
    for (int cycle = 0; cycle < cycles; ++cycle) {
        // Each run carries at least one frame from the camera into the sink.
        const unsigned long long before = sink.received.load();
        setup.topology->start();
        ASSERT_TRUE(eventually([&] { return sink.received.load() > before; }))
            << "no frame in cycle " << cycle;
        setup.topology->stop();
        ASSERT_EQ(setup.leftovers(), "") << "cycle " << cycle;
    }
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - began);
    std::printf("%d cycles in %lld ms\n", cycles, static_cast<long long>(took.count()));
    EXPECT_GE(sink.saved.load(), 1u);
}
