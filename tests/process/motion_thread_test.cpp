// Motion controllers: their commands, the command fifo between application threads and
// the process thread, the status, the messages on "SystemLog" and the MotionManager.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/process/CmdStatus.h>
#include <korvane/process/Motion.h>
#include <korvane/process/MotionManager.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/BufferFixture.h"
#include "support/SystemLogRecorder.h"
#include "support/TestOperators.h"
#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

// The "Index" of a test command; -1 when it has none.
long long indexOf(const ObjectRefPtr& command) {
    long long index = -1;
    if (command.isValid()) command->getProperty("Index", &index);
    return index;
}

// A controller whose open and execute steps are functions set before it starts, and
// which records the "Index" of every command it is given.
class TestMotion : public Motion {
public:
    TestMotion() = default;
    TestMotion(const TestMotion& other) : Motion(other) {}

    Motion* createCopy() override { return failCopy ? nullptr : new TestMotion(*this); }

    using Motion::addSupportedCommand;
    using Motion::updateStatus;

    std::function<bool()> onOpen = [] { return true; };
    std::function<bool(const ObjectRefPtr&)> onExecute = [](const ObjectRefPtr&) { return true; };
    bool failCopy = false;

    std::vector<long long> executed() const {
        std::lock_guard<std::mutex> lock(m_recordLock);
        return m_executed;
    }
    std::atomic<int> openCalls{0};
    std::atomic<int> closeCalls{0};

protected:
    bool openController() override {
        openCalls.fetch_add(1);
        return onOpen();
    }
    bool executeCommand(ObjectRefPtr command) override {
        {
            std::lock_guard<std::mutex> lock(m_recordLock);
            m_executed.push_back(indexOf(command));
        }
        return onExecute(command);
    }
    void closeController() override { closeCalls.fetch_add(1); }

private:
    mutable std::mutex m_recordLock;  // guards m_executed
    std::vector<long long> m_executed;
};

using MotionHandle = RefPtr<TestMotion>;

// A "MoveTo" command prototype with a writable "Index".
Object moveCommand() {
    Object move;
    move.addProperty("CommandName", std::string("MoveTo"), string_property, read_access);
    move.addProperty("Index", 0LL, int64_property, read_write_access);
    return move;
}

std::string statusText(const ObjectRefPtr& status, const char* property) {
    return status.isValid() ? textOf(*status, property) : "<null>";
}

// Every motion made here is stopped at the end (gates opened first).
class MotionTest : public BufferManagerFixture {
protected:
    void TearDown() override {
        for (Gate& gate : m_gates) gate.open();
        for (const MotionHandle& motion : m_motions) EXPECT_TRUE(stopProcessWithin(motion));
        BufferManagerFixture::TearDown();
    }

    MotionHandle make() {
        MotionHandle motion(new TestMotion, nullptr);
        motion->addSupportedCommand("MoveTo", moveCommand());
        m_motions.push_back(motion);
        return motion;
    }

    // Started and iterating, so that its command fifo exists.
    MotionHandle makeRunning() {
        MotionHandle motion = make();
        motion->startProcess();
        EXPECT_TRUE(reaches(motion, ProcessInterface::RunningIterating));
        return motion;
    }

    static ObjectRefPtr command(const MotionHandle& motion, long long index) {
        ObjectRefPtr made = motion->createCommand("MoveTo");
        EXPECT_TRUE(made.isValid() && made->setProperty("Index", index));
        return made;
    }

    Gate& gate() { return m_gates.emplace_back(); }

    // How many of the lines logged since the last call are the error message.
    static int errorLines(const std::vector<std::string>& lines, const std::string& message) {
        return static_cast<int>(std::count(lines.begin(), lines.end(), "ERROR      : " + message));
    }

private:
    std::vector<MotionHandle> m_motions;
    std::list<Gate> m_gates;
};

}  // namespace

TEST_F(MotionTest, CommandsAreCopiesOfPrototypesWithQueryStatusAlwaysACmdStatus) {
    MotionHandle motion = make();
    EXPECT_EQ(textOf(*motion, "ComponentType"), "Motion");
    ObjectRefPtr query = motion->createCommand("QueryStatus");
    ASSERT_NE(dynamic_cast<CmdStatus*>(query.rawPtr()), nullptr);
    EXPECT_NE(motion->createCommand("QueryStatus").rawPtr(), query.rawPtr());
    const std::tuple<const char*, AccessType, const char*, const char*> expected[] = {
        {"CommandName", read_access, "QueryStatus", "Query the current status."},
        {"Message", read_write_access, "", "Additional message for current status."},
        {"Status", read_write_access, "", "Current status."},
    };
    EXPECT_EQ(query->propertyCount(), 3);
    for (const auto& [name, access, value, description] : expected) {
        PropertyInfo info;
        ASSERT_TRUE(query->propertyInfo(name, &info)) << name;
        EXPECT_TRUE(info.type == string_property && info.access == access && info.category == 0)
            << name;
        EXPECT_EQ(info.description, description);
        EXPECT_EQ(textOf(*query, name), value);
    }
    for (const char* unknown : {"Abort", "", "querystatus"})
        EXPECT_TRUE(motion->createCommand(unknown).isNull()) << unknown;

    // A later entry under a taken name is ignored; the map holds copies.
    Object other = moveCommand();
    ASSERT_TRUE(other.setProperty("Index", 7LL));
    for (const char* name : {"MoveTo", "QueryStatus", "Abort"})
        motion->addSupportedCommand(name, other);
    ASSERT_TRUE(other.setProperty("Index", 9LL));
    EXPECT_EQ(motion->commandList(), (std::vector<std::string>{"Abort", "MoveTo", "QueryStatus"}));
    EXPECT_EQ(indexOf(motion->createCommand("MoveTo")), 0);
    EXPECT_EQ(indexOf(motion->createCommand("Abort")), 7);
    EXPECT_NE(dynamic_cast<CmdStatus*>(motion->createCommand("QueryStatus").rawPtr()), nullptr);

    // Never started: an empty status, and a sent command changes nothing.
    const ObjectRefPtr idle = motion->queryStatus();
    EXPECT_EQ(statusText(idle, "CommandName"), "QueryStatus");
    motion->sendCommand(command(motion, 1));
    EXPECT_EQ(motion->queryStatus().rawPtr(), idle.rawPtr());
    EXPECT_EQ(statusText(idle, "Status"), "");
    EXPECT_EQ(manager->instanceCount(), 0u);
}

TEST_F(MotionTest, SentCommandsShowPendingUntilTheControllerReportsAndRunOnePerPassInOrder) {
    SystemLogRecorder log;
    MotionHandle motion = makeRunning();
    Gate& release = gate();
    motion->onExecute = [&release, motion = motion.rawPtr()](const ObjectRefPtr& cmd) {
        const long long index = indexOf(cmd);
        if (index == 0) release.waitOpen();
        motion->updateStatus("done", "moved " + std::to_string(index));
        return index != 1;  // the controller rejects command 1
    };
    const ObjectRefPtr idle = motion->queryStatus();
    motion->sendCommand(command(motion, 0));
    const ObjectRefPtr pending = motion->queryStatus();
    EXPECT_EQ(statusText(idle, "Status"), "");  // replaced, not modified
    EXPECT_EQ(statusText(pending, "Status"), "pending");
    EXPECT_EQ(statusText(pending, "Message"), "command queued");

    ASSERT_TRUE(eventually([&] { return motion->executed().size() == 1; }));
    EXPECT_EQ(motion->queryStatus().rawPtr(), pending.rawPtr());
    motion->sendCommand(command(motion, 1));
    motion->sendCommand(command(motion, 2));
    release.open();
    ASSERT_TRUE(eventually([&] { return motion->executed().size() == 3; }));
    EXPECT_EQ(motion->executed(), (std::vector<long long>{0, 1, 2}));
    EXPECT_TRUE(
        eventually([&] { return statusText(motion->queryStatus(), "Message") == "moved 2"; }));
    EXPECT_EQ(statusText(pending, "Status"), "pending");
    EXPECT_EQ(errorLines(log.messages(), "Motion controlled failed to execute command."), 1);
}

TEST_F(MotionTest, TheThirtyThirdCommandSentWhileTheControllerIsBusyIsDropped) {
    MotionHandle motion = makeRunning();
    Gate& release = gate();
    motion->onExecute = [&release](const ObjectRefPtr&) { return release.waitOpen(); };
    motion->sendCommand(command(motion, 0));
    ASSERT_TRUE(eventually([&] { return motion->executed().size() == 1; }));
    // The controller holds command 0, so nothing leaves the fifo while 33 more arrive;
    // a blocking push would keep the sender from finishing.
    auto sent = startDetached([motion] {
        for (long long index = 1; index <= 33; ++index) motion->sendCommand(command(motion, index));
    });
    ASSERT_EQ(sent.wait_for(kGenerousDeadline), std::future_status::ready);
    BufferRefPtr buffer = manager->instance("MotionCommandBuffer");
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "ObjectFifo");
    EXPECT_EQ(buffer->size(), 32);
    auto& fifo = dynamic_cast<FifoTemplate<ObjectRefPtr>&>(*buffer);
    std::vector<long long> queued, expected(32);
    for (ObjectRefPtr item; fifo.pop(item);) queued.push_back(indexOf(item));
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(queued, expected);
}

TEST_F(MotionTest, StoppingDropsTheFifoButLeavesItRegisteredAndTheNextRunMakesAnother) {
    MotionHandle motion = makeRunning();
    motion->stopProcess();
    EXPECT_EQ(motion->closeCalls.load(), 1);
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"MotionCommandBuffer"});
    const ObjectRefPtr before = motion->queryStatus();
    motion->sendCommand(command(motion, 1));
    EXPECT_EQ(motion->queryStatus().rawPtr(), before.rawPtr());
    EXPECT_EQ(manager->instance("MotionCommandBuffer")->size(), 0);

    motion->startProcess();
    ASSERT_TRUE(reaches(motion, ProcessInterface::RunningIterating));
    const std::vector<std::string> buffers = manager->instanceList();
    ASSERT_EQ(buffers.size(), 2u);
    EXPECT_EQ(buffers[1].rfind("MotionCommandBuffer", 0), 0u) << buffers[1];
    EXPECT_EQ(motion->openCalls.load(), 2);
}

TEST_F(MotionTest, InitFailsWithoutACommandFifoOrAnOpenControllerAndStillCloses) {
    SystemLogRecorder log;
    MotionHandle refused = make();
    refused->onOpen = [] { return false; };
    refused->startProcess();
    ASSERT_TRUE(reaches(refused));
    EXPECT_EQ(refused->closeCalls.load(), 1);

    // Keep the registered prototype aside, then take the type away.
    std::string name = "saved";
    BufferRefPtr saved = manager->create("ObjectFifo", 0, name, false);
    ASSERT_TRUE(manager->releaseInstance("saved") && manager->unregisterType("ObjectFifo"));
    MotionHandle motion = make();
    motion->startProcess();
    EXPECT_TRUE(reaches(motion));
    motion->stopProcess();
    // A buffer of another element type under that name is no command fifo either.
    name = "text";
    BufferRefPtr text = manager->create("StringFifo", 0, name, false);
    ASSERT_TRUE(manager->releaseInstance("text") && manager->registerType("ObjectFifo", text));
    motion->startProcess();
    EXPECT_TRUE(reaches(motion));
    ASSERT_TRUE(manager->unregisterType("ObjectFifo") &&
                manager->registerType("ObjectFifo", saved));

    const std::vector<std::string> logged = log.messages();
    EXPECT_EQ(errorLines(logged, "Motion object failed to create an ObjectFifo."), 1);
    EXPECT_EQ(errorLines(logged, "Init failed of process []"), 3);  // unmanaged: no name
    EXPECT_EQ(motion->openCalls.load(), 0);
    EXPECT_EQ(motion->closeCalls.load(), 2);
}

TEST_F(MotionTest, TheManagerMakesNamedCopiesThatKeepTheCommandsButNotTheStatus) {
    MotionManager* motions = MotionManager::get();
    auto* stage = new TestMotion;  // owned by prototype
    stage->addSupportedCommand("MoveTo", moveCommand());
    MotionRefPtr prototype(stage, nullptr);
    ASSERT_TRUE(motions->registerType("Stage", prototype));
    std::string name = "Stage1";
    MotionRefPtr copy = motions->create("Stage", name, true);
    ASSERT_TRUE(copy.isValid());
    EXPECT_EQ(copy->commandList(), (std::vector<std::string>{"MoveTo", "QueryStatus"}));
    EXPECT_NE(copy->queryStatus().rawPtr(), prototype->queryStatus().rawPtr());
    MotionRefPtr second = motions->create(copy, name, true);  // "Stage1" is taken
    ASSERT_TRUE(second.isValid());
    EXPECT_NE(name, "Stage1");
    EXPECT_EQ(second->type(), "Stage");

    stage->failCopy = true;
    for (const char* type : {"Stage", "NoSuchStage", static_cast<const char*>(nullptr)}) {
        name = "x";
        EXPECT_TRUE(motions->create(type, name, true).isNull()) << (type ? type : "null");
        EXPECT_EQ(name, "");
    }
    motions->cleanUp();
}

TEST_F(MotionTest, SendersAndStatusReadersRaceStartsAndStopsSafely) {
    MotionHandle motion = make();
    motion->onExecute = [motion = motion.rawPtr()](const ObjectRefPtr&) {
        motion->updateStatus("done", "");
        return true;
    };
    // Shared with the senders, which end when the test ends, however it ends.
    struct Shared {
        std::atomic<bool> finished{false};
        std::atomic<int> incomplete{0};  // statuses read without their "CommandName"
    };
    auto shared = std::make_shared<Shared>();
    struct Finish {
        ~Finish() { state->finished = true; }
        std::shared_ptr<Shared> state;
    } finish{shared};
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 3; ++t) {
        threads.push_back(startDetached([shared, motion] {
            for (long long i = 0; !shared->finished.load(); ++i) {
                motion->sendCommand(command(motion, i));
                if (statusText(motion->queryStatus(), "CommandName") != "QueryStatus")
                    shared->incomplete.fetch_add(1);
                std::this_thread::yield();
            }
        }));
    }
    for (int run = 0; run < 2; ++run) {
        motion->startProcess();
        ASSERT_TRUE(reaches(motion, ProcessInterface::RunningIterating));
        const std::size_t before = motion->executed().size();
        ASSERT_TRUE(eventually([&] { return motion->executed().size() > before; }));
        motion->stopProcess();
    }
    shared->finished = true;
    for (auto& done : threads)
        ASSERT_EQ(done.wait_for(kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(shared->incomplete.load(), 0);
    EXPECT_EQ(motion->closeCalls.load(), 2);
}
