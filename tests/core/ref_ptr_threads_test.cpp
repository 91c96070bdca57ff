#include <korvane/core/RefPtr.h>

#include "support/Detached.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <vector>

using namespace Korvane;

namespace {
std::atomic<int> g_destroyed{0};
struct Shared {
    virtual ~Shared() { g_destroyed.fetch_add(1); }
};
}  // namespace

TEST(RefPtrThreads, CopiesDroppedOnManyThreadsDestroyOnce) {
    for (int round = 0; round < 20; ++round) {
        g_destroyed = 0;
        auto* origin = new RefPtr<Shared>(new Shared, nullptr);
        std::vector<std::future<void>> workers;
        std::vector<RefPtr<Shared>> seeds(4, *origin);
        delete origin;
        for (auto& seed : seeds) {
            workers.push_back(KorvaneTest::startDetached([seed]() mutable {
                for (int i = 0; i < 2000; ++i) {
                    RefPtr<Shared> copy(seed);
                    RefPtr<Shared> other;
                    other = copy;
                }
                seed = RefPtr<Shared>();
            }));
        }
        for (auto& worker : workers) {
            ASSERT_EQ(worker.wait_for(std::chrono::seconds(30)), std::future_status::ready);
        }
        EXPECT_EQ(g_destroyed.load(), 0);
        seeds.clear();
        EXPECT_EQ(g_destroyed.load(), 1);
    }
}
