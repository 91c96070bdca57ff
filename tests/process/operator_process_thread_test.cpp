// Operator processes at work: frames through real FIFOs between real processes, the
// order of the operators, every failure with its exact log lines, exceptions thrown by
// operators, stopping while frames flow, and the manager's events.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/events/EventManager.h>
#include <korvane/image/Image.h>
#include <korvane/process/OperatorManager.h>

#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/BufferFixture.h"
#include "support/RecordingDispatcher.h"
#include "support/SystemLogRecorder.h"
#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

using Lines = std::vector<std::string>;
using Images = BufferTemplate<ImgRefPtr>;

Images& images(const BufferRefPtr& buffer) {
    return dynamic_cast<Images&>(*buffer);
}

// What a process thread touches lives in the fixture, which stops every process and
// opens every gate before it goes. Every test reads the log, so that each starts with
// nothing unread.
class OperatorRun : public BufferManagerFixture {
protected:
    static void SetUpTestSuite() { recorder = new SystemLogRecorder; }
    static void TearDownTestSuite() {
        delete recorder;
        recorder = nullptr;
    }

    void TearDown() override {
        for (Gate& gate : m_gates) gate.open();
        for (const ProcessPtrWrapper& process : m_processes)
            EXPECT_TRUE(stopProcessWithin(process));
        for (const std::string& name : operators->processList()) {
            operators->releaseProcess(name.c_str());
        }
        operators->cleanUp();
        BufferManagerFixture::TearDown();
    }

    OperatorProcessRefPtr makeProcess(const std::string& wanted, long long maxIterations) {
        std::string name = wanted;
        OperatorProcessRefPtr process = operators->createProcess(name, false);
        EXPECT_TRUE(process.isValid()) << wanted;
        if (process.isNull()) return process;
        EXPECT_TRUE(process->setProperty("MaxIterations", maxIterations));
        m_processes.push_back(process);
        return process;
    }

    // An operator entered in the manager under name: a copy of prototype, or a scripted
    // operator noting into journal.
    OperatorRefPtr makeOperator(const std::string& name, ScriptedOperator** typed = nullptr,
                                Operator* prototype = nullptr) {
        std::string entered = name;
        if (!prototype) prototype = new ScriptedOperator(journal, name);
        OperatorRefPtr op = operators->create(OperatorRefPtr(prototype, nullptr), entered, false);
        EXPECT_EQ(entered, name);
        if (typed) *typed = dynamic_cast<ScriptedOperator*>(op.rawPtr());
        return op;
    }
    OperatorRefPtr makePassThrough(const std::string& name) {
        return makeOperator(name, nullptr, new PassThrough);
    }

    // A plain process with MaxIterations frames: a source pushing new 2 x 2 images into
    // its "Out", or a sink popping "In" and keeping what it got in received.
    ProcessHandle makeSource(int frames) {
        ProcessHandle source = plain(frames);
        source->addBufferSlot("Out", "Image", slot_output, "", false);
        ScriptedProcess* raw = source.rawPtr();
        source->onSequence = [raw](unsigned long long) {
            return images(raw->bufferSlot("Out")).push(ImgRefPtr(new Image(129, 2, 2), nullptr));
        };
        return source;
    }
    ProcessHandle makeSink(int frames) {
        ProcessHandle sink = plain(frames);
        sink->addBufferSlot("In", "Image", slot_input, "", false);
        ScriptedProcess* raw = sink.rawPtr();
        sink->onSequence = [raw, this](unsigned long long) {
            ImgRefPtr image;
            if (!images(raw->bufferSlot("In")).pop(image)) return false;
            received.push_back(image);
            return true;
        };
        return sink;
    }

    BufferRefPtr connect(BufferSlotPtrWrapper from, const char* out, BufferSlotPtrWrapper to,
                         const char* in) {
        BufferRefPtr buffer = manager->connect(from, out, to, in, 64);
        EXPECT_TRUE(buffer.isValid()) << out << " -> " << in;
        return buffer;
    }

    Gate& gate() { return m_gates.emplace_back(); }

    static inline SystemLogRecorder* recorder = nullptr;
    OperatorManager* operators = OperatorManager::get();
    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    std::vector<ImgRefPtr> received;  // read after the sink's StoppingDone

private:
    ProcessHandle plain(long long maxIterations) {
        ProcessHandle process = KorvaneTest::makeProcess();
        EXPECT_TRUE(process->setProperty("MaxIterations", maxIterations));
        m_processes.push_back(process);
        return process;
    }

    std::vector<ProcessPtrWrapper> m_processes;  // every process made here
    std::list<Gate> m_gates;
};

}  // namespace

// source -> [level 0] -> [level 1] -> sink, each hop an "ImageFifo" of 64. A process
// that ends flushes its buffers, so the source and the operator process run one
// iteration more than there are frames: the source's waits until the sink has all.
TEST_F(OperatorRun, FramesPassThroughTwoLevelsInOrder) {
    constexpr int frames = 300;
    ProcessHandle source = makeSource(frames + 1);
    ProcessHandle sink = makeSink(frames);
    OperatorProcessRefPtr process = makeProcess("Pipeline", frames + 1);
    OperatorRefPtr first = makePassThrough("First");
    OperatorRefPtr second = makePassThrough("Second");
    process->addOperator(second, 1);  // added first, runs second
    process->addOperator(first, 0);
    connect(source, "Out", first, "In");
    connect(first, "Out", second, "In");
    connect(second, "Out", sink, "In");
    std::vector<Image*> sent;  // the source's frames, in the order pushed
    Gate& allReceived = gate();
    ScriptedProcess* raw = source.rawPtr();
    source->onSequence = [raw, &sent, &allReceived](unsigned long long i) {
        if (i == frames) return !allReceived.waitOpen();
        ImgRefPtr image(new Image(129, 2, 2), nullptr);
        sent.push_back(image.rawPtr());
        return images(raw->bufferSlot("Out")).push(image);
    };

    // Binding a slot flushes its buffer: each consumer is running before its producer.
    sink->startProcess();
    ASSERT_TRUE(reaches(sink, ProcessInterface::RunningIterating));
    process->startProcess();
    ASSERT_TRUE(reaches(process, ProcessInterface::RunningIterating));
    source->startProcess();
    ASSERT_TRUE(reaches(sink));
    allReceived.open();
    ASSERT_TRUE(reaches(source));
    ASSERT_EQ(received.size(), static_cast<std::size_t>(frames));
    for (int i = 0; i < frames; ++i) ASSERT_EQ(received[i].rawPtr(), sent[i]) << i;
    // The operator process waits for a frame that never comes until it is stopped.
    ASSERT_TRUE(stopProcessWithin(process));
    EXPECT_EQ(process->iteration(), frames + 1);
    EXPECT_EQ(recorder->messages(), Lines{});
}

TEST_F(OperatorRun, OperatorsRunLevelByLevelInTheOrderOfAddingAndCopySlotsOnlyWhileRunning) {
    ScriptedOperator* typedB = nullptr;
    OperatorRefPtr a = makeOperator("A");
    OperatorRefPtr b = makeOperator("B", &typedB);
    OperatorRefPtr c = makeOperator("C");
    typedB->addBufferSlot("Slot", "Image", slot_input, "", true);
    // Released from the manager, the process still runs for the handle's holder.
    OperatorProcessRefPtr process = makeProcess("Levels", 2);
    ASSERT_TRUE(operators->releaseProcess("Levels"));
    process->addOperator(a, 1);
    process->addOperator(b, 0);
    process->addOperator(c, 1);
    Gate& reached = gate();
    Gate& release = gate();
    Lines slotsWhileRunning;
    typedB->onExecute = [&, p = process.rawPtr()] {
        if (!slotsWhileRunning.empty()) return true;
        slotsWhileRunning = p->bufferSlotIds();
        reached.open();
        return release.waitOpen();
    };
    process->startProcess();
    ASSERT_TRUE(reached.waitOpen());
    EXPECT_EQ(slotsWhileRunning, Lines{"BSlot"});
    EXPECT_EQ(process->bufferSlotIds(), Lines{"BSlot"});
    release.open();
    ASSERT_TRUE(reaches(process));
    EXPECT_EQ(journal->entries(), (Lines{"B.init", "A.init", "C.init", "B.execute", "A.execute",
                                         "C.execute", "B.execute", "A.execute", "C.execute",
                                         "B.cleanup", "A.cleanup", "C.cleanup"}));
    EXPECT_TRUE(process->bufferSlotIds().empty());
    EXPECT_EQ(recorder->messages(), Lines{});
}

TEST_F(OperatorRun, AProcessWithoutOperatorsWarnsAndEndsThroughCleanup) {
    OperatorProcessRefPtr process = makeProcess("Empty", -1);
    OperatorRefPtr none;
    process->addOperator(none, 0);  // null entries are skipped
    process->startProcess();
    ASSERT_TRUE(reaches(process));
    EXPECT_EQ(process->iteration(), 0);
    EXPECT_EQ(recorder->messages(),
              (Lines{"WARNING    : OperatorProcess [ Empty ] has no operators to execute.",
                     "ERROR      : Init failed of process [Empty]"}));
}

// Three operators A, B, C on level 0, each with an optional image slot bound to a FIFO;
// B fails in one place. Every run ends with every operator cleaned up once and unbound.
// A failed execute lets C still run in that iteration; an exception skips the rest of
// it, is logged again by the process thread, and a clean-up that throws still lets C
// clean up.
TEST_F(OperatorRun, EachFailureIsLoggedAndTheRunEndsWithEveryOperatorReleased) {
    using S = ScriptedOperator;
    struct Case {
        std::function<bool()> S::*call;  // null: B lacks a required slot
        long long maxIterations;
        const char* thrown;  // null: the call returns false; "": it throws a non-standard type
        Lines messages;
        std::string calls;
    };
    const std::string error = "ERROR      : OperatorProcess: Could not ";
    const auto initError = [&](const std::string& what) {
        return Lines{error + what + " operator [B]", "ERROR      : Init failed of process [P]"};
    };
    const auto exception = [](const std::string& message) {
        return Lines{"ERROR      : An exception occurred in operator [B] :" + message,
                     "ERROR      : An exception occurred in process [P] :" + message};
    };
    const std::string cleanups = " A.cleanup B.cleanup C.cleanup";
    const std::string executed = "A.init B.init C.init A.execute B.execute";
    const std::string once = executed + " C.execute" + cleanups;
    const Case cases[] = {
        {nullptr, 5, nullptr, initError("initialize buffers of"), "A.init" + cleanups},
        {&S::onInit, 5, nullptr, initError("initialize"), "A.init B.init" + cleanups},
        {&S::onExecute, -1, nullptr, {error + "execute operator [B]"}, once},
        {&S::onCleanup, 1, nullptr, {error + "cleanup operator [B]"}, once},
        {&S::onInit, -1, "bad", exception("bad"), "A.init B.init" + cleanups},
        {&S::onExecute, -1, "boom", exception("boom"), executed + cleanups},
        {&S::onExecute, -1, "", exception(""), executed + cleanups},
        {&S::onCleanup, 1, "leak", exception("leak"), once},
    };
    int run = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE("case " + std::to_string(run / 3));
        journal = std::make_shared<Journal>();
        operators->cleanUp();
        OperatorProcessRefPtr process = makeProcess("P", c.maxIterations);
        std::vector<ScriptedOperator*> typed(3);
        std::vector<OperatorRefPtr> ops;
        for (int i = 0; i < 3; ++i) {
            ops.push_back(makeOperator(std::string(1, "ABC"[i]), &typed[i]));
            typed[i]->addBufferSlot("In", "Image", slot_input, "", true);
            std::string bufferName = "feed" + std::to_string(run++);
            BufferRefPtr feed = manager->create("ImageFifo", 4, bufferName, false);
            ASSERT_TRUE(typed[i]->setBufferSlot("In", feed.rawPtr(), slot_input));
            process->addOperator(ops.back(), 0);
        }
        if (!c.call) {
            typed[1]->addBufferSlot("X", "Image", slot_input, "", false);
        } else if (!c.thrown) {
            typed[1]->*c.call = [] { return false; };
        } else if (*c.thrown) {
            typed[1]->*c.call = [m = std::string(c.thrown)]() -> bool {
                throw std::runtime_error(m);
            };
        } else {
            typed[1]->*c.call = []() -> bool { throw 42; };
        }
        process->startProcess();
        ASSERT_TRUE(reaches(process));
        EXPECT_EQ(recorder->messages(), c.messages);
        std::istringstream calls(c.calls);
        EXPECT_EQ(journal->entries(), Lines(std::istream_iterator<std::string>(calls), {}));
        for (ScriptedOperator* op : typed) EXPECT_TRUE(op->bufferSlot("In").isNull());
        EXPECT_TRUE(process->bufferSlotIds().empty());
        operators->releaseProcess("P");
    }
}

// Repeated runs of a whole pipeline, each stopped while frames flow. The operator
// process is stopped first: its stop aborts both FIFOs, so the source and the sink end
// by themselves and no failure is logged.
TEST_F(OperatorRun, APipelineStopsAndRestartsWhileFramesFlow) {
    ProcessHandle source = makeSource(1000000);
    ProcessHandle sink = makeSink(1000000);
    auto popped = [&] { return static_cast<int>(sink->sequenceCalls().size()); };
    OperatorProcessRefPtr process = makeProcess("Cycling", 1000000);
    OperatorRefPtr pass = makePassThrough("Pass");
    process->addOperator(pass, 0);
    connect(source, "Out", pass, "In");
    connect(pass, "Out", sink, "In");
    for (int cycle = 0; cycle < 10; ++cycle) {
        SCOPED_TRACE(cycle);
        const int before = popped();
        for (const ProcessHandle& plain : {sink, source}) plain->startProcess();
        process->startProcess();
        ASSERT_TRUE(eventually([&] { return popped() >= before + 100; }));
        ASSERT_TRUE(stopProcessWithin(process));
        ASSERT_TRUE(stopProcessWithin(source));
        ASSERT_TRUE(stopProcessWithin(sink));
        EXPECT_EQ(process->statusDetail(), ProcessInterface::IdleStopped);
        EXPECT_TRUE(process->bufferSlotIds().empty());
    }
    EXPECT_EQ(recorder->messages(), Lines{});
}

TEST_F(OperatorRun, TheManagerAnnouncesOperatorsAndProcesses) {
    auto record = std::make_shared<EventRecord>();
    ASSERT_TRUE(EventManager::get()->setEventDispatcher(new RecordingDispatcher(record)));
    makeProcess("Announced", -1);
    ASSERT_TRUE(operators->registerType("Pass", OperatorRefPtr(new PassThrough, nullptr)));
    std::string opName = "Op";
    ASSERT_TRUE(operators->create("Pass", opName, false).isValid());
    ASSERT_TRUE(operators->releaseProcess("Announced"));
    EXPECT_FALSE(operators->releaseProcess("Announced"));
    const bool arrived = eventually([&] { return record->eventsOf<ManagerEvent>().size() >= 4; });
    EXPECT_TRUE(EventManager::get()->setEventDispatcher(nullptr));
    ASSERT_TRUE(arrived);
    std::vector<std::string> seen;
    for (const auto& event : record->eventsOf<ManagerEvent>()) {
        seen.push_back(std::to_string(event->type()) + " " + event->typeName() + " " +
                       event->instanceName());
    }
    EXPECT_EQ(seen,
              (Lines{std::to_string(Event::InstanceCreated) + " OperatorProcess Announced",
                     std::to_string(Event::TypeRegistered) + " Pass ",
                     std::to_string(Event::InstanceCreated) + " Pass Op",
                     std::to_string(Event::InstanceReleased) + " OperatorProcess Announced"}));
    EXPECT_EQ(recorder->messages(), Lines{});
}
