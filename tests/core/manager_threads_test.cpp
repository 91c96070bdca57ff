#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/WidgetManager.h"

using KorvaneTest::WidgetManager;
using KorvaneTest::WidgetRefPtr;

namespace {

constexpr int threadCount = 4;
constexpr int iterations = 250;
constexpr auto deadline = std::chrono::seconds(60);

// What one thread leaves in the manager, or why it stopped.
struct Outcome {
    std::vector<std::pair<std::string, WidgetRefPtr>> instances;
    std::set<std::string> types;
    std::string error;
};

// Creates instances (half of them all under one name, so that keys are drawn
// concurrently), releases every third, registers and unregisters types of its own and
// reads the lists in between.
Outcome churn(WidgetManager& manager, int thread, std::shared_future<void> start) {
    start.wait();
    Outcome out;
    const std::string prefix = "t" + std::to_string(thread) + "_";
    for (int i = 0; i < iterations; ++i) {
        std::string name = i % 2 ? "shared" : prefix + std::to_string(i);
        WidgetRefPtr object = manager.create("Cam", name, true);
        if (object.isNull() || object->name() != name) {
            out.error = "create failed for " + name;
            return out;
        }
        if (i % 3 == 0) {
            if (!manager.releaseInstance(name.c_str()) || !object.isValid()) {
                out.error = "release failed for " + name;
                return out;
            }
        } else {
            out.instances.emplace_back(name, object);
        }

        const std::string type = prefix + "type" + std::to_string(i);
        if (!manager.registerType(type.c_str(), WidgetManager::makePrototype())) {
            out.error = "register failed for " + type;
            return out;
        }
        if (i % 2 == 0) {
            manager.unregisterType(type.c_str());
        } else {
            out.types.insert(type);
        }
        manager.instanceList("Cam");
        manager.typeList();
    }
    return out;
}

}  // namespace

TEST(ManagerThreads, ConcurrentCreateAndReleaseKeepTablesConsistent) {
    // Shared with the threads, so that a thread that overruns the deadline and is left
    // behind still works on live objects.
    auto manager = std::make_shared<WidgetManager>();
    ASSERT_TRUE(manager->registerType("Cam", WidgetManager::makePrototype()));

    std::promise<void> go;
    std::shared_future<void> start = go.get_future().share();
    std::vector<std::future<Outcome>> results;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        std::packaged_task<Outcome()> task(
            [manager, t, start] { return churn(*manager, t, start); });
        results.push_back(task.get_future());
        threads.emplace_back(std::move(task));
    }
    go.set_value();

    const auto until = std::chrono::steady_clock::now() + deadline;
    for (auto& result : results) {
        if (result.wait_until(until) != std::future_status::ready) {
            for (auto& thread : threads) thread.detach();
            FAIL() << "threads did not finish within the deadline";
        }
    }
    for (auto& thread : threads) thread.join();

    std::vector<std::pair<std::string, WidgetRefPtr>> kept;
    std::set<std::string> types = {"Cam"};
    for (auto& result : results) {
        Outcome outcome = result.get();
        ASSERT_EQ(outcome.error, "");
        kept.insert(kept.end(), outcome.instances.begin(), outcome.instances.end());
        types.insert(outcome.types.begin(), outcome.types.end());
    }

    std::vector<std::string> names;
    for (const auto& [name, object] : kept) {
        names.push_back(name);
        EXPECT_TRUE(object.isValid());
        EXPECT_EQ(manager->instance(name.c_str()), object) << name;
        EXPECT_EQ(object->name(), name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end()) << "names are unique";
    EXPECT_EQ(manager->instanceCount(), kept.size());
    EXPECT_EQ(manager->instanceList(), names);
    EXPECT_EQ(manager->instanceList("Cam"), names);
    EXPECT_EQ(manager->typeList(), std::vector<std::string>(types.begin(), types.end()));
    EXPECT_EQ(manager->typeCount(), types.size());
}
