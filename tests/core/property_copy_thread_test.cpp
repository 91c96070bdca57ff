#include <korvane/core/PropertyInterface.h>

#include "support/Deadline.h"
#include "support/Detached.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>
#include <vector>

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
    std::vector<std::future<void>> workers;
    std::vector<std::shared_ptr<bool>> allIntact;
    for (int t = 0; t < 4; ++t) {
        auto intact = std::make_shared<bool>(true);
        allIntact.push_back(intact);
        workers.push_back(startDetached([prototype, intact] {
            for (int i = 0; i < 500; ++i) {
                Amplifier copy(*prototype);
                copy.setProperty("Gain", i);
                Amplifier assigned;
                assigned = copy;
                *intact = *intact && assigned.propertyDescription("Gain") == gainText;
            }
        }));
    }
    for (std::size_t t = 0; t < workers.size(); ++t) {
        ASSERT_EQ(workers[t].wait_for(kGenerousDeadline), std::future_status::ready);
        EXPECT_TRUE(*allIntact[t]) << "worker " << t;
    }
    int gain = 0;
    EXPECT_TRUE(prototype->getProperty("Gain", &gain));
    EXPECT_EQ(gain, 1);
    EXPECT_EQ(prototype->propertyDescription("Gain"), gainText);
}
