#include "LTProto/Tools/DateTime.h"

#include "LTProto/Tools/PrintfText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace Tools
{
namespace
{

constexpr i64 NSEC_PER_SEC = 1'000'000'000;
constexpr std::size_t NSEC_DIGITS = 9;
constexpr std::size_t COMPACT_DATE_LEN = 8;       // YYYYMMDD
constexpr std::size_t COMPACT_DATE_TIME_LEN = 15; // YYYYMMDDThhmmss

constexpr std::time_t SECONDS_MIN = std::numeric_limits<std::time_t>::min();
constexpr std::time_t SECONDS_MAX = std::numeric_limits<std::time_t>::max();

std::time_t AddSeconds(std::time_t a, std::time_t b)
{
    std::time_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return b < 0 ? SECONDS_MIN : SECONDS_MAX;
}

std::time_t SubtractSeconds(std::time_t a, std::time_t b)
{
    std::time_t difference = 0;
    if (!__builtin_sub_overflow(a, b, &difference))
        return difference;
    return b < 0 ? SECONDS_MAX : SECONDS_MIN;
}

// Carries or borrows the one second that brings the nanoseconds back into their range.
timespec Normalised(std::time_t seconds, i64 nanoseconds)
{
    if (nanoseconds >= NSEC_PER_SEC)
    {
        seconds = AddSeconds(seconds, 1);
        nanoseconds -= NSEC_PER_SEC;
    }
    else if (nanoseconds < 0)
    {
        seconds = SubtractSeconds(seconds, 1);
        nanoseconds += NSEC_PER_SEC;
    }
    timespec time{};
    time.tv_sec = seconds;
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

// All fields 0 when the calendar cannot hold the year.
std::tm LocalCalendar(std::time_t seconds)
{
    std::tm calendar{};
    return localtime_r(&seconds, &calendar) != nullptr ? calendar : std::tm{};
}

std::tm UtcCalendar(std::time_t seconds)
{
    std::tm calendar{};
    return gmtime_r(&seconds, &calendar) != nullptr ? calendar : std::tm{};
}

long long Year(const std::tm &calendar)
{
    return calendar.tm_year + 1900LL;
}

std::string Fraction(long nanoseconds, u8 ndec, char separator)
{
    if (ndec == 0)
        return {};
    char digits[NSEC_DIGITS];
    for (std::size_t i = NSEC_DIGITS; i > 0; i--, nanoseconds /= 10)
        digits[i - 1] = static_cast<char>('0' + nanoseconds % 10);
    std::string text(separator == 0 ? 0 : 1, separator);
    return text.append(digits, std::min<std::size_t>(ndec, NSEC_DIGITS));
}

void PutTwoDigits(char *out, int number)
{
    out[0] = static_cast<char>('0' + number / 10);
    out[1] = static_cast<char>('0' + number % 10);
}

bool ReadCalendar(const std::string &str, std::tm &calendar)
{
    if (str.size() == COMPACT_DATE_LEN)
        return std::sscanf(str.c_str(), "%4d%2d%2d", &calendar.tm_year, &calendar.tm_mon, &calendar.tm_mday) == 3;
    if (str.size() < COMPACT_DATE_TIME_LEN)
        return false;
    return std::sscanf(str.substr(0, COMPACT_DATE_TIME_LEN).c_str(), "%4d%2d%2dT%2d%2d%2d", &calendar.tm_year,
                       &calendar.tm_mon, &calendar.tm_mday, &calendar.tm_hour, &calendar.tm_min, &calendar.tm_sec) == 6;
}

// The decimals as nanoseconds: fewer than nine characters count as if zeros followed, those behind the ninth are left.
long ReadDecimals(std::string decimals)
{
    decimals.resize(NSEC_DIGITS, '0');
    long nanoseconds = 0;
    std::sscanf(decimals.c_str(), "%9ld", &nanoseconds);
    return std::max(nanoseconds, 0L);
}

} // namespace

DateTime::DateTime(bool now)
{
    if (now)
        Now();
}

DateTime::DateTime(double seconds)
{
    constexpr double BEHIND_MAX = -static_cast<double>(SECONDS_MIN);
    if (std::isnan(seconds))
        return;
    const double whole = std::trunc(seconds);
    if (whole >= BEHIND_MAX)
        m_time.tv_sec = SECONDS_MAX;
    else if (whole < -BEHIND_MAX)
        m_time.tv_sec = SECONDS_MIN;
    else
        m_time = Normalised(static_cast<std::time_t>(whole),
                            static_cast<i64>((seconds - whole) * static_cast<double>(NSEC_PER_SEC)));
}

DateTime::DateTime(long seconds)
{
    m_time.tv_sec = static_cast<std::time_t>(std::clamp<i64>(seconds, SECONDS_MIN, SECONDS_MAX));
}

DateTime DateTime::Now()
{
    if (clock_gettime(CLOCK_REALTIME, &m_time) != 0)
        m_time = {};
    return *this;
}

bool DateTime::operator==(const DateTime &o) const
{
    return m_time.tv_sec == o.m_time.tv_sec && m_time.tv_nsec == o.m_time.tv_nsec;
}

bool DateTime::operator<(const DateTime &o) const
{
    if (m_time.tv_sec != o.m_time.tv_sec)
        return m_time.tv_sec < o.m_time.tv_sec;
    return m_time.tv_nsec < o.m_time.tv_nsec;
}

DateTime DateTime::operator+(const DateTime &o) const
{
    return DateTime(Normalised(AddSeconds(m_time.tv_sec, o.m_time.tv_sec), i64{m_time.tv_nsec} + o.m_time.tv_nsec));
}

DateTime DateTime::operator-(const DateTime &o) const
{
    return DateTime(
        Normalised(SubtractSeconds(m_time.tv_sec, o.m_time.tv_sec), i64{m_time.tv_nsec} - o.m_time.tv_nsec));
}

float DateTime::ToFloat() const
{
    return static_cast<float>(static_cast<double>(m_time.tv_sec) + static_cast<double>(m_time.tv_nsec) / 1e9);
}

bool DateTime::InRangePerSec(float) const
{
    return false;
}

std::string DateTime::TimeString(u8 ndec, bool utc) const
{
    const std::tm calendar = utc ? UtcCalendar(m_time.tv_sec) : LocalCalendar(m_time.tv_sec);
    char text[] = "hh:mm:ss";
    PutTwoDigits(text, calendar.tm_hour);
    PutTwoDigits(text + 3, calendar.tm_min);
    PutTwoDigits(text + 6, calendar.tm_sec);
    return text + Fraction(m_time.tv_nsec, ndec, '.');
}

std::string DateTime::TimeInSeconds(u8 ndec, u8) const
{
    const std::tm calendar = UtcCalendar(m_time.tv_sec);
    return std::to_string((calendar.tm_hour * 60 + calendar.tm_min) * 60 + calendar.tm_sec) +
           Fraction(m_time.tv_nsec, ndec, '.');
}

std::string DateTime::DateString() const
{
    const std::tm calendar = LocalCalendar(m_time.tv_sec);
    return PrintfToString("%02d/%02d/%04lld", calendar.tm_mday, calendar.tm_mon + 1, Year(calendar));
}

std::string DateTime::ToString(u8 ndec, char decimalSeparator) const
{
    return DateString() + ' ' + TimeString(0, false) + Fraction(m_time.tv_nsec, ndec, decimalSeparator);
}

std::string DateTime::ToStringCompact(u8 ndec, char decimalSeparator) const
{
    const std::tm calendar = LocalCalendar(m_time.tv_sec);
    return PrintfToString("%04lld%02d%02dT%02d%02d%02d", Year(calendar), calendar.tm_mon + 1, calendar.tm_mday,
                          calendar.tm_hour, calendar.tm_min, calendar.tm_sec) +
           Fraction(m_time.tv_nsec, ndec, decimalSeparator);
}

std::string DateTime::RelativeString(u8 ndec, u8 digits, char decimalSeparator) const
{
    const std::string seconds = std::to_string(i64{m_time.tv_sec});
    const std::size_t missing = digits - std::min<std::size_t>(digits, seconds.size());
    return std::string(missing, '0') + seconds + Fraction(m_time.tv_nsec, ndec, decimalSeparator);
}

bool DateTime::FromString(const std::string &str)
{
    std::tm calendar{}; // its tm_isdst 0: the text is standard time, in summer too
    if (!ReadCalendar(str, calendar))
        return false;

    calendar.tm_year -= 1900;
    calendar.tm_mon -= 1;
    timespec time{};
    time.tv_sec = mktime(&calendar);
    if (time.tv_sec == -1)
        return false;
    if (str.size() > COMPACT_DATE_TIME_LEN)
        time.tv_nsec = ReadDecimals(str.substr(COMPACT_DATE_TIME_LEN));
    m_time = time;
    return true;
}

bool TimeoutExpired(const DateTime &start, const DateTime &span, const DateTime &now)
{
    return now > start + span || now < start;
}

} // namespace Tools
