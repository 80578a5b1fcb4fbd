// A local date and time of day. A plain value: each belongs to its user.
#pragma once

#include "toviCommonLib/toviDate.h"
#include "toviCommonLib/toviTime24.h"

#include <compare>

namespace tovi
{

struct DateTime
{
    Date date;
    Time24 time;

    // From one reading of the clock, so that midnight cannot fall between date and time.
    void setNow();

    // The date, `sepBetweenDateAndTime` unless it is 0, and the time, each as its own formatAs does; nothing more when
    // the date did not fit. Returns the length.
    u32 formatAs_YYYYMMDDHHMMSS(char *out, u32 sizeOfOut, char sepBetweenDateAndTime, char sepDate, char sepTime) const;

    // On the local calendar, the milliseconds stay. False, with the value unchanged, when the year leaves 0 to 65535.
    bool addYMDHIS(i16 years, i16 months, i16 days, i16 hours, i16 minutes, i16 secs);

    // a - b in whole seconds, both as local times, so changes of daylight saving count; milliseconds do not.
    // 0 when the system calendar does not reach one of them.
    static i64 diff_seconds(const DateTime &a, const DateTime &b);

    // Last sunday of March at 02:00 and last sunday of October at 03:00.
    static void calcEuropeanSummerTimeStartAndEndDateTime(u32 year, DateTime *start, DateTime *end);

    // By date.ts, then by time of day; the time's unused bits do not count.
    std::weak_ordering operator<=>(const DateTime &other) const;
};

} // namespace tovi
