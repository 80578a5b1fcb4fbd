#include "LTProto/Tools/DateTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace
{

using Tools::DateTime;

constexpr std::time_t LAST = std::numeric_limits<std::time_t>::max();
constexpr std::time_t FIRST = std::numeric_limits<std::time_t>::min();

DateTime At(std::time_t seconds, long nanoseconds)
{
    return DateTime(timespec{seconds, nanoseconds});
}

TEST(DateTime, Values)
{
    const struct
    {
        const char *name;
        DateTime value;
        DateTime expected;
    } cases[] = {
        {"not now", DateTime(false), At(0, 0)},
        {"nanoseconds are cut", DateTime(2.0 / 3.0), At(0, 666'666'666)},
        {"negative counts forwards", DateTime(-1.25), At(-2, 750'000'000)},
        {"not a number", DateTime(std::nan("")), At(0, 0)},
        {"infinite", DateTime(std::numeric_limits<double>::infinity()), At(LAST, 0)},
        {"huge negative float", DateTime(-std::numeric_limits<float>::max()), At(FIRST, 0)},
        {"sum carries", At(5, 700'000'000) + At(1, 400'000'000), At(7, 100'000'000)},
        {"difference borrows", At(5, 100'000'000) - At(1, 400'000'000), At(3, 700'000'000)},
        {"sum above the last", At(LAST, 0) + At(1, 0), At(LAST, 0)},
        {"difference above the last", At(0, 0) - At(FIRST, 0), At(LAST, 0)},
    };
    for (const auto &c : cases)
    {
        EXPECT_EQ(c.value.m_time.tv_sec, c.expected.m_time.tv_sec) << c.name;
        EXPECT_EQ(c.value.m_time.tv_nsec, c.expected.m_time.tv_nsec) << c.name;
    }
}

TEST(DateTime, NowReadsTheClockIntoItself)
{
    DateTime now(false);
    EXPECT_EQ(now.Now(), now);
    EXPECT_TRUE(now > DateTime(false));
    EXPECT_FALSE(now.InRangePerSec(1.0f));
}

TEST(DateTime, TimeoutExpiresStrictlyAfterItsEndOrBeforeItsStart)
{
    const DateTime start = At(100, 500'000'000);
    const DateTime span(60.0);
    EXPECT_FALSE(Tools::TimeoutExpired(start, span, start));
    EXPECT_FALSE(Tools::TimeoutExpired(start, span, At(160, 500'000'000)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, span, At(160, 500'000'001)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, span, At(100, 499'999'999)));
    EXPECT_FALSE(Tools::TimeoutExpired(start, DateTime(1e300), At(LAST, 0)));
}

constexpr std::time_t WINTER = 1705311000; // 2024-01-15 09:30:00 UTC
constexpr std::time_t SUMMER = 1721037847; // 2024-07-15 10:04:07 UTC

// Local time is one hour ahead of UTC, two in summer.
class DateTimeText : public testing::Test
{
  protected:
    DateTimeText() { SetZone("CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~DateTimeText() override { SetZone("UTC0"); }

    static void SetZone(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
};

TEST_F(DateTimeText, Forms)
{
    const DateTime winter = At(WINTER, 123'456'789);
    const DateTime summer = At(SUMMER, 1'000'000);
    EXPECT_EQ(winter.TimeString(9, true), "09:30:00.123456789");
    EXPECT_EQ(summer.TimeString(3, false), "12:04:07.001");
    EXPECT_EQ(winter.TimeInSeconds(1, 9), "34200.1");
    EXPECT_EQ(winter.DateString(), "15/01/2024");
    EXPECT_EQ(winter.ToString(8, ','), "15/01/2024 10:30:00,12345678");
    EXPECT_EQ(winter.ToStringCompact(0, 0), "20240115T103000");
    EXPECT_EQ(winter.ToStringCompact(2, ','), "20240115T103000,12");
    EXPECT_EQ(At(42, 0).RelativeString(0, 5, '.'), "00042");
    EXPECT_EQ(At(123456, 500'000'000).RelativeString(1, 5, '.'), "123456.5");
    EXPECT_FLOAT_EQ(At(-2, 750'000'000).ToFloat(), -1.25f);
}

TEST_F(DateTimeText, IsReadBackAsStandardTime)
{
    const DateTime untouched = At(1, 2);
    const struct
    {
        const char *text;
        bool result;
        DateTime value;
    } cases[] = {
        {"20240115", true, At(WINTER - 37800, 0)}, // 10 h 30 min earlier
        {"20240115T103000", true, At(WINTER, 0)},
        {"20240115T103000123", true, At(WINTER, 123'000'000)},
        {"20240115T103000-12", true, At(WINTER, 0)},
        {"20240115T103000999999999999999", true, At(WINTER, 999'999'999)},
        {"20240715T120407", true, At(SUMMER + 3600, 0)},
        {"2024011", false, untouched},
        {"20240115 103000", false, untouched},
        {"19700101T005959", false, untouched}, // the second before the epoch is how mktime says no
    };
    for (const auto &c : cases)
    {
        DateTime value = untouched;
        EXPECT_EQ(value.FromString(c.text), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

} // namespace
