#include "toviCommonLib/OS/linux/linuxOSClock.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace platform
{

namespace
{

constexpr i64 TM_FIRST_YEAR = 1900;

sLocalTime fromTm(const std::tm &tm, i64 ms)
{
    return {i64{tm.tm_year} + TM_FIRST_YEAR, i64{tm.tm_mon} + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, ms};
}

std::optional<std::tm> toTm(const sLocalTime &time)
{
    const i64 fields[] = {time.year - TM_FIRST_YEAR, time.month - 1, time.day, time.hour, time.minute, time.sec};
    if (!std::ranges::all_of(fields, [](i64 field) { return std::in_range<int>(field); }))
        return std::nullopt;
    std::tm tm{};
    tm.tm_year = static_cast<int>(fields[0]);
    tm.tm_mon = static_cast<int>(fields[1]);
    tm.tm_mday = static_cast<int>(fields[2]);
    tm.tm_hour = static_cast<int>(fields[3]);
    tm.tm_min = static_cast<int>(fields[4]);
    tm.tm_sec = static_cast<int>(fields[5]);
    tm.tm_isdst = -1; // the system finds out
    return tm;
}

} // namespace

sLocalTime getLocalTimeNow()
{
    timespec now{};
    std::tm local{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || localtime_r(&now.tv_sec, &local) == nullptr)
        return {};
    return fromTm(local, now.tv_nsec / 1000000);
}

std::optional<i64> normaliseLocalTime(sLocalTime &time)
{
    std::optional<std::tm> local = toTm(time);
    if (!local)
        return std::nullopt;
    local->tm_wday = -1; // success sets it; the result -1 alone is also the last second of 1969
    const std::time_t seconds = std::mktime(&*local);
    if (local->tm_wday < 0)
        return std::nullopt;
    time = fromTm(*local, time.ms);
    return i64{seconds};
}

} // namespace platform
