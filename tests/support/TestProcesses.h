#pragma once
// Small slot owners and processes for the process and wiring tests: a slot owner and a
// process whose protected slot operations are open to the test, a process whose init,
// sequence and cleanup are functions set before it starts and whose calls are
// recorded, a gate that a process thread can wait at, and a bounded stop of any process.

#include <korvane/core/RefPtr.h>
#include <korvane/process/BufferSlotInterface.h>
#include <korvane/process/ProcessInterface.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"

namespace KorvaneTest {

class SlotOwner : public Korvane::BufferSlotInterface {
public:
    SlotOwner() : BufferSlotInterface("TestSlotOwner") { live.fetch_add(1); }
    SlotOwner(const SlotOwner& other) : BufferSlotInterface(other) { live.fetch_add(1); }
    ~SlotOwner() override { live.fetch_sub(1); }

    using BufferSlotInterface::addBufferSlot;
    using BufferSlotInterface::bufferSlot;
    using BufferSlotInterface::flushAllBuffers;
    using BufferSlotInterface::initBufferSlots;
    using BufferSlotInterface::notifyAndAbortAllBuffers;
    using BufferSlotInterface::releaseBufferSlots;
    using BufferSlotInterface::setBufferSlot;
    using BufferSlotInterface::unsetBufferSlot;

    static inline std::atomic<int> live{0};
};

// Opens once; every wait after that returns at once.
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    // False when the gate did not open within limit.
    bool waitOpen(std::chrono::milliseconds limit = kGenerousDeadline) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, limit, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;  // guards m_open
    std::condition_variable m_changed;
    bool m_open = false;
};

class ScriptedProcess : public Korvane::ProcessInterface {
public:
    ScriptedProcess() : ProcessInterface("TestProcess") {}

    using BufferSlotInterface::addBufferSlot;
    using BufferSlotInterface::bufferSlot;
    using BufferSlotInterface::setBufferSlot;
    using ProcessInterface::sleep;

    // Set before startProcess; the process thread calls them.
    std::function<bool()> onInit = [] { return true; };
    std::function<bool(unsigned long long)> onSequence = [](unsigned long long) { return true; };
    std::function<bool()> onCleanup = [] { return true; };

    std::vector<unsigned long long> sequenceCalls() const {
        std::lock_guard<std::mutex> lock(m_recordLock);
        return m_sequenceCalls;
    }
    int initCalls() const { return m_initCalls.load(); }
    int cleanupCalls() const { return m_cleanupCalls.load(); }

protected:
    bool init() override {
        m_initCalls.fetch_add(1);
        return onInit();
    }
    bool sequence(unsigned long long iteration) override {
        {
            std::lock_guard<std::mutex> lock(m_recordLock);
            m_sequenceCalls.push_back(iteration);
        }
        return onSequence(iteration);
    }
    bool cleanup() override {
        m_cleanupCalls.fetch_add(1);
        return onCleanup();
    }

private:
    mutable std::mutex m_recordLock;  // guards m_sequenceCalls
    std::vector<unsigned long long> m_sequenceCalls;
    std::atomic<int> m_initCalls{0};
    std::atomic<int> m_cleanupCalls{0};
};

using ProcessHandle = Korvane::RefPtr<ScriptedProcess>;
using OwnerHandle = Korvane::RefPtr<SlotOwner>;

inline ProcessHandle makeProcess() {
    return ProcessHandle(new ScriptedProcess, nullptr);
}

inline OwnerHandle makeOwner() {
    return OwnerHandle(new SlotOwner, nullptr);
}

// Calls stopProcess on a detached thread and answers whether it returned within limit.
// The thread holds its own handle, so a stop that hangs never touches a freed process.
template <class Handle>
bool stopProcessWithin(const Handle& process, std::chrono::milliseconds limit = kGenerousDeadline) {
    std::future<void> stopped = startDetached([process] { process->stopProcess(); });
    return stopped.wait_for(limit) == std::future_status::ready;
}

// Waits until the process shows detail; by default, until its run has ended.
template <class Handle>
bool reaches(
    const Handle& process,
    Korvane::ProcessInterface::StatusDetail detail = Korvane::ProcessInterface::StoppingDone,
    std::chrono::milliseconds limit = kGenerousDeadline) {
    return eventually([&] { return process->statusDetail() == detail; }, limit);
}

}  // namespace KorvaneTest
