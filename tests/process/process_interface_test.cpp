#include <gtest/gtest.h>
#include <korvane/process/ProcessInterface.h>

#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::makeProcess;
using KorvaneTest::ProcessHandle;

TEST(ProcessInterface, ANewProcessIsIdleNew) {
    ProcessHandle process = makeProcess();
    EXPECT_EQ(process->status(), ProcessInterface::Idle);
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleNew);
    EXPECT_FALSE(process->isRunning());
    EXPECT_FALSE(process->isStopping());
    EXPECT_EQ(process->iteration(), 0);
}

TEST(ProcessInterface, DeclaresMaxIterations) {
    ProcessHandle process = makeProcess();
    PropertyInfo info;
    ASSERT_TRUE(process->propertyInfo("MaxIterations", &info));
    EXPECT_EQ(info.type, int64_property);
    EXPECT_EQ(info.access, read_write_access);
    EXPECT_EQ(info.category, 6);
    EXPECT_EQ(info.description,
              "The number of iterations this process should run (-1 denotes infinite).");
    long long value = 0;
    ASSERT_TRUE(process->getProperty("MaxIterations", &value));
    EXPECT_EQ(value, -1);
}

TEST(ProcessInterface, StopProcessOnANeverStartedProcessDoesNothing) {
    ProcessHandle process = makeProcess();
    process->stopProcess();
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleNew);
    EXPECT_EQ(process->initCalls(), 0);
    EXPECT_EQ(process->cleanupCalls(), 0);
}

TEST(ProcessInterface, SleepWithoutAThreadReturnsAtOnce) {
    ProcessHandle process = makeProcess();
    auto done = KorvaneTest::startDetached([process] { process->sleep(600000); });
    EXPECT_EQ(done.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
}
