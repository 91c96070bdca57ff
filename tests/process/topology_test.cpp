#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/process/Topology.h>
#include <korvane/process/TopologyManager.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/AcquisitionSetup.h"
#include "support/Deadline.h"

using namespace Korvane;
using KorvaneTest::cameraOf;

namespace {

// The message of the std::runtime_error that start() threw; empty when it threw none.
std::string startFailure(const TopologyRefPtr& topology) {
    try {
        topology->start();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return std::string();
}

bool isIdle(const ProcessInterface& process) {
    return process.status() == ProcessInterface::Idle;
}

class TopologyTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { KorvaneTest::registerTestTypes(); }

    // Releasing the topologies stops them; then everything a case made goes.
    void TearDown() override {
        for (const std::string& name : topologies->instanceList()) {
            topologies->releaseInstance(name.c_str());
        }
        for (const std::string& name : OperatorManager::get()->processList()) {
            OperatorProcessRefPtr process = OperatorManager::get()->process(name.c_str());
            process->stopProcess();
            OperatorManager::get()->releaseProcess(name.c_str());
        }
        for (Internal::ManagerInterface* manager : std::vector<Internal::ManagerInterface*>{
                 OperatorManager::get(), DeviceManager::get(), DisplayManager::get(),
                 BufferManager::get()}) {
            for (const std::string& name : manager->instanceList()) {
                manager->releaseInstance(name.c_str());
            }
        }
    }

    TopologyRefPtr makeTopology(std::string name) {
        return topologies->create("Topology", name, true);
    }
    OperatorRefPtr makeOperator(std::string name, const char* type = "Noop") {
        return OperatorManager::get()->create(type, name, true);
    }
    // A process that runs one no-op operator until stopped.
    OperatorProcessRefPtr makeProcess(std::string name) {
        OperatorProcessRefPtr process = OperatorManager::get()->createProcess(name, true);
        OperatorRefPtr op = makeOperator(name + "Op");
        process->addOperator(op, 0);
        return process;
    }
    DisplayRefPtr makeDisplay(std::string name) {
        return DisplayManager::get()->create("IdleDisplay", 8, 8, name, true);
    }
    DeviceRefPtr makeCamera(std::string name) {
        return DeviceManager::get()->create("TestCamera", name, true);
    }
    // Camera -> Invert (level 0) -> Sink (level 1) in one process, the second buffer a
    // ring, and an idle display: everything added to a new topology.
    struct Setup {
        TopologyRefPtr topology;
        DeviceRefPtr camera;
        DisplayRefPtr display;
        OperatorRefPtr invert, sink;
        OperatorProcessRefPtr process;
    };
    Setup makeSetup(const std::string& name) {
        std::string processName = "Process";
        Setup s{makeTopology(name),
                makeCamera("Camera"),
                makeDisplay("Display"),
                makeOperator("Invert", "Invert"),
                makeOperator("Sink", "SaveEveryNth"),
                OperatorManager::get()->createProcess(processName, true)};
        s.process->addOperator(s.invert, 0);
        s.process->addOperator(s.sink, 1);
        s.topology->add(s.camera, Topology::StartDevices);
        for (const OperatorRefPtr& op : {s.invert, s.sink}) s.topology->add(op);
        s.topology->add(s.display);
        s.topology->add(s.process);
        EXPECT_TRUE(s.topology->connect(s.camera, "Output", s.invert, "In", 4));
        EXPECT_TRUE(s.topology->connect(s.invert, "Out", s.sink, "In", BufferRing, 4));
        return s;
    }
    bool claimed(ComponentType type, const std::string& name) const {
        return topologies->isClaimedExclusive(type, name);
    }

    TopologyManager* topologies = TopologyManager::get();
};

}  // namespace

TEST_F(TopologyTest, ClaimTableKeysByKindAndNameAndFreesPerTopology) {
    TopologyRefPtr first = makeTopology("First");
    TopologyRefPtr second = makeTopology("Second");

    EXPECT_FALSE(topologies->claimExclusive(ComponentType::Operator, "A", nullptr));
    EXPECT_TRUE(topologies->claimExclusive(ComponentType::Operator, "A", first.rawPtr()));
    EXPECT_FALSE(topologies->claimExclusive(ComponentType::Operator, "A", first.rawPtr()));
    EXPECT_FALSE(topologies->claimExclusive(ComponentType::Operator, "A", second.rawPtr()));
    EXPECT_TRUE(topologies->claimExclusive(ComponentType::Buffer, "A", second.rawPtr()));
    EXPECT_TRUE(topologies->claimExclusive(ComponentType::Device, "B", second.rawPtr()));
    EXPECT_EQ(topologies->claimant(ComponentType::Operator, "A"), "First");
    EXPECT_EQ(topologies->claimant(ComponentType::Buffer, "A"), "Second");
    EXPECT_EQ(topologies->claimant(ComponentType::Display, "A"), "");

    EXPECT_FALSE(topologies->freeExclusive(nullptr));
    EXPECT_TRUE(topologies->freeExclusive(second.rawPtr()));
    EXPECT_TRUE(claimed(ComponentType::Operator, "A"));
    EXPECT_FALSE(claimed(ComponentType::Buffer, "A"));
    EXPECT_FALSE(claimed(ComponentType::Device, "B"));

    // Freeing by key frees whoever holds it, and a free key as well.
    EXPECT_TRUE(topologies->freeExclusive(ComponentType::Operator, "A"));
    EXPECT_TRUE(topologies->freeExclusive(ComponentType::Operator, "A"));
    EXPECT_FALSE(claimed(ComponentType::Operator, "A"));
    EXPECT_TRUE(topologies->claimExclusive(ComponentType::Operator, "A", second.rawPtr()));
    EXPECT_TRUE(topologies->freeExclusive(second.rawPtr()));
    // The manager's forms take no null topology.
    EXPECT_FALSE(topologies->start(TopologyRefPtr()));
    topologies->stop(TopologyRefPtr());
    topologies->clear(TopologyRefPtr());
}

TEST_F(TopologyTest, StartsConsumersBeforeDevicesAndStopsInTheSameOrder) {
    Setup s = makeSetup("Ordered");
    const std::vector<std::string> buffers = s.topology->bufferNames();
    ASSERT_EQ(buffers.size(), 2u);

    // What the camera sees of the others when it starts and when it stops: how many are
    // claimed, and whether the process and the display run.
    auto others = [&] {
        const int claims = claimed(ComponentType::Operator, s.invert->name()) +
                           claimed(ComponentType::Operator, s.sink->name()) +
                           claimed(ComponentType::OperatorProcess, s.process->name()) +
                           claimed(ComponentType::Display, s.display->name()) +
                           claimed(ComponentType::Buffer, buffers[0]) +
                           claimed(ComponentType::Buffer, buffers[1]);
        return std::to_string(claims) + (isIdle(*s.process) ? " idle" : " running") +
               (isIdle(*s.display) ? " idle" : " running");
    };
    std::string atStart, atStop;
    bool cameraClaimedAtStart = false;
    cameraOf(s.camera).onStart = [&] {
        atStart = others();
        cameraClaimedAtStart = claimed(ComponentType::Device, s.camera->name());
    };
    cameraOf(s.camera).onStop = [&] { atStop = others(); };

    s.topology->start();
    EXPECT_EQ(atStart, "6 running running");
    EXPECT_TRUE(cameraClaimedAtStart);
    EXPECT_TRUE(cameraOf(s.camera).isStarted());
    EXPECT_EQ(topologies->claimant(ComponentType::Device, s.camera->name()), s.topology->name());
    s.topology->stop();
    EXPECT_EQ(atStop, "0 idle idle");
    EXPECT_FALSE(cameraOf(s.camera).isStarted());
    EXPECT_FALSE(claimed(ComponentType::Device, s.camera->name()));
    EXPECT_EQ(BufferManager::get()->instance(buffers[1].c_str())->type(), "ImageRing");
}

TEST_F(TopologyTest, ALoserKeepsItsOwnClaimsUntilStopAndLeavesTheWinnersAlone) {
    OperatorProcessRefPtr shared = makeProcess("Shared");
    TopologyRefPtr first = makeTopology("First");
    TopologyRefPtr second = makeTopology("Second");
    OperatorRefPtr own = makeOperator("SecondOwn");
    first->add(shared);
    second->add(own);
    second->add(shared);
    ASSERT_TRUE(topologies->start(first));
    EXPECT_EQ(startFailure(second), "Topology failed to claim process.");
    EXPECT_TRUE(second->isRunning());  // the guard made before the failure stays until stop()
    topologies->stop(second);
    EXPECT_FALSE(claimed(ComponentType::Operator, own->name()));
    EXPECT_FALSE(isIdle(*shared));
    EXPECT_EQ(topologies->claimant(ComponentType::OperatorProcess, shared->name()), "First");
}

TEST_F(TopologyTest, EachKindOfFailedClaimThrowsItsMessage) {
    const std::string something = "Topology failed to claim something.";
    const std::string process = "Topology failed to claim process.";
    const std::string device = "Topology failed to claim device.";
    OperatorRefPtr op = makeOperator("SharedOp");
    OperatorProcessRefPtr proc = makeProcess("SharedProcess");
    DisplayRefPtr display = makeDisplay("SharedDisplay");
    DeviceRefPtr camera = makeCamera("SharedCamera");
    struct Case {
        const char* what;
        std::function<void(Topology&)> add;  // to both topologies
        const std::string& message;
    };
    const Case cases[] = {
        {"operator", [&](Topology& t) { t.add(op); }, something},
        {"operator process", [&](Topology& t) { t.add(proc); }, process},
        {"display", [&](Topology& t) { t.add(display); }, process},
        {"device", [&](Topology& t) { t.add(camera, Topology::StartDevices); }, device},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TopologyRefPtr holder = makeTopology("Holder");
        TopologyRefPtr other = makeTopology("Other");
        c.add(*holder);
        c.add(*other);
        holder->start();
        EXPECT_EQ(startFailure(other), c.message);
        EXPECT_FALSE(other->isRunning());  // it had nothing else to start
        holder->stop();
        EXPECT_EQ(startFailure(other), "");
        other->stop();
        topologies->releaseInstance(holder->name().c_str());
        topologies->releaseInstance(other->name().c_str());
    }

    // Null components, and a second start of a running topology (its buffer is taken).
    TopologyRefPtr nulls = makeTopology("Nulls");
    nulls->add(OperatorRefPtr());
    EXPECT_EQ(startFailure(nulls), something);
    nulls->clear();
    nulls->add(DisplayRefPtr());
    EXPECT_EQ(startFailure(nulls), process);
    nulls->clear();
    nulls->add(DeviceRefPtr(), Topology::StartDevices);
    EXPECT_EQ(startFailure(nulls), device);
    nulls->clear();
    OperatorRefPtr sink = makeOperator("Sink", "SaveEveryNth");
    ASSERT_TRUE(nulls->connect(camera, "Output", sink, "In", 4));
    EXPECT_EQ(startFailure(nulls), "");
    EXPECT_EQ(startFailure(nulls), something);
    nulls->stop();
    EXPECT_FALSE(claimed(ComponentType::Buffer, nulls->bufferNames().at(0)));
}

TEST_F(TopologyTest, LeaveDevicesNeitherClaimsNorStartsThem) {
    DeviceRefPtr camera = makeCamera("Camera");
    OperatorProcessRefPtr process = makeProcess("Process");
    for (auto hint : {Topology::LeaveDevices, static_cast<Topology::DeviceUsageHint>(7)}) {
        SCOPED_TRACE(hint);
        TopologyRefPtr topology = makeTopology("Leaving");
        topology->add(camera, Topology::StartDevices);
        topology->add(process);
        topology->add(makeCamera("Second"), hint);  // the last hint holds for all devices
        topology->start();
        EXPECT_TRUE(claimed(ComponentType::OperatorProcess, process->name()));
        EXPECT_FALSE(claimed(ComponentType::Device, camera->name()));
        EXPECT_EQ(cameraOf(camera).starts.load(), 0);
        topology->stop();
        topologies->releaseInstance(topology->name().c_str());
    }
}

TEST_F(TopologyTest, ConnectAddsABufferOnlyWhenTheManagerMakesOne) {
    TopologyRefPtr topology = makeTopology("Wiring");
    DeviceRefPtr camera = makeCamera("Camera");
    OperatorRefPtr invert = makeOperator("Invert", "Invert");
    const std::size_t buffersBefore = BufferManager::get()->instanceCount();

    EXPECT_FALSE(topology->connect(camera, "Missing", invert, "In", 4));
    EXPECT_FALSE(topology->connect(camera, "Output", invert, "Missing", 4));
    EXPECT_FALSE(topology->connect(OperatorRefPtr(), "Out", invert, "In", 4));
    EXPECT_FALSE(topology->connect(camera, "Output", invert, "In",
                                   std::numeric_limits<unsigned int>::max()));
    EXPECT_TRUE(topology->bufferNames().empty());
    EXPECT_EQ(BufferManager::get()->instanceCount(), buffersBefore);

    EXPECT_TRUE(topology->connect(camera, "Output", invert, "In", BufferType(7), 3));
    ASSERT_EQ(topology->bufferNames().size(), 1u);
    BufferRefPtr buffer = BufferManager::get()->instance(topology->bufferNames()[0].c_str());
    ASSERT_TRUE(buffer.isValid());
    EXPECT_EQ(buffer->type(), "ImageFifo");
    EXPECT_EQ(buffer->maxSize(), 3);
}

TEST_F(TopologyTest, ListsKeepDuplicatesAndRemoveTakesEveryEntry) {
    TopologyRefPtr topology = makeTopology("Lists");
    OperatorRefPtr a = makeOperator("A");
    OperatorRefPtr b = makeOperator("B");
    topology->add(b);
    topology->add(a);
    topology->add(b);
    EXPECT_EQ(topology->operatorNames(), (std::vector<std::string>{"B", "A", "B"}));
    EXPECT_EQ(topology->operatorInstance("A"), a);
    EXPECT_TRUE(topology->operatorInstance("C").isNull());

    topology->remove(b);
    EXPECT_EQ(topology->operatorNames(), std::vector<std::string>{"A"});
}

// A running topology is cleared, or released and destroyed with the default hint; a
// claim made in its name outside start() goes with it.
TEST_F(TopologyTest, ClearAndDestructionStopEverythingAndReleaseWhatTheHintOwns) {
    struct Case {
        Topology::OwnershipHint hint;
        bool destroy;  // instead of clear(), leaving the hint at its default
        bool releasesDevices;
        bool releasesProcessing;  // displays, operators, operator processes
    };
    const Case cases[] = {{Topology::OwnAll, false, true, true},
                          {Topology::OwnAllButDevices, false, false, true},
                          {Topology::OwnBuffersOnly, false, false, false},
                          {Topology::OwnershipHint(9), false, false, false},
                          {Topology::OwnAllButDevices, true, false, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.hint) + (c.destroy ? " destroyed" : " cleared"));
        Setup s = makeSetup("Owner");
        const std::string buffer = s.topology->bufferNames().at(0);
        if (!c.destroy) s.topology->setOwnershipHint(c.hint);
        s.topology->start();
        ASSERT_TRUE(
            topologies->claimExclusive(ComponentType::Motion, "Stage", s.topology.rawPtr()));
        if (!c.destroy) {
            s.topology->clear();
            EXPECT_FALSE(s.topology->isRunning());
            for (const auto& names : {s.topology->deviceNames(), s.topology->displayNames(),
                                      s.topology->operatorNames(), s.topology->processNames(),
                                      s.topology->bufferNames()}) {
                EXPECT_TRUE(names.empty());
            }
        } else {
            topologies->releaseInstance("Owner");
            s.topology = TopologyRefPtr();
            EXPECT_FALSE(claimed(ComponentType::Motion, "Stage"));
        }
        EXPECT_TRUE(isIdle(*s.process) && isIdle(*s.display));
        EXPECT_FALSE(cameraOf(s.camera).isStarted());
        for (auto [type, name] : std::vector<std::pair<ComponentType, std::string>>{
                 {ComponentType::Device, "Camera"},
                 {ComponentType::Operator, "Sink"},
                 {ComponentType::OperatorProcess, "Process"},
                 {ComponentType::Display, "Display"},
                 {ComponentType::Buffer, buffer}}) {
            EXPECT_FALSE(claimed(type, name)) << name;
        }
        EXPECT_EQ(DeviceManager::get()->instance("Camera").isNull(), c.releasesDevices);
        EXPECT_EQ(DisplayManager::get()->instance("Display").isNull(), c.releasesProcessing);
        EXPECT_EQ(OperatorManager::get()->instance("Sink").isNull(), c.releasesProcessing);
        EXPECT_EQ(OperatorManager::get()->process("Process").isNull(), c.releasesProcessing);
        EXPECT_TRUE(BufferManager::get()->instance(buffer.c_str()).isNull());
        topologies->freeExclusive(ComponentType::Motion, "Stage");
        TearDown();
    }
}

TEST_F(TopologyTest, ClearLeavesAnotherObjectThatTookAComponentsName) {
    TopologyRefPtr topology = makeTopology("Owner");
    OperatorRefPtr old = makeOperator("Op");
    topology->add(old);
    OperatorManager::get()->releaseInstance("Op");
    OperatorRefPtr newer = makeOperator("Op");
    topology->clear();
    EXPECT_EQ(OperatorManager::get()->instance("Op"), newer);
}

TEST_F(TopologyTest, AProcessStoppedByTheHostIsFreedAtStopForAnotherTopology) {
    OperatorProcessRefPtr process = makeProcess("Process");
    TopologyRefPtr first = makeTopology("First");
    first->add(process);
    first->start();
    process->stopProcess();
    ASSERT_TRUE(isIdle(*process));

    first->stop();
    EXPECT_FALSE(claimed(ComponentType::OperatorProcess, "Process"));
    TopologyRefPtr second = makeTopology("Second");
    second->add(process);
    EXPECT_EQ(startFailure(second), "");
    EXPECT_TRUE(KorvaneTest::eventually([&] { return process->isRunning(); }));
}

TEST_F(TopologyTest, ADeviceThatThrowsOnStartLeavesNoClaimBehind) {
    TopologyRefPtr topology = makeTopology("Throwing");
    DeviceRefPtr camera = makeCamera("Camera");
    OperatorProcessRefPtr process = makeProcess("Process");
    topology->add(process);
    topology->add(camera, Topology::StartDevices);
    cameraOf(camera).onStart = [] { throw std::logic_error("no camera"); };

    EXPECT_THROW(topology->start(), std::logic_error);
    EXPECT_FALSE(claimed(ComponentType::Device, "Camera"));
    EXPECT_TRUE(topology->isRunning());  // the process was started before
    topology->stop();
    EXPECT_TRUE(isIdle(*process));
    EXPECT_FALSE(claimed(ComponentType::OperatorProcess, "Process"));
}
