#include "toviCommonLib/toviTime24.h"

#include "toviCommonLib/OS/linux/linuxOSClock.h"
#include "toviCommonLib/toviUtils.h"

#include <cstring>

namespace tovi
{

namespace
{

constexpr u32 UNUSED_BITS = 0xF8000000;

constexpr u64 inMSec(u32 h, u32 m, u32 s, u32 ms)
{
    return u64{h} * 3600000 + u64{m} * 60000 + u64{s} * 1000 + ms;
}

} // namespace

void Time24::getTimeNow(u8 *hour, u8 *min, u8 *sec)
{
    const platform::sLocalTime now = platform::getLocalTimeNow();
    *hour = static_cast<u8>(now.hour);
    *min = static_cast<u8>(now.minute);
    *sec = static_cast<u8>(now.sec);
}

void Time24::setNow()
{
    const platform::sLocalTime now = platform::getLocalTimeNow();
    setHMS(static_cast<u32>(now.hour), static_cast<u32>(now.minute), static_cast<u32>(now.sec),
           static_cast<u32>(now.ms));
}

void Time24::setHMS(u32 hour, u32 minute, u32 sec, u32 ms)
{
    ts = (ts & UNUSED_BITS) | ((hour & 0x1F) << 22) | ((minute & 0x3F) << 16) | ((sec & 0x3F) << 10) | (ms & 0x3FF);
}

u32 Time24::getTimeOfDayMSec() const
{
    return static_cast<u32>(inMSec(getHour(), getMinute(), getSec(), getMSec()));
}

void Time24::setFromMSec(u64 msec)
{
    setHMS(static_cast<u32>(msec / 3600000), static_cast<u32>(msec / 60000 % 60), static_cast<u32>(msec / 1000 % 60),
           static_cast<u32>(msec % 1000));
}

bool Time24::setFromHHMMSS(const char *text)
{
    if (text == nullptr || strnlen(text, 6) < 6)
        return false;
    setHMS(utils::decimalValue(text, 2), utils::decimalValue(text + 2, 2), utils::decimalValue(text + 4, 2), getMSec());
    return true;
}

u32 Time24::formatAs_HHMMSS(char *out, u32 sizeOfOut, char sep) const
{
    if (sep == 0)
        return utils::formatWhole(out, sizeOfOut, "%02d%02d%02d", getHour(), getMinute(), getSec());
    return utils::formatWhole(out, sizeOfOut, "%02d%c%02d%c%02d", getHour(), sep, getMinute(), sep, getSec());
}

u32 Time24::formatAs_HHMMSSmsec(char *out, u32 sizeOfOut, char sep) const
{
    if (sep == 0)
        return utils::formatWhole(out, sizeOfOut, "%02d%02d%02d%03d", getHour(), getMinute(), getSec(), getMSec());
    return utils::formatWhole(out, sizeOfOut, "%02d%c%02d%c%02d%c%03d", getHour(), sep, getMinute(), sep, getSec(), sep,
                              getMSec());
}

void Time24::add(u32 h, u32 m, u32 s, u32 ms)
{
    setFromMSec(getTimeOfDayMSec() + inMSec(h, m, s, ms));
}

void Time24::sub(u32 h, u32 m, u32 s, u32 ms)
{
    const u64 amount = inMSec(h, m, s, ms);
    const u64 time = getTimeOfDayMSec();
    setFromMSec((amount >= time) ? 0 : time - amount);
}

} // namespace tovi
