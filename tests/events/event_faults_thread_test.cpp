// The event loop under hostile dispatchers: one that reads the very property whose
// writer is blocked posting into the full queue (a deadlock unless the writer is let
// past the bound), and one that throws.
#include <gtest/gtest.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventDispatcher.h>
#include <korvane/events/EventManager.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"
#include "support/SystemLogRecorder.h"

using namespace Korvane;
using namespace KorvaneTest;

namespace {

constexpr int kBound = 1000;

class Counter : public PropertyInterface {
public:
    Counter() { addProperty("Count", 0LL, int64_property, read_write_access); }
};

// Shared between the test, the writer thread and the dispatcher, so that a case that
// fails with threads still blocked leaves them nothing destroyed.
struct Scene {
    Counter counter;
    std::atomic<int> written{0};
    std::mutex lock;  // guards seen and readBack
    std::vector<long long> seen;
    std::vector<long long> readBack;
};

// Holds the first event until the writer has filled the queue behind it, then reads
// the counter while handling every event.
class ReadingDispatcher : public EventDispatcher {
public:
    explicit ReadingDispatcher(std::shared_ptr<Scene> scene) : m_scene(std::move(scene)) {}
    void dispatch(Event* event) override {
        auto* changed = dynamic_cast<PropertyEvent*>(event);
        if (!changed) return;
        if (m_first) {
            m_first = false;
            eventually([&] { return m_scene->written.load() > kBound; });
        }
        long long now = 0;
        m_scene->counter.getProperty("Count", &now);
        std::lock_guard<std::mutex> lock(m_scene->lock);
        m_scene->seen.push_back(changed->asInt());
        m_scene->readBack.push_back(now);
    }
    bool disconnect(std::uint64_t) override { return true; }

private:
    std::shared_ptr<Scene> m_scene;
    bool m_first = true;
};

class ThrowingDispatcher : public EventDispatcher {
public:
    explicit ThrowingDispatcher(std::shared_ptr<std::atomic<int>> delivered)
        : m_delivered(std::move(delivered)) {}
    void dispatch(Event* event) override {
        auto* user = dynamic_cast<UserEvent*>(event);
        if (!user) return;
        if (user->message() == "standard") throw std::runtime_error("listener failed");
        if (user->message() == "other") throw 42;
        ++*m_delivered;
    }
    bool disconnect(std::uint64_t) override { return true; }

private:
    std::shared_ptr<std::atomic<int>> m_delivered;
};

// A deadlocked loop thread cannot be removed, and the manager's destructor would wait
// for it at exit: end the program at once instead of hanging CI.
[[noreturn]] void abandonDeadlockedProgram(const char* what) {
    std::fprintf(stderr, "FAILED: %s; the event loop is deadlocked, exiting\n", what);
    std::fflush(stderr);
    std::_Exit(1);
}

}  // namespace

TEST(EventFaults, DispatcherReadingAPropertyWhoseWriterWaitsForRoomDoesNotDeadlock) {
    constexpr int kWrites = 3 * kBound;
    auto scene = std::make_shared<Scene>();
    EventManager* manager = EventManager::get();
    ASSERT_TRUE(manager->setEventDispatcher(new ReadingDispatcher(scene)));
    std::future<void> writer = startDetached([scene] {
        for (long long n = 1; n <= kWrites; ++n) {
            scene->counter.setProperty("Count", n);
            ++scene->written;
        }
    });
    if (writer.wait_for(kGenerousDeadline * 3) != std::future_status::ready)
        abandonDeadlockedProgram("the writer did not finish");
    const bool allSeen = eventually([&] {
        std::lock_guard<std::mutex> lock(scene->lock);
        return scene->seen.size() == static_cast<std::size_t>(kWrites);
    });
    if (!allSeen) abandonDeadlockedProgram("not every event arrived");
    manager->setEventDispatcher(nullptr);

    std::lock_guard<std::mutex> lock(scene->lock);
    for (int i = 0; i < kWrites; ++i) {
        ASSERT_EQ(scene->seen[i], i + 1) << "events out of order";
        ASSERT_GE(scene->readBack[i], i + 1) << "a read saw an older value than its event";
    }
}

TEST(EventFaults, ThrowingDispatcherIsLoggedAndTheLoopGoesOn) {
    SystemLogRecorder systemLog;
    auto delivered = std::make_shared<std::atomic<int>>(0);
    EventManager* manager = EventManager::get();
    ASSERT_TRUE(manager->setEventDispatcher(new ThrowingDispatcher(delivered)));
    EventGenerator sender;
    for (int round = 0; round < 50; ++round) {
        manager->postEvent(new UserEvent("standard"), &sender);
        manager->postEvent(new UserEvent("other"), &sender);
        manager->postEvent(new UserEvent("fine"), &sender);
    }
    ASSERT_TRUE(eventually([&] { return delivered->load() == 50; }));
    // Every dispatch that threw was logged before the last event was delivered.
    const std::vector<std::string> logged = systemLog.messages();
    const std::string report = "ERROR      : [EventManager] The event dispatcher threw: ";
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report + "listener failed"), 50);
    EXPECT_EQ(std::count(logged.begin(), logged.end(), report + "unknown exception"), 50);
    manager->setEventDispatcher(nullptr);
    EXPECT_EQ(manager->eventDispatcher(), nullptr);
}
