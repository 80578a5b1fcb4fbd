#include "toviCommonLib/toviDateTime.h"

#include "toviCommonLib/OS/linux/linuxOSClock.h"

#include <utility>

namespace tovi
{

namespace
{

platform::sLocalTime toLocalTime(const DateTime &value)
{
    return {value.date.getYear(),   value.date.getMonth(), value.date.getDay(), value.time.getHour(),
            value.time.getMinute(), value.time.getSec(),   value.time.getMSec()};
}

// The fields of `local` are within their calendar ranges.
void store(DateTime &value, const platform::sLocalTime &local)
{
    value.date.setYMD(static_cast<u16>(local.year), static_cast<u16>(local.month), static_cast<u16>(local.day));
    value.time.setHMS(static_cast<u32>(local.hour), static_cast<u32>(local.minute), static_cast<u32>(local.sec),
                      static_cast<u32>(local.ms));
}

Date lastSundayOf(u16 year, u16 monthOf31Days)
{
    Date date;
    date.setYMD(year, monthOf31Days, 31);
    date.setYMD(year, monthOf31Days, static_cast<u16>(31 - static_cast<u16>(date.getDayOfWeek())));
    return date;
}

} // namespace

void DateTime::setNow()
{
    store(*this, platform::getLocalTimeNow());
}

u32 DateTime::formatAs_YYYYMMDDHHMMSS(char *out, u32 sizeOfOut, char sepBetweenDateAndTime, char sepDate,
                                      char sepTime) const
{
    u32 length = date.formatAs_YYYYMMDD(out, sizeOfOut, sepDate);
    if (length == 0)
        return 0;
    if (sepBetweenDateAndTime != 0)
    {
        if (length + 1 == sizeOfOut)
            return length;
        out[length++] = sepBetweenDateAndTime;
    }
    return length + time.formatAs_HHMMSS(out + length, sizeOfOut - length, sepTime);
}

bool DateTime::addYMDHIS(i16 years, i16 months, i16 days, i16 hours, i16 minutes, i16 secs)
{
    platform::sLocalTime sum = toLocalTime(*this);
    sum.year += years;
    sum.month += months;
    sum.day += days;
    sum.hour += hours;
    sum.minute += minutes;
    sum.sec += secs;
    if (!platform::normaliseLocalTime(sum) || !std::in_range<u16>(sum.year))
        return false;
    store(*this, sum);
    return true;
}

i64 DateTime::diff_seconds(const DateTime &a, const DateTime &b)
{
    platform::sLocalTime localA = toLocalTime(a);
    platform::sLocalTime localB = toLocalTime(b);
    const auto secondsA = platform::normaliseLocalTime(localA);
    const auto secondsB = platform::normaliseLocalTime(localB);
    return (secondsA && secondsB) ? *secondsA - *secondsB : 0;
}

void DateTime::calcEuropeanSummerTimeStartAndEndDateTime(u32 year, DateTime *start, DateTime *end)
{
    start->date = lastSundayOf(static_cast<u16>(year), 3);
    start->time.setHMS(2, 0, 0, 0);
    end->date = lastSundayOf(static_cast<u16>(year), 10);
    end->time.setHMS(3, 0, 0, 0);
}

std::weak_ordering DateTime::operator<=>(const DateTime &other) const
{
    if (date.ts != other.date.ts)
        return date.ts <=> other.date.ts;
    return time.getTimeOfDayMSec() <=> other.time.getTimeOfDayMSec();
}

} // namespace tovi
