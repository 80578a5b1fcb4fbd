// A local date in one word, cheap to copy and to compare. A plain value: each belongs to its user.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi
{

enum class eDayOfWeek : u8
{
    sunday = 0,
    monday = 1,
    tuesday = 2,
    wednesday = 3,
    thursday = 4,
    friday = 5,
    saturday = 6
};

struct Date
{
    // 16..31 year, in full | 8..15 month, 1 to 12 | 0..7 day, 1 to 31. As a number it grows with the date.
    u32 ts = 0;

    static void getDateNow(u16 *year, u16 *month, u16 *day);
    void setNow();

    // Month and day keep their low 8 bits. No check against the calendar.
    void setYMD(u16 year, u16 month, u16 day);
    u16 getYear() const { return static_cast<u16>(ts >> 16); }
    u16 getMonth() const { return static_cast<u16>((ts >> 8) & 0xFF); }
    u16 getDay() const { return static_cast<u16>(ts & 0xFF); }

    // From the first 8 characters of the text; each of the three numbers ends at its first character that is no digit
    // and is 0 when it has none. False, with the date unchanged, when the text is null or shorter.
    bool setFromYYYYMMDD(const char *text);

    // "2024-02-29", or "20240229" when `sep` is 0. Returns the length; 0, with an empty text, when the text with its
    // NUL takes more than `sizeOfOut` bytes.
    u32 formatAs_YYYYMMDD(char *out, u32 sizeOfOut, char sep) const;

    // 31 January and one month is 2 or 3 March. False, with the date unchanged, when the year exceeds 65535.
    bool addYMD(u32 years, u32 months, u32 days);

    // On the Gregorian calendar. Months and days beyond their range count on into the next month or year.
    eDayOfWeek getDayOfWeek() const;
};

} // namespace tovi
