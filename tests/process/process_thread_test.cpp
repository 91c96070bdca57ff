#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/process/ProcessInterface.h>

#include <list>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/BufferFixture.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using KorvaneTest::eventually;
using KorvaneTest::Gate;
using KorvaneTest::ProcessHandle;
using KorvaneTest::reaches;
using KorvaneTest::stopProcessWithin;

namespace {

using Calls = std::vector<unsigned long long>;
using TextFifo = FifoTemplate<std::string>;

// Opens every gate (a failed assertion may leave a process thread waiting at one) and
// stops every process made here. What a process thread touches lives here, to outlive it.
class ProcessRun : public KorvaneTest::BufferManagerFixture {
protected:
    void TearDown() override {
        for (Gate& gate : m_gates) gate.open();
        for (const ProcessHandle& process : m_processes) EXPECT_TRUE(stopProcessWithin(process));
        BufferManagerFixture::TearDown();
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

    // Status detail, isRunning and isStopping as seen by the process thread.
    std::vector<std::tuple<ProcessInterface::StatusDetail, bool, bool>> seen;

private:
    std::vector<ProcessHandle> m_processes;
    std::list<Gate> m_gates;
};

TEST_F(ProcessRun, ANewProcessIsIdleAndStopDoesNothing) {
    ProcessHandle process = make();
    PropertyInfo info;
    ASSERT_TRUE(process->propertyInfo("MaxIterations", &info));
    EXPECT_TRUE(info.type == int64_property && info.access == read_write_access &&
                info.category == 6);
    EXPECT_EQ(info.description,
              "The number of iterations this process should run (-1 denotes infinite).");
    process->stopProcess();
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleNew);
    EXPECT_EQ(process->initCalls(), 0);
    // Without a thread, sleep returns at once.
    auto slept = KorvaneTest::startDetached([process] { process->sleep(600000); });
    EXPECT_EQ(slept.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
}

// Only -1 means no limit, any other value runs at least once; a sequence that returns
// false ends the run. So does an init that fails or throws (the loop is skipped) and a
// sequence that throws; an exception of any type also skips the cleanup. Every way out
// releases the slots (an empty optional one does not prevent the start), and a run
// that ended by itself starts again from iteration zero.
TEST_F(ProcessRun, EveryWayOutEndsTheRunAndReleasesTheSlots) {
    enum Fault { none, initFails, initThrows, sequenceThrows };
    // MaxIterations, the iteration whose sequence returns false, calls, cleanups per run.
    const std::tuple<long long, unsigned long long, Fault, Calls, int> cases[] = {
        {5, 99, none, {0, 1, 2, 3, 4}, 1},
        {0, 99, none, {0}, 1},
        {-2, 99, none, {0}, 1},
        {-1000, 99, none, {0}, 1},
        {-1, 2, none, {0, 1, 2}, 1},
        {-1, 99, initFails, {}, 1},
        {-1, 99, initThrows, {}, 0},
        {-1, 99, sequenceThrows, {0}, 0}};
    for (const auto& [limit, falseAt, fault, calls, cleanups] : cases) {
        SCOPED_TRACE(std::to_string(limit) + " fault " + std::to_string(fault));
        BufferRefPtr buffer;
        ProcessHandle process = makeReader(&buffer);
        ASSERT_TRUE(process->setProperty("MaxIterations", limit));
        process->addBufferSlot("Opt", "string", slot_input, "", true);
        process->onSequence = [end = falseAt](unsigned long long i) { return i != end; };
        if (fault == initFails) process->onInit = [] { return false; };
        if (fault == initThrows) process->onInit = []() -> bool { throw 42; };
        if (fault == sequenceThrows)
            process->onSequence = [](unsigned long long) -> bool {
                throw std::runtime_error("broken");
            };
        for (int run = 1; run <= 2; ++run) {
            process->startProcess();
            ASSERT_TRUE(eventually([&] {
                return process->initCalls() == run &&
                       process->statusDetail() == ProcessInterface::StoppingDone;
            }));
            EXPECT_TRUE(process->bufferSlot("In").isNull());
            if (fault == none) {
                EXPECT_EQ(process->iteration(), static_cast<long long>(calls.size()));
            }
        }
        Calls twice = calls;
        twice.insert(twice.end(), calls.begin(), calls.end());
        EXPECT_EQ(process->sequenceCalls(), twice);
        EXPECT_EQ(process->cleanupCalls(), 2 * cleanups);
        ASSERT_TRUE(stopProcessWithin(process));
        EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    }
}

TEST_F(ProcessRun, AMissingRequiredBufferSkipsInitAndLeavesTheOtherBuffersAlone) {
    BufferRefPtr shared;
    ProcessHandle process = makeReader(&shared);
    process->addBufferSlot("Missing", "string", slot_input, "", false);
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::StoppingNotStarted));
    EXPECT_EQ(process->initCalls(), 0);
    EXPECT_EQ(process->cleanupCalls(), 0);
    EXPECT_TRUE(process->bufferSlot("In").isNull());

    ASSERT_TRUE(stopProcessWithin(process));
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_TRUE(asText(shared).push("still usable")) << "stopping aborted a buffer it had let go";
}

// A second start while running changes nothing; a stop request shows until the
// sequence returns.
TEST_F(ProcessRun, StartWhileRunningIsIgnoredAndAStopWaitsForTheSequence) {
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
    auto stopped = KorvaneTest::startDetached([process] { process->stopProcess(); });
    ASSERT_TRUE(reaches(process, ProcessInterface::RunningStopRequested));
    EXPECT_TRUE(process->isRunning() && process->isStopping());
    release.open();
    ASSERT_EQ(stopped.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->sequenceCalls(), (Calls{0, 1, 2}));
    EXPECT_EQ(process->cleanupCalls(), 1);
}

TEST_F(ProcessRun, StopProcessReleasesASequenceBlockedInAnEmptyFifo) {
    BufferRefPtr buffer;
    ProcessHandle process = makeReader(&buffer);
    Gate& popping = gate();
    process->onSequence = [&popping, fifo = &asText(buffer)](unsigned long long) {
        std::string item;
        popping.open();
        return fifo->pop(item);
    };
    process->startProcess();
    ASSERT_TRUE(popping.waitOpen());
    ASSERT_TRUE(stopProcessWithin(process)) << "the blocked pop was not released";
    EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
    EXPECT_EQ(process->cleanupCalls(), 1);
    EXPECT_TRUE(process->bufferSlot("In").isNull());
    EXPECT_TRUE(asText(buffer).push("after")) << "the release flushed the abort away";
}

TEST_F(ProcessRun, TheStatusFollowsTheLifeCycle) {
    ProcessHandle process = make();
    KorvaneTest::ScriptedProcess* raw = process.rawPtr();
    // Only the process thread appends; the test reads after StoppingDone.
    auto record = [this, raw] {
        seen.push_back({raw->statusDetail(), raw->isRunning(), raw->isStopping()});
        return true;
    };
    process->onInit = record;
    process->onSequence = [record](unsigned long long) { return !record(); };
    process->onCleanup = record;
    process->startProcess();
    ASSERT_TRUE(reaches(process));
    const decltype(seen) expected = {{ProcessInterface::StartingInit, false, false},
                                     {ProcessInterface::RunningIterating, true, false},
                                     {ProcessInterface::StoppingCleanup, false, true}};
    EXPECT_EQ(seen, expected);
}

}  // namespace
