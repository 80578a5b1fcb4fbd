// A local time of day in one word, to the millisecond. A plain value: each belongs to its user.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi
{

struct Time24
{
    // 27..31 not used, every setter keeps them | 22..26 hour | 16..21 minute | 10..15 second | 0..9 millisecond
    u32 ts = 0;

    static void getTimeNow(u8 *hour, u8 *min, u8 *sec);
    void setNow();

    // Each number keeps the low bits that its field holds: 5, 6, 6 and 10. No check against the clock.
    void setHMS(u32 hour, u32 minute, u32 sec, u32 ms);
    u8 getHour() const { return static_cast<u8>((ts >> 22) & 0x1F); }
    u8 getMinute() const { return static_cast<u8>((ts >> 16) & 0x3F); }
    u8 getSec() const { return static_cast<u8>((ts >> 10) & 0x3F); }
    u16 getMSec() const { return static_cast<u16>(ts & 0x3FF); }

    u32 getTimeOfDayMSec() const; // since 00:00:00.000

    // Hours are not wrapped at 24; the field holds their low 5 bits.
    void setFromMSec(u64 msec);

    // From the first 6 characters of the text; each of the three numbers ends at its first character that is no digit
    // and is 0 when it has none. Milliseconds stay. False, with the time unchanged, when the text is null or shorter.
    bool setFromHHMMSS(const char *text);

    // "23:59:58" and "23:59:58:999", or "235958" and "235958999" when `sep` is 0. Each returns the length; 0, with an
    // empty text, when the text with its NUL takes more than `sizeOfOut` bytes.
    u32 formatAs_HHMMSS(char *out, u32 sizeOfOut, char sep) const;
    u32 formatAs_HHMMSSmsec(char *out, u32 sizeOfOut, char sep) const;

    // As setFromMSec: 23:00 and 2 h is the hour 25.
    void add(u32 h, u32 m, u32 s, u32 ms);

    // Stops at 00:00:00.000, it does not wrap into the day before.
    void sub(u32 h, u32 m, u32 s, u32 ms);
};

} // namespace tovi
