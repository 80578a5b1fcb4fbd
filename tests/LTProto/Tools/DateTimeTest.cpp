#include "LTProto/Tools/DateTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace
{

using Tools::DateTime;

DateTime At(std::time_t seconds, long nanoseconds)
{
    timespec time{};
    time.tv_sec = seconds;
    time.tv_nsec = nanoseconds;
    return DateTime(time);
}

constexpr std::time_t LAST_SECOND = std::numeric_limits<std::time_t>::max();
constexpr std::time_t FIRST_SECOND = std::numeric_limits<std::time_t>::min();

TEST(DateTime, HasSecondsAndNanoseconds)
{
    const struct
    {
        const char *name;
        DateTime value;
        std::time_t seconds;
        long nanoseconds;
    } CASES[] = {
        {"nanoseconds are cut", DateTime(1.0 / 3.0), 0, 333'333'333},
        {"negative counts forwards", DateTime(-1.25), -2, 750'000'000},
        {"not a number", DateTime(std::nan("")), 0, 0},
        {"one above the last", DateTime(-static_cast<double>(FIRST_SECOND)), LAST_SECOND, 0},
        {"huge negative float", DateTime(-std::numeric_limits<float>::max()), FIRST_SECOND, 0},
        {"sum of exactly a second", At(5, 600'000'000) + At(1, 400'000'000), 7, 0},
        {"difference borrows", At(1, 0) - At(2, 500'000'000), -2, 500'000'000},
        {"sum stays at the last second", At(LAST_SECOND, 1) + At(1, 0), LAST_SECOND, 1},
        {"sum stays at the first second", At(FIRST_SECOND, 0) + At(-1, 0), FIRST_SECOND, 0},
        {"difference stays at the first second", At(FIRST_SECOND, 0) - At(1, 0), FIRST_SECOND, 0},
        {"difference stays at the last second", At(0, 0) - At(FIRST_SECOND, 0), LAST_SECOND, 0},
    };
    for (const auto &c : CASES)
        EXPECT_EQ(c.value, At(c.seconds, c.nanoseconds)) << c.name;
    EXPECT_FALSE(At(2, 0) == At(2, 1));
    EXPECT_FLOAT_EQ(At(-2, 750'000'000).ToFloat(), -1.25f);
    EXPECT_FALSE(At(1, 0).InRangePerSec(1.0f));
    const std::time_t before = std::time(nullptr);
    EXPECT_GE(DateTime(true).m_time.tv_sec, before - 1); // the two clocks tick at different moments
}

TEST(DateTime, TimeoutExpiresStrictlyAfterItsEndOrBeforeItsStart)
{
    const DateTime start = At(100, 500'000'000);
    EXPECT_FALSE(Tools::TimeoutExpired(start, DateTime(60.0), At(160, 500'000'000)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, DateTime(60.0), At(160, 500'000'001)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, DateTime(60.0), At(100, 499'999'999)));
    EXPECT_FALSE(Tools::TimeoutExpired(start, DateTime(1e300), At(LAST_SECOND, 0)));
}

// Local time is one hour ahead of UTC, two in summer.
TEST(DateTime, IsWrittenAndReadAsText)
{
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    const std::time_t WINTER = 1705311000; // 2024-01-15 09:30:00 UTC
    const std::time_t SUMMER = 1721037847; // 2024-07-15 10:04:07 UTC
    const DateTime winter = At(WINTER, 123'456'789);
    EXPECT_EQ(At(SUMMER, 1'000'000).TimeString(3, false), "12:04:07.001");
    EXPECT_EQ(At(SUMMER, 1'000'000).TimeString(255, true), "10:04:07.001000000");
    EXPECT_EQ(winter.TimeInSeconds(1, 9), "34200.1");
    EXPECT_EQ(winter.ToString(8, ','), "15/01/2024 10:30:00,12345678");
    EXPECT_EQ(winter.ToStringCompact(2, ','), "20240115T103000,12");
    EXPECT_EQ(winter.ToStringCompact(3, 0), "20240115T103000123");
    EXPECT_EQ(At(42, 500'000'000).RelativeString(1, 5, '.'), "00042.5");

    const DateTime untouched = At(1, 2);
    const std::pair<const char *, DateTime> TEXTS[] = {
        {"20240115", At(WINTER - 37800, 0)}, // 10 h 30 min earlier
        {"20240115T103000", At(WINTER, 0)},
        {"20240115T103000123", At(WINTER, 123'000'000)},
        {"20240115T103000.12", At(WINTER, 0)},
        {"20240115T103000-12", At(WINTER, 0)},
        {"20240115T103000999999999999999", At(WINTER, 999'999'999)},
        {"20240715T120407", At(SUMMER + 3600, 0)}, // read as standard time
        {"20240115 103000", untouched},
        {"datetime", untouched},
        {"19700101T005959", untouched}, // one second before the epoch is how mktime says no
    };
    for (const auto &[text, expected] : TEXTS)
    {
        DateTime value = untouched;
        EXPECT_EQ(value.FromString(text), !(expected == untouched)) << text;
        EXPECT_EQ(value, expected) << text;
    }
}

} // namespace
