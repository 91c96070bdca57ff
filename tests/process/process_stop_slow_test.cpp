// Slow: a process that never returns from its sequence holds stopProcess for the whole
// round of stop attempts (about ten seconds) before its thread is destroyed.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/process/ProcessInterface.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "support/TestProcesses.h"

using namespace Korvane;
using namespace std::chrono_literals;
using KorvaneTest::ProcessHandle;
using KorvaneTest::stopProcessWithin;

TEST(ProcessStopSlow, AThreadThatIgnoresTheStopIsDestroyedAfterTheAttempts) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer does not support cancelling a thread";
#endif
    BufferManager* manager = BufferManager::get();
    std::string name;
    BufferRefPtr buffer = manager->create("StringFifo", 4, name, true);
    ProcessHandle process = KorvaneTest::makeProcess();
    process->addBufferSlot("In", "string", slot_input, "", false);
    ASSERT_TRUE(process->setBufferSlot("In", buffer.rawPtr(), slot_input));

    // Spins without a cancellation point, deaf to the stop flag and the buffers.
    auto spin = std::make_shared<std::atomic<bool>>(true);
    auto spins = std::make_shared<std::atomic<unsigned long long>>(0);
    process->onSequence = [spin, spins](unsigned long long) {
        while (spin->load()) spins->fetch_add(1, std::memory_order_relaxed);
        return true;
    };
    process->startProcess();
    ASSERT_TRUE(KorvaneTest::eventually([&] { return spins->load() > 0; }));

    const auto begun = std::chrono::steady_clock::now();
    ASSERT_TRUE(stopProcessWithin(process, 60s)) << "the thread was not destroyed";
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 9s) << "destroyed before the attempts";
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->cleanupCalls(), 0);
    EXPECT_TRUE(process->bufferSlot("In").isNull());

    spin->store(false);  // the process can run again
    process->setProperty("MaxIterations", 2LL);
    process->startProcess();
    ASSERT_TRUE(KorvaneTest::reaches(process));
    EXPECT_EQ(process->iteration(), 2);
    ASSERT_TRUE(stopProcessWithin(process));
    manager->releaseInstance(name.c_str());
}
