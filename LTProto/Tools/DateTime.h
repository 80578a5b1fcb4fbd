// Tools::DateTime: a point in time on the real-time clock, or a duration, with nanoseconds.
// Used by one thread at a time. Results beyond what the system's seconds can hold stay at its first or last second.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <ctime>
#include <string>

namespace Tools
{

// Text forms end in `ndec` decimals of the seconds, cut, not rounded: 0 for none and no separator, above 9 for nine.
// A `decimalSeparator` of 0 puts nothing before them.
class DateTime
{
  public:
    // Seconds since the Unix epoch, or of a duration, and 0 to 999 999 999 ns that count forwards from them: half a
    // second before zero is (-1 s, 500 000 000 ns).
    timespec m_time{};

    explicit DateTime(bool now); // the clock, or zero when `now` is false or the clock cannot be read
    explicit DateTime(float seconds) : DateTime(double{seconds}) {}
    explicit DateTime(double seconds); // a duration; nanoseconds are cut; not a number is zero
    explicit DateTime(long seconds);
    explicit DateTime(const timespec &time) : m_time(time) {}

    DateTime Now(); // reads the clock into this object too; zero when it cannot be read

    bool operator==(const DateTime &o) const;
    bool operator<(const DateTime &o) const;
    bool operator>(const DateTime &o) const { return o < *this; }
    DateTime operator+(const DateTime &o) const;
    DateTime operator-(const DateTime &o) const; // negative seconds when `o` is later

    float ToFloat() const;           // seconds
    bool InRangePerSec(float) const; // always false: nothing is in range of a rate

    std::string TimeString(u8 ndec, bool utc) const;                   // 10:04:07.123, local time unless `utc`
    std::string TimeInSeconds(u8 ndec, u8 digits) const;               // since midnight UTC; `digits` has no effect
    std::string DateString() const;                                    // 15/01/2024, local time
    std::string ToString(u8 ndec, char decimalSeparator) const;        // 15/01/2024 10:30:00, local time
    std::string ToStringCompact(u8 ndec, char decimalSeparator) const; // 20240115T103000, local time
    // A duration: whole seconds, zeros put before them up to `digits` characters.
    std::string RelativeString(u8 ndec, u8 digits, char decimalSeparator) const;

    // Reads the compact form, or its 8 digits of the date alone for midnight, as local standard time. Right behind the
    // seconds stand up to nine decimals without a separator; what is no number there counts as 0.
    // False when the text is neither or the moment cannot be told (-1 from mktime): unchanged.
    bool FromString(const std::string &str);
};

// True when `now` is later than `start` + `span`, or earlier than `start`: a clock that was set back never makes a
// time-out wait longer.
bool TimeoutExpired(const DateTime &start, const DateTime &span, const DateTime &now);

} // namespace Tools
