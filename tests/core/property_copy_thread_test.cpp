#include <gtest/gtest.h>
#include <korvane/core/PropertyInterface.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;
using KorvaneTest::kGenerousDeadline;
using KorvaneTest::startDetached;

namespace {

const std::string gainText = "The gain of the amplifier, shared by every copy.";

// Its description is a counted text, so copies on several threads count it together.
class Amplifier : public PropertyInterface {
public:
    Amplifier() {
        addProperty("Gain", 1, int32_property, read_write_access, 4, gainText);
        addProperty("Mode", 0LL, std::vector<std::string>{"Linear", "Logarithmic"}, enum_property,
                    read_write_access);
    }
};

}  // namespace

TEST(PropertyCopyThreads, CopiesMadeAndDroppedOnManyThreadsKeepTheirDescriptions) {
    auto prototype = std::make_shared<Amplifier>();
    auto damaged = std::make_shared<std::atomic<int>>(0);
    std::vector<std::future<void>> workers;
    for (int t = 0; t < 4; ++t) {
        workers.push_back(startDetached([prototype, damaged] {
            for (int i = 0; i < 500; ++i) {
                Amplifier copy(*prototype);
                copy.setProperty("Gain", i);
                Amplifier assigned;
                assigned = copy;
                if (assigned.propertyDescription("Gain") != gainText) ++*damaged;
            }
        }));
    }
    for (auto& worker : workers)
        ASSERT_EQ(worker.wait_for(kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(damaged->load(), 0);
    int gain = 0;
    EXPECT_TRUE(prototype->getProperty("Gain", &gain) && gain == 1);
    EXPECT_EQ(prototype->propertyDescription("Gain"), gainText);
}
