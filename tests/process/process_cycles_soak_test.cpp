// Soak: a thousand start/stop cycles of two processes that are blocked in buffers when
// the stop comes, one pushing into a full FIFO and one popping from an empty one, each
// cycle wired with new buffers by BufferManager::connect and unwired again. No stop may
// hang, every run must end its sequence, and nothing may be left behind: no buffer in
// the manager, no slot owner alive, and (under AddressSanitizer) no leak at exit.
#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>

#include "support/TestProcesses.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr int kCycles = 1000;
using TextFifo = FifoTemplate<std::string>;

// Counts entries into the blocking call, so the test knows the process waits there.
struct Blocked {
    std::atomic<int> pushing{0};
    std::atomic<int> popping{0};
};

}  // namespace

TEST(ProcessCyclesSoak, ProcessesBlockedInBuffersStopAndStartAThousandTimes) {
    BufferManager* manager = BufferManager::get();
    auto blocked = std::make_shared<Blocked>();
    const int ownersBefore = SlotOwner::live.load();
    {
        const ProcessHandle writer = makeProcess(), reader = makeProcess();
        const OwnerHandle sink = makeOwner(), source = makeOwner();
        ASSERT_TRUE(writer->addBufferSlot("Out", "string", slot_output, "", false) &&
                    reader->addBufferSlot("In", "string", slot_input, "", false) &&
                    sink->addBufferSlot("In", "string", slot_input, "", false) &&
                    source->addBufferSlot("Out", "string", slot_output, "", false));
        // The writer's FIFO fills after two items; the reader's stays empty.
        writer->onSequence = [writer = writer.rawPtr(), blocked](unsigned long long) {
            auto& fifo = dynamic_cast<TextFifo&>(*writer->bufferSlot("Out"));
            if (fifo.size() == 2) ++blocked->pushing;
            return fifo.push("item");
        };
        reader->onSequence = [reader = reader.rawPtr(), blocked](unsigned long long) {
            std::string item;
            ++blocked->popping;
            return dynamic_cast<TextFifo&>(*reader->bufferSlot("In")).pop(item);
        };

        for (int cycle = 0; cycle < kCycles; ++cycle) {
            ASSERT_TRUE(manager->connect(writer, "Out", sink, "In", 2).isValid()) << cycle;
            ASSERT_TRUE(manager->connect(source, "Out", reader, "In", 2).isValid()) << cycle;
            const int pushing = blocked->pushing.load(), popping = blocked->popping.load();
            writer->startProcess();
            reader->startProcess();
            ASSERT_TRUE(eventually([&] {
                return blocked->pushing.load() > pushing && blocked->popping.load() > popping;
            })) << cycle;
            // Both stops at once: each waits for its thread in steps of 10 ms.
            std::future<void> writerStopped = startDetached([writer] { writer->stopProcess(); });
            ASSERT_TRUE(stopProcessWithin(reader)) << "cycle " << cycle;
            ASSERT_EQ(writerStopped.wait_for(kGenerousDeadline), std::future_status::ready)
                << "cycle " << cycle;
            ASSERT_EQ(writer->statusDetail(), ProcessInterface::IdleStopped) << cycle;
            ASSERT_EQ(reader->statusDetail(), ProcessInterface::IdleStopped) << cycle;
            manager->disconnect(sink, "In");
            manager->disconnect(source, "Out");
            ASSERT_EQ(manager->instanceCount(), 0u) << cycle;
        }
        EXPECT_EQ(writer->cleanupCalls(), kCycles);
        EXPECT_EQ(reader->cleanupCalls(), kCycles);
    }
    EXPECT_EQ(SlotOwner::live.load(), ownersBefore);
}
