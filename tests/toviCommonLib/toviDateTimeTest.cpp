#include "toviCommonLib/toviDateTime.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

using namespace tovi;

namespace
{

DateTime at(u16 year, u16 month, u16 day, u32 hour = 0, u32 minute = 0, u32 sec = 0, u32 ms = 0)
{
    DateTime value;
    value.date.setYMD(year, month, day);
    value.time.setHMS(hour, minute, sec, ms);
    return value;
}

// What fits of the whole text with its NUL into this size.
std::string text(const DateTime &value, u32 size = 32)
{
    char out[32] = "unchanged";
    const u32 length = value.formatAs_YYYYMMDDHHMMSS(out, size, ' ', '-', ':');
    EXPECT_EQ(length, std::strlen(out));
    return out;
}

// Zones are written out, so that they need no zone files.
void useZone(const char *zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

TEST(DateTime, FormatsWholePartsOrNone)
{
    const DateTime v = at(2024, 2, 29, 7, 8, 9, 10);
    EXPECT_EQ(text(v, 20), "2024-02-29 07:08:09");
    EXPECT_EQ(text(v, 19), "2024-02-29 ");
    EXPECT_EQ(text(v, 11), "2024-02-29");
    EXPECT_EQ(text(v, 10), "");
    char out[16] = "";
    EXPECT_EQ(v.formatAs_YYYYMMDDHHMMSS(out, 15, 0, 0, 0), 14u);
    EXPECT_STREQ(out, "20240229070809");
    EXPECT_EQ(v.time.formatAs_HHMMSSmsec(out, 13, '.'), 12u);
    EXPECT_STREQ(out, "07.08.09.010");
    EXPECT_EQ(v.time.formatAs_HHMMSSmsec(out, 12, '.'), 0u);
}

TEST(Date, PacksReadsAndKnowsTheDayOfTheWeekAndTheEuropeanSummerTime)
{
    Date value = at(0xFFFF, 0x10C, 0x11F).date;
    EXPECT_FALSE(value.setFromYYYYMMDD(nullptr));
    EXPECT_FALSE(value.setFromYYYYMMDD("2024021"));
    EXPECT_EQ(value.ts, 0xFFFF0C1Fu); // month and day stay in their 8 bits
    EXPECT_TRUE(value.setFromYYYYMMDD("20x4 17/"));
    EXPECT_EQ(value.ts, 0x00140007u);                                      // 20, nothing, 7
    EXPECT_EQ(at(1900, 3, 1).date.getDayOfWeek(), eDayOfWeek::thursday);   // no leap year
    EXPECT_EQ(at(2024, 13, 32).date.getDayOfWeek(), eDayOfWeek::saturday); // 1 February 2025
    EXPECT_EQ(at(2024, 0, 0).date.getDayOfWeek(), eDayOfWeek::thursday);   // 30 November 2023
    DateTime start, end;
    DateTime::calcEuropeanSummerTimeStartAndEndDateTime(2024, &start, &end);
    EXPECT_EQ(text(start), "2024-03-31 02:00:00");
    EXPECT_EQ(text(end), "2024-10-27 03:00:00");
}

TEST(Time24, PacksReadsAndCountsWithinItsFieldsAndKeepsTheUnusedBits)
{
    Time24 value{0xA8000000};
    value.setHMS(32 + 1, 64 + 2, 64 + 3, 1024 + 4);
    EXPECT_EQ(value.ts, 0xA8000000 | (1u << 22) | (2u << 16) | (3u << 10) | 4u);
    EXPECT_FALSE(value.setFromHHMMSS(nullptr));
    EXPECT_FALSE(value.setFromHHMMSS("12345"));
    EXPECT_TRUE(value.setFromHHMMSS("1x:4598")); // 1, nothing, 59
    value.add(0xFFFFFFFF, 0, 0, 996);            // 4294967296 hours in 5 bits
    EXPECT_EQ(value.getTimeOfDayMSec(), 60000u);
    value.add(25, 0, 0, 0); // past midnight
    value.sub(0, 0, 1, 1);
    EXPECT_EQ(value.getTimeOfDayMSec(), 90058999u);
    value.sub(26, 0, 0, 0); // down to midnight
    EXPECT_EQ(value.ts, 0xA8000000);
}

TEST(DateTime, AddsAndSubtractsOnTheLocalCalendar)
{
    useZone("CET-1CEST,M3.5.0,M10.5.0/3");
    DateTime value = at(2023, 12, 31, 23, 59, 59, 123);
    EXPECT_TRUE(value.addYMDHIS(0, 0, 0, 0, 0, 1));
    EXPECT_TRUE(value.addYMDHIS(-1, 2, -1, 25, -61, 0));
    // 28 February, 23:59
    EXPECT_EQ(text(value), "2023-02-28 23:59:00");
    EXPECT_EQ(value.time.getMSec(), 123);
    value = at(1970, 1, 1, 0, 59, 58); // the last second before 1970 UTC is no failure
    EXPECT_TRUE(value.addYMDHIS(0, 0, 0, 0, 0, 1));
    EXPECT_FALSE(value.addYMDHIS(-1971, 0, 0, 0, 0, 0));
    EXPECT_EQ(text(value), "1970-01-01 00:59:59");
    EXPECT_EQ(DateTime::diff_seconds(at(2024, 3, 31, 0, 0, 0, 999), at(2024, 4, 1)), -23 * 3600);
    EXPECT_EQ(DateTime::diff_seconds(at(2100, 1, 1), at(1970, 1, 1)), (130LL * 365 + 32) * 86400);
    useZone("BRT3BRST,M10.3.0/0,M2.3.0/0"); // 20 October 2024 starts at 01:00
    Date day = at(2024, 1, 31).date;
    EXPECT_TRUE(day.addYMD(0, 1, 0));
    EXPECT_TRUE(day.addYMD(0, 7, 18));
    // 31 February, and the day without a midnight
    EXPECT_FALSE(day.addYMD(0xFFFFFFFF, 0, 0));
    EXPECT_FALSE(day.addYMD(65536 - 2024, 0, 0));
    EXPECT_EQ(text({day, {}}), "2024-10-20 00:00:00");
}

TEST(DateTime, NowIsTheSystemsTimeAndUnusedBitsDoNotCount)
{
    useZone("UTC0"); // no hour comes twice
    DateTime now;
    const std::time_t before = std::time(nullptr);
    now.setNow();
    EXPECT_GE(DateTime::diff_seconds(now, at(1970, 1, 1)), before);
    EXPECT_LE(DateTime::diff_seconds(now, at(1970, 1, 1)), std::time(nullptr));
    const DateTime marked{at(2024, 1, 2).date, {at(0, 0, 0, 23).time.ts | 0x80000000}};
    EXPECT_TRUE(marked < at(2024, 1, 3, 1));
    EXPECT_TRUE(marked <= at(2024, 1, 2, 23));
    EXPECT_TRUE(marked >= at(2024, 1, 2, 23));
}

} // namespace
