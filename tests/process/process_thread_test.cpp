#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/process/ProcessInterface.h>

#include <chrono>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/TestProcesses.h"

using namespace Korvane;
using namespace std::chrono_literals;
using KorvaneTest::eventually;
using KorvaneTest::Gate;
using KorvaneTest::ProcessHandle;
using KorvaneTest::reaches;
using KorvaneTest::ScriptedProcess;
using KorvaneTest::stopWithin;

namespace {

using Calls = std::vector<unsigned long long>;
using TextFifo = FifoTemplate<std::string>;

// Every process made here is stopped when the test ends, every gate opened first (a
// failed assertion may leave a process thread waiting at one), and every buffer
// released. Gates and records live in the fixture, so they outlive the threads.
class ProcessRun : public ::testing::Test {
protected:
    void TearDown() override {
        for (Gate& gate : m_gates) gate.open();
        for (const ProcessHandle& process : m_processes) EXPECT_TRUE(stopWithin(process));
        for (const std::string& name : manager->instanceList()) {
            manager->releaseInstance(name.c_str());
        }
    }

    ProcessHandle make(long long maxIterations = -1) {
        ProcessHandle process = KorvaneTest::makeProcess();
        EXPECT_TRUE(process->setProperty("MaxIterations", maxIterations));
        m_processes.push_back(process);
        return process;
    }

    // A process with a required "string" input slot "In" bound to a new FIFO.
    ProcessHandle makeReader(BufferRefPtr* bound) {
        ProcessHandle process = make();
        EXPECT_TRUE(process->addBufferSlot("In", "string", slot_input, "", false));
        std::string name;
        *bound = manager->create("StringFifo", 4, name, true);
        EXPECT_TRUE(process->setBufferSlot("In", bound->rawPtr(), slot_input));
        return process;
    }

    Gate& gate() { return m_gates.emplace_back(); }

    static TextFifo& asText(const BufferRefPtr& buffer) { return dynamic_cast<TextFifo&>(*buffer); }

    BufferManager* manager = BufferManager::get();
    std::mutex receivedLock;  // guards received
    std::vector<long long> received;

private:
    std::vector<ProcessHandle> m_processes;
    std::list<Gate> m_gates;
};

}  // namespace

TEST_F(ProcessRun, MaxIterationsFiveCallsSequenceWithZeroToFour) {
    ProcessHandle process = make(5);
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_EQ(process->sequenceCalls(), (Calls{0, 1, 2, 3, 4}));
    EXPECT_EQ(process->iteration(), 5);
    EXPECT_EQ(process->initCalls(), 1);
    EXPECT_EQ(process->cleanupCalls(), 1);

    process->stopProcess();
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
}

TEST_F(ProcessRun, ZeroOrANegativeLimitOtherThanMinusOneRunsOnce) {
    for (long long limit : {0LL, -2LL, -1000LL}) {
        ProcessHandle process = make(limit);
        process->startProcess();
        ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone)) << limit;
        EXPECT_EQ(process->sequenceCalls(), Calls{0}) << limit;
    }
}

TEST_F(ProcessRun, ASequenceReturningFalseAtItsThirdCallEndsTheRun) {
    ProcessHandle process = make();
    process->onSequence = [](unsigned long long iteration) { return iteration < 2; };
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_EQ(process->sequenceCalls(), (Calls{0, 1, 2}));
    EXPECT_EQ(process->cleanupCalls(), 1);
}

TEST_F(ProcessRun, AMissingRequiredBufferSkipsInitAndStopLeavesIdleStopped) {
    BufferRefPtr buffer;
    ProcessHandle process = makeReader(&buffer);
    manager->releaseInstance(buffer->name().c_str());
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingNotStarted));
    EXPECT_EQ(process->initCalls(), 0);
    EXPECT_EQ(process->cleanupCalls(), 0);

    ASSERT_TRUE(stopWithin(process));
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
}

TEST_F(ProcessRun, ARunThatCouldNotStartLeavesTheBuffersItFoundAlone) {
    BufferRefPtr shared;
    ProcessHandle process = makeReader(&shared);
    process->addBufferSlot("Missing", "string", slot_input, "", false);
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingNotStarted));
    EXPECT_TRUE(process->bufferSlot("In").isNull());

    ASSERT_TRUE(stopWithin(process));
    EXPECT_TRUE(asText(shared).push("still usable")) << "stopping aborted a buffer it had let go";
}

TEST_F(ProcessRun, AnEmptyOptionalSlotDoesNotPreventTheStart) {
    ProcessHandle process = make(1);
    process->addBufferSlot("In", "string", slot_input, "", true);
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_EQ(process->initCalls(), 1);
}

TEST_F(ProcessRun, StartProcessOnARunningProcessChangesNothing) {
    Gate& reached = gate();
    Gate& release = gate();
    ProcessHandle process = make();
    process->onSequence = [&](unsigned long long iteration) {
        if (iteration == 2) {
            reached.open();
            release.waitOpen();
        }
        return true;
    };
    process->startProcess();
    ASSERT_TRUE(reached.waitOpen());

    process->startProcess();
    EXPECT_EQ(process->statusDetail(), ProcessInterface::RunningIterating);
    EXPECT_EQ(process->iteration(), 3);
    EXPECT_EQ(process->initCalls(), 1);
    release.open();
}

TEST_F(ProcessRun, StartingAfterARunEndedByItselfBeginsAtIterationZero) {
    ProcessHandle process = make(3);
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));

    process->startProcess();
    ASSERT_TRUE(eventually([&] {
        return process->initCalls() == 2 &&
               process->statusDetail() == ProcessInterface::StoppingDone;
    }));
    EXPECT_EQ(process->sequenceCalls(), (Calls{0, 1, 2, 0, 1, 2}));
    EXPECT_EQ(process->iteration(), 3);
}

TEST_F(ProcessRun, AFailedInitSkipsTheLoopButNotTheCleanup) {
    ProcessHandle process = make();
    process->onInit = [] { return false; };
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_TRUE(process->sequenceCalls().empty());
    EXPECT_EQ(process->cleanupCalls(), 1);
}

TEST_F(ProcessRun, AnExceptionFromSequenceSkipsCleanupAndUnbindsTheSlots) {
    BufferRefPtr buffer;
    ProcessHandle process = makeReader(&buffer);
    process->onSequence = [](unsigned long long) -> bool { throw std::runtime_error("broken"); };
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_EQ(process->sequenceCalls(), Calls{0});
    EXPECT_EQ(process->cleanupCalls(), 0);
    EXPECT_TRUE(process->bufferSlot("In").isNull());
}

TEST_F(ProcessRun, AnExceptionOfAnyTypeFromInitEndsTheRun) {
    ProcessHandle process = make();
    process->onInit = []() -> bool { throw 42; };
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
    EXPECT_TRUE(process->sequenceCalls().empty());
    EXPECT_EQ(process->cleanupCalls(), 0);
}

TEST_F(ProcessRun, StopProcessEndsAnUnlimitedLoop) {
    ProcessHandle process = make();
    process->startProcess();
    ASSERT_TRUE(eventually([&] { return process->iteration() >= 2; }));
    ASSERT_TRUE(stopWithin(process));
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->cleanupCalls(), 1);
    EXPECT_FALSE(process->isRunning());
}

TEST_F(ProcessRun, StopProcessReleasesASequenceBlockedInAnEmptyFifo) {
    BufferRefPtr buffer;
    ProcessHandle process = makeReader(&buffer);
    Gate& popping = gate();
    ScriptedProcess* raw = process.rawPtr();
    process->onSequence = [&popping, raw](unsigned long long) {
        std::string item;
        popping.open();
        return asText(raw->bufferSlot("In")).pop(item);
    };
    process->startProcess();
    ASSERT_TRUE(popping.waitOpen());

    ASSERT_TRUE(stopWithin(process, 5s)) << "the blocked pop was not released";
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->cleanupCalls(), 1);
    EXPECT_TRUE(process->bufferSlot("In").isNull());
    EXPECT_TRUE(asText(buffer).push("after")) << "the release flushed the abort away";
}

TEST_F(ProcessRun, TheStatusFollowsTheLifeCycle) {
    Gate& inInit = gate();
    Gate& leaveInit = gate();
    Gate& inSequence = gate();
    Gate& leaveSequence = gate();
    Gate& inCleanup = gate();
    Gate& leaveCleanup = gate();
    ProcessHandle process = make();
    process->onInit = [&] {
        inInit.open();
        return leaveInit.waitOpen();
    };
    process->onSequence = [&](unsigned long long) {
        inSequence.open();
        leaveSequence.waitOpen();
        return false;
    };
    process->onCleanup = [&] {
        inCleanup.open();
        return leaveCleanup.waitOpen();
    };
    process->startProcess();

    ASSERT_TRUE(inInit.waitOpen());
    EXPECT_EQ(process->statusDetail(), ProcessInterface::StartingInit);
    EXPECT_EQ(process->status(), ProcessInterface::Starting);
    leaveInit.open();

    ASSERT_TRUE(inSequence.waitOpen());
    EXPECT_EQ(process->statusDetail(), ProcessInterface::RunningIterating);
    EXPECT_TRUE(process->isRunning());
    EXPECT_FALSE(process->isStopping());
    leaveSequence.open();

    ASSERT_TRUE(inCleanup.waitOpen());
    EXPECT_EQ(process->statusDetail(), ProcessInterface::StoppingCleanup);
    EXPECT_TRUE(process->isStopping());
    EXPECT_FALSE(process->isRunning());
    leaveCleanup.open();

    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingDone));
}

TEST_F(ProcessRun, AStopRequestIsVisibleUntilTheSequenceReturns) {
    Gate& inSequence = gate();
    Gate& leaveSequence = gate();
    ProcessHandle process = make();
    process->onSequence = [&](unsigned long long) {
        inSequence.open();
        leaveSequence.waitOpen();
        return true;
    };
    process->startProcess();
    ASSERT_TRUE(inSequence.waitOpen());

    auto stopped = KorvaneTest::startDetached([process] { process->stopProcess(); });
    ASSERT_TRUE(reaches(process, ProcessInterface::RunningStopRequested));
    EXPECT_TRUE(process->isRunning());
    EXPECT_TRUE(process->isStopping());
    leaveSequence.open();

    ASSERT_EQ(stopped.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->sequenceCalls(), Calls{0});
    EXPECT_EQ(process->cleanupCalls(), 1);
}

TEST_F(ProcessRun, WiredProcessesPassItemsThroughTheBuffer) {
    ProcessHandle producer = make();
    ProcessHandle consumer = make(3);
    producer->addBufferSlot("Out", "string", slot_output, "", false);
    consumer->addBufferSlot("In", "string", slot_input, "", false);
    BufferRefPtr buffer = manager->connect(producer, "Out", consumer, "In", 4);
    ASSERT_TRUE(buffer.isValid());

    ScriptedProcess* reader = consumer.rawPtr();
    consumer->onSequence = [this, reader](unsigned long long) {
        std::string item;
        if (!asText(reader->bufferSlot("In")).pop(item)) return false;
        std::lock_guard<std::mutex> lock(receivedLock);
        received.push_back(std::stoll(item));
        return true;
    };
    ScriptedProcess* writer = producer.rawPtr();
    producer->onSequence = [writer](unsigned long long iteration) {
        return asText(writer->bufferSlot("Out")).push(std::to_string(iteration));
    };

    consumer->startProcess();
    ASSERT_TRUE(eventually([&] { return consumer->isRunning(); }));
    producer->startProcess();
    ASSERT_TRUE(reaches(consumer, ProcessInterface::StoppingDone));
    ASSERT_TRUE(stopWithin(producer));

    std::lock_guard<std::mutex> lock(receivedLock);
    ASSERT_EQ(received.size(), 3u);
    EXPECT_LT(received[0], received[1]);
    EXPECT_LT(received[1], received[2]);
}
