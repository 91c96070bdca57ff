#include <korvane/platform/DateTime.h>

#include "support/Deadline.h"

#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <string>

#include <stdlib.h>
#include <time.h>

using namespace Korvane;

namespace {

// Runs every case in a zone five hours east of UTC, so local and UTC times differ.
class DateTimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* zone = getenv("TZ");
        m_hadZone = zone != nullptr;
        if (m_hadZone) m_zone = zone;
        setenv("TZ", "XYZ-5", 1);
        tzset();
    }
    void TearDown() override {
        if (m_hadZone) {
            setenv("TZ", m_zone.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    bool m_hadZone = false;
    std::string m_zone;
};

constexpr long long kDay = 24 * 60 * 60;

// Prints time in a loop and counts the results that differ from expected.
int mismatches(long long time, const char* format, BaseTime base, const std::string& expected,
               std::shared_future<void> go) {
    go.wait();
    int wrong = 0;
    for (int i = 0; i < 2000; ++i) {
        if (DateTime::print(time, format, base) != expected) ++wrong;
    }
    return wrong;
}

}  // namespace

TEST_F(DateTimeTest, PrintsEpochInUtc) {
    EXPECT_EQ(DateTime::print(0, "%Y-%m-%d %H:%M:%S", utc_time), "1970-01-01 00:00:00");
}

TEST_F(DateTimeTest, PrintsTimesBeforeTheEpoch) {
    EXPECT_EQ(DateTime::print(-kDay, "%Y-%m-%d", utc_time), "1969-12-31");
}

TEST_F(DateTimeTest, PrintsLocalTimeInTheLocalZone) {
    EXPECT_EQ(DateTime::print(0, "%Y-%m-%d %H:%M", local_time), "1970-01-01 05:00");
    EXPECT_EQ(DateTime::print(0, "%c", local_time), "Thu Jan  1 05:00:00 1970");
}

TEST_F(DateTimeTest, NowPrintedWithPercentCMatchesTheLocalRepresentation) {
    const long long before = static_cast<long long>(time(nullptr));
    const long long now = DateTime::now();
    EXPECT_GE(now, before);
    EXPECT_LE(now, static_cast<long long>(time(nullptr)));
    const time_t seconds = static_cast<time_t>(now);
    struct tm fields {};
    ASSERT_NE(localtime_r(&seconds, &fields), nullptr);
    char expected[64];
    ASSERT_GT(strftime(expected, sizeof expected, "%c", &fields), 0u);
    EXPECT_EQ(DateTime::print(now, "%c", local_time), expected);
}

TEST_F(DateTimeTest, UnknownBaseTimePrintsAsUtc) {
    EXPECT_EQ(DateTime::print(0, "%H", static_cast<BaseTime>(7)), "00");
    EXPECT_EQ(DateTime::print(0, "%H", static_cast<BaseTime>(-1)), "00");
}

TEST_F(DateTimeTest, OutputOfThirtyTwoCharactersOrMoreIsEmpty) {
    const std::string thirtyOne(31, 'x');
    EXPECT_EQ(DateTime::print(0, thirtyOne.c_str(), utc_time), thirtyOne);
    EXPECT_EQ(DateTime::print(0, (thirtyOne + "x").c_str(), utc_time), "");
    EXPECT_EQ(DateTime::print(0, "%Y-%m-%d %H:%M:%S %Y-%m-%d %H:%M:%S", utc_time), "");
}

TEST_F(DateTimeTest, EmptyOrNullFormatGivesEmptyString) {
    EXPECT_EQ(DateTime::print(0, "", utc_time), "");
    EXPECT_EQ(DateTime::print(0, nullptr, local_time), "");
}

TEST_F(DateTimeTest, TimeBeyondTheCalendarGivesEmptyString) {
    EXPECT_EQ(DateTime::print(std::numeric_limits<long long>::max(), "%Y", utc_time), "");
    EXPECT_EQ(DateTime::print(std::numeric_limits<long long>::min(), "%Y", local_time), "");
}

TEST_F(DateTimeTest, TwoThreadsPrintingAtOnceEachGetTheirOwnResult) {
    std::promise<void> start;
    std::shared_future<void> go = start.get_future().share();
    auto utc = std::async(std::launch::async, mismatches, 0LL, "%Y-%m-%d %H:%M:%S", utc_time,
                          "1970-01-01 00:00:00", go);
    auto local = std::async(std::launch::async, mismatches, 365 * kDay + 3600, "%H:%M %d.%m.%Y",
                            local_time, "06:00 01.01.1971", go);
    start.set_value();
    ASSERT_EQ(utc.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    ASSERT_EQ(local.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(utc.get(), 0);
    EXPECT_EQ(local.get(), 0);
}
