#include "toviCommonLib/toviDate.h"

#include "toviCommonLib/OS/linux/linuxOSClock.h"
#include "toviCommonLib/toviUtils.h"

#include <chrono>
#include <cstring>
#include <utility>

namespace tovi
{

void Date::getDateNow(u16 *year, u16 *month, u16 *day)
{
    const platform::sLocalTime now = platform::getLocalTimeNow();
    *year = static_cast<u16>(now.year);
    *month = static_cast<u16>(now.month);
    *day = static_cast<u16>(now.day);
}

void Date::setNow()
{
    u16 year, month, day;
    getDateNow(&year, &month, &day);
    setYMD(year, month, day);
}

void Date::setYMD(u16 year, u16 month, u16 day)
{
    ts = (u32{year} << 16) | ((u32{month} & 0xFF) << 8) | (u32{day} & 0xFF);
}

bool Date::setFromYYYYMMDD(const char *text)
{
    if (text == nullptr || strnlen(text, 8) < 8)
        return false;
    setYMD(static_cast<u16>(utils::decimalValue(text, 4)), static_cast<u16>(utils::decimalValue(text + 4, 2)),
           static_cast<u16>(utils::decimalValue(text + 6, 2)));
    return true;
}

u32 Date::formatAs_YYYYMMDD(char *out, u32 sizeOfOut, char sep) const
{
    if (sep == 0)
        return utils::formatWhole(out, sizeOfOut, "%04d%02d%02d", getYear(), getMonth(), getDay());
    return utils::formatWhole(out, sizeOfOut, "%04d%c%02d%c%02d", getYear(), sep, getMonth(), sep, getDay());
}

bool Date::addYMD(u32 years, u32 months, u32 days)
{
    platform::sLocalTime sum;
    sum.year = i64{getYear()} + years;
    sum.month = i64{getMonth()} + months;
    sum.day = i64{getDay()} + days;
    sum.hour = 12; // no change of daylight saving moves noon into another day
    if (!platform::normaliseLocalTime(sum) || !std::in_range<u16>(sum.year))
        return false;
    setYMD(static_cast<u16>(sum.year), static_cast<u16>(sum.month), static_cast<u16>(sum.day));
    return true;
}

eDayOfWeek Date::getDayOfWeek() const
{
    using namespace std::chrono;
    const year sameWeekdays{2000 + getYear() % 400}; // the Gregorian calendar repeats after 400 years, whole weeks
    const year_month_day monthStart = sameWeekdays / January / 1 + months{getMonth() - 1};
    const sys_days day = sys_days{monthStart} + days{getDay() - 1};
    return static_cast<eDayOfWeek>(weekday{day}.c_encoding());
}

} // namespace tovi
