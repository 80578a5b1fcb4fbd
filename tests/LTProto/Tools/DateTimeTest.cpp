#include "LTProto/Tools/DateTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>

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

struct sValueCase
{
    const char *name;
    DateTime value;
    std::time_t seconds;
    long nanoseconds;
};

class DateTimeValue : public testing::TestWithParam<sValueCase>
{
};

TEST_P(DateTimeValue, HasSecondsAndNanoseconds)
{
    EXPECT_EQ(GetParam().value.m_time.tv_sec, GetParam().seconds);
    EXPECT_EQ(GetParam().value.m_time.tv_nsec, GetParam().nanoseconds);
}

const sValueCase VALUE_CASES[] = {
    {"NotNow", DateTime(false), 0, 0},
    {"Long", DateTime(-7L), -7, 0},
    {"WholeFloat", DateTime(60.0f), 60, 0},
    {"FractionOfDouble", DateTime(0.25), 0, 250'000'000},
    {"NanosecondsAreCut", DateTime(1.0 / 3.0), 0, 333'333'333},
    {"JustBelowASecond", DateTime(std::nextafter(1.0, 0.0)), 0, 999'999'999},
    {"NegativeCountsForwards", DateTime(-1.25), -2, 750'000'000},
    {"NotANumber", DateTime(std::nan("")), 0, 0},
    {"Infinite", DateTime(std::numeric_limits<double>::infinity()), LAST_SECOND, 0},
    {"HugeNegativeFloat", DateTime(-std::numeric_limits<float>::max()), FIRST_SECOND, 0},
    {"FirstSecondIsInRange", DateTime(static_cast<double>(FIRST_SECOND)), FIRST_SECOND, 0},
    {"OneAboveTheLast", DateTime(-static_cast<double>(FIRST_SECOND)), LAST_SECOND, 0},
    {"SumCarries", At(5, 700'000'000) + At(1, 400'000'000), 7, 100'000'000},
    {"SumOfExactlyASecond", At(5, 600'000'000) + At(1, 400'000'000), 7, 0},
    {"DifferenceBorrows", At(5, 100'000'000) - At(1, 400'000'000), 3, 700'000'000},
    {"DifferenceBelowZero", At(1, 0) - At(2, 500'000'000), -2, 500'000'000},
    {"SumStaysAtTheLastSecond", At(LAST_SECOND, 1) + At(1, 0), LAST_SECOND, 1},
    {"SumStaysAtTheFirstSecond", At(FIRST_SECOND, 0) + At(-1, 0), FIRST_SECOND, 0},
    {"DifferenceStaysAtTheFirstSecond", At(FIRST_SECOND, 0) - At(1, 0), FIRST_SECOND, 0},
    {"DifferenceStaysAtTheLastSecond", At(0, 0) - At(FIRST_SECOND, 0), LAST_SECOND, 0},
};

INSTANTIATE_TEST_SUITE_P(Values, DateTimeValue, testing::ValuesIn(VALUE_CASES),
                         [](const auto &testInfo) { return testInfo.param.name; });

TEST(DateTime, NowReadsTheClockIntoItself)
{
    const std::time_t before = std::time(nullptr);
    DateTime read(false);
    EXPECT_EQ(read.Now(), read);
    EXPECT_GE(read.m_time.tv_sec, before - 1); // the two clocks tick at different moments
    EXPECT_FALSE(DateTime(true) < read);
}

TEST(DateTime, ComparesSecondsThenNanoseconds)
{
    EXPECT_TRUE(At(1, 9) < At(2, 0));
    EXPECT_TRUE(At(2, 1) > At(2, 0));
    EXPECT_FALSE(At(2, 0) < At(2, 0));
    EXPECT_FALSE(At(2, 0) == At(2, 1));
}

TEST(DateTime, OtherScalars)
{
    EXPECT_FLOAT_EQ(At(-2, 750'000'000).ToFloat(), -1.25f);
    EXPECT_FALSE(At(1, 0).InRangePerSec(1.0f));
}

TEST(DateTime, TimeoutExpiresStrictlyAfterItsEndOrBeforeItsStart)
{
    const DateTime start = At(100, 500'000'000);
    const DateTime span(60.0);
    EXPECT_FALSE(Tools::TimeoutExpired(start, span, start));
    EXPECT_FALSE(Tools::TimeoutExpired(start, span, At(160, 500'000'000)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, span, At(160, 500'000'001)));
    EXPECT_TRUE(Tools::TimeoutExpired(start, span, At(100, 499'999'999)));
    EXPECT_FALSE(Tools::TimeoutExpired(start, DateTime(1e300), At(LAST_SECOND, 0)));
}

// Local time is one hour ahead of UTC, two in summer.
class DateTimeText : public testing::Test
{
  protected:
    DateTimeText()
    {
        if (const char *zone = std::getenv("TZ"))
            m_zone = zone;
        SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
    }
    ~DateTimeText() override { SetZone(m_zone ? m_zone->c_str() : nullptr); }

  private:
    static void SetZone(const char *zone)
    {
        zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
    }

    std::optional<std::string> m_zone;
};

constexpr std::time_t WINTER = 1705311000; // 2024-01-15 09:30:00 UTC
constexpr std::time_t SUMMER = 1721037847; // 2024-07-15 10:04:07 UTC

TEST_F(DateTimeText, Forms)
{
    const DateTime winter = At(WINTER, 123'456'789);
    const DateTime summer = At(SUMMER, 1'000'000);
    EXPECT_EQ(winter.TimeString(0, false), "10:30:00");
    EXPECT_EQ(winter.TimeString(9, true), "09:30:00.123456789");
    EXPECT_EQ(summer.TimeString(3, false), "12:04:07.001");
    EXPECT_EQ(summer.TimeString(255, true), "10:04:07.001000000");
    EXPECT_EQ(winter.TimeInSeconds(1, 9), "34200.1");
    EXPECT_EQ(winter.DateString(), "15/01/2024");
    EXPECT_EQ(winter.ToString(0, ','), "15/01/2024 10:30:00");
    EXPECT_EQ(winter.ToString(8, ','), "15/01/2024 10:30:00,12345678");
    EXPECT_EQ(winter.ToStringCompact(0, 0), "20240115T103000");
    EXPECT_EQ(winter.ToStringCompact(2, ','), "20240115T103000,12");
    EXPECT_EQ(winter.ToStringCompact(3, 0), "20240115T103000123");
    EXPECT_EQ(At(42, 0).RelativeString(0, 5, '.'), "00042");
    EXPECT_EQ(At(123456, 500'000'000).RelativeString(1, 5, '.'), "123456.5");
    EXPECT_EQ(At(-3, 0).RelativeString(0, 0, '.'), "-3");
}

struct sReadCase
{
    const char *text;
    bool result;
    DateTime value;
};

TEST_F(DateTimeText, IsReadBackAsStandardTime)
{
    const DateTime untouched = At(1, 2);
    const sReadCase cases[] = {
        {"20240115", true, At(WINTER - 37800, 0)}, // 10 h 30 min earlier
        {"20240115T103000", true, At(WINTER, 0)},
        {"20240115T103000123", true, At(WINTER, 123'000'000)},
        {"20240115T103000.12", true, At(WINTER, 0)},
        {"20240115T103000-12", true, At(WINTER, 0)},
        {"20240115T103000999999999999999", true, At(WINTER, 999'999'999)},
        {"20240715T120407", true, At(SUMMER + 3600, 0)},
        {"2024011", false, untouched},
        {"20240115T10300", false, untouched},
        {"20240115 103000", false, untouched},
        {"datetime", false, untouched},
        {"19700101T005959", false, untouched}, // one second before the epoch is how mktime says no
    };
    for (const sReadCase &c : cases)
    {
        DateTime value = untouched;
        EXPECT_EQ(value.FromString(c.text), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

} // namespace
