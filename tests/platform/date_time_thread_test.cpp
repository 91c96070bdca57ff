#include <gtest/gtest.h>
#include <korvane/platform/DateTime.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;

namespace {

// Runs every case in a zone five hours east of UTC, so local and UTC times differ.
class DateTimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const char* zone = getenv("TZ")) m_zone = zone;
        setenv("TZ", "XYZ-5", 1);
        tzset();
    }
    void TearDown() override {
        m_zone ? setenv("TZ", m_zone->c_str(), 1) : unsetenv("TZ");
        tzset();
    }
    std::optional<std::string> m_zone;
};

constexpr long long kDay = 24 * 60 * 60;

}  // namespace

TEST_F(DateTimeTest, PrintsTheTimeOrAnEmptyString) {
    const std::string thirtyOne(31, 'x');
    const std::string thirtyTwo(32, 'x');
    struct Case {
        long long time;
        const char* format;
        int base;
        std::string expected;
    };
    const Case cases[] = {{0, "%Y-%m-%d %H:%M:%S", utc_time, "1970-01-01 00:00:00"},
                          {-kDay, "%Y-%m-%d", utc_time, "1969-12-31"},
                          {0, "%Y-%m-%d %H:%M", local_time, "1970-01-01 05:00"},
                          {0, "%c", local_time, "Thu Jan  1 05:00:00 1970"},
                          {0, "%H", 7, "00"},  // an unknown base prints as UTC
                          {0, "%H", -1, "00"},
                          {0, thirtyOne.c_str(), utc_time, thirtyOne},
                          {0, thirtyTwo.c_str(), utc_time, ""},  // never truncated
                          {0, "%Y-%m-%d %H:%M:%S %Y-%m-%d %H:%M:%S", utc_time, ""},
                          {0, "", utc_time, ""},
                          {0, nullptr, local_time, ""},
                          {std::numeric_limits<long long>::max(), "%Y", utc_time, ""},
                          {std::numeric_limits<long long>::min(), "%Y", local_time, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.time) + " " + (c.format ? c.format : "(null)"));
        EXPECT_EQ(DateTime::print(c.time, c.format, static_cast<BaseTime>(c.base)), c.expected);
    }
}

TEST_F(DateTimeTest, NowIsTheCurrentTime) {
    const long long before = static_cast<long long>(time(nullptr));
    const long long now = DateTime::now();
    EXPECT_GE(now, before);
    EXPECT_LE(now, static_cast<long long>(time(nullptr)));
}

TEST_F(DateTimeTest, TwoThreadsPrintingAtOnceEachGetTheirOwnResult) {
    auto wrong = std::make_shared<std::atomic<int>>(0);
    std::promise<void> start;
    std::shared_future<void> go = start.get_future().share();
    auto printer = [wrong, go](long long time, const char* format, BaseTime base,
                               std::string expected) {
        return KorvaneTest::startDetached([=] {
            go.wait();
            for (int i = 0; i < 2000; ++i) {
                if (DateTime::print(time, format, base) != expected) ++*wrong;
            }
        });
    };
    auto utc = printer(0, "%Y-%m-%d %H:%M:%S", utc_time, "1970-01-01 00:00:00");
    auto local = printer(365 * kDay + 3600, "%H:%M %d.%m.%Y", local_time, "06:00 01.01.1971");
    start.set_value();
    ASSERT_EQ(utc.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    ASSERT_EQ(local.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(wrong->load(), 0);
}
