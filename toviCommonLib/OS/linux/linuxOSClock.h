// Local calendar time of the operating system, in the time zone of the process.
// Free functions: any thread, as long as none changes the time zone.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <optional>

namespace platform
{

// A moment on the local calendar. Wide and signed, so that sums of its fields need no check.
struct sLocalTime
{
    i64 year = 0;  // in full
    i64 month = 0; // 1 to 12
    i64 day = 0;   // 1 to 31
    i64 hour = 0;
    i64 minute = 0;
    i64 sec = 0;
    i64 ms = 0;
};

// All zero when the clock cannot be read.
sLocalTime getLocalTimeNow();

// Carries what exceeds a field's range, up or down, into the fields above it; the system decides on daylight saving.
// `ms` takes no part. Returns the seconds since 1970 UTC, or nothing, with `time` unchanged, when the system calendar
// does not reach that far.
std::optional<i64> normaliseLocalTime(sLocalTime &time);

} // namespace platform
