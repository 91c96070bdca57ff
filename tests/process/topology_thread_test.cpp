// Topologies on several threads: two starts racing for one component, and a whole
// acquisition setup (camera thread, operator process, storage) started and stopped as
// a unit.

#include <gtest/gtest.h>
#include <korvane/process/Topology.h>
#include <korvane/process/TopologyManager.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <future>
#include <set>
#include <stdexcept>
#include <string>

#include "support/AcquisitionSetup.h"
#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/TempDir.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

struct Racer {
    TopologyRefPtr topology;
    std::string failure;  // the start's exception text, written by the racing thread
};

}  // namespace

TEST(TopologyThreads, TwoTopologiesStartedTogetherOnASharedProcessHaveOneWinner) {
    registerTestTypes();
    TopologyManager* topologies = TopologyManager::get();
    std::string name = "Shared";
    OperatorProcessRefPtr shared = OperatorManager::get()->createProcess(name, true);
    name = "SharedOp";
    OperatorRefPtr sharedOp = OperatorManager::get()->create("Noop", name, true);
    shared->addOperator(sharedOp, 0);

    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        Racer racers[2];
        for (Racer& racer : racers) {
            name = "Racer";
            racer.topology = topologies->create("Topology", name, true);
            racer.topology->add(shared);
        }
        std::atomic<int> ready{0};
        std::future<void> ends[2];
        for (int i = 0; i < 2; ++i) {
            Racer* racer = &racers[i];
            ends[i] = startDetached([racer, &ready] {
                ready.fetch_add(1);
                while (ready.load() < 2) std::this_thread::yield();
                try {
                    racer->topology->start();
                } catch (const std::runtime_error& failure) {
                    racer->failure = failure.what();
                }
            });
        }
        for (std::future<void>& end : ends) {
            ASSERT_EQ(end.wait_for(kGenerousDeadline), std::future_status::ready);
        }

        const int winner = racers[0].failure.empty() ? 0 : 1;
        const Racer& loser = racers[1 - winner];
        EXPECT_TRUE(racers[winner].failure.empty());
        EXPECT_EQ(loser.failure, "Topology failed to claim process.");
        EXPECT_EQ(topologies->claimant(ComponentType::OperatorProcess, shared->name()),
                  racers[winner].topology->name());
        for (Racer& racer : racers) {
            racer.topology->stop();
            racer.topology->remove(shared);  // stays for the next round
            topologies->releaseInstance(racer.topology->name().c_str());
        }
        EXPECT_FALSE(
            topologies->isClaimedExclusive(ComponentType::OperatorProcess, shared->name()));
        EXPECT_EQ(shared->status(), ProcessInterface::Idle);
    }
    OperatorManager::get()->releaseProcess(shared->name().c_str());
    OperatorManager::get()->releaseInstance(sharedOp->name().c_str());
}

TEST(AcquisitionSetup, FramesFlowFromTheCameraThroughTwoOperatorsIntoFiles) {
    constexpr unsigned int every = 5;
    constexpr unsigned long long frames = 60;
    TempDir directory;
    std::set<std::uint32_t> saved;
    {
        AcquisitionSetup setup(directory.path(), every);
        ASSERT_TRUE(setup.wired);
        SaveEveryNth& sink = sinkOf(setup.sink);

        setup.topology->start();
        ASSERT_TRUE(eventually([&] { return sink.received.load() >= frames; }))
            << "frames received: " << sink.received.load();
        setup.topology->stop();

        EXPECT_EQ(setup.leftovers(), "");
        EXPECT_GE(cameraOf(setup.camera).framesDelivered(), frames);
        EXPECT_GE(sink.saved.load(), frames / every);

        // Every file holds the inverted frame its name gives.
        for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
            const std::string file = entry.path().filename().string();
            const auto n =
                static_cast<std::uint32_t>(std::stoul(file.substr(6)));  // "frame_<n>.pgm"
            std::string expected = "P5\n16 8\n255\n";  // kFrameWidth x kFrameHeight
            for (unsigned int i = 0; i < kFrameWidth * kFrameHeight; ++i)
                expected += static_cast<char>(255 - frameSample(n, i));
            EXPECT_EQ(readFile(entry.path().string()), expected) << file;
            saved.insert(n);
        }
        EXPECT_EQ(saved.size(), sink.saved.load());
    }
    // Releasing the setup's topology (OwnAll) released every component it made.
    EXPECT_TRUE(DeviceManager::get()->instance("Camera").isNull());
    EXPECT_TRUE(OperatorManager::get()->process("Process").isNull());
    EXPECT_EQ(OperatorManager::get()->instanceCount(), 0u);
    EXPECT_EQ(BufferManager::get()->instanceCount(), 0u);
}
