// Bytes as hexadecimal text. Stateless: any thread may call it.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <cstddef>
#include <string>

namespace Tools
{

// Two lower-case digits for each byte; a `separator` other than 0 stands between bytes, never at the ends.
std::string ToHex(const u8 *bytes, u32 len, char separator);

// The length of that text.
constexpr std::size_t HexLen(u32 len, char separator)
{
    const std::size_t digits = std::size_t{len} * 2;
    return separator == 0 || len == 0 ? digits : digits + len - 1;
}

// Writes that text, without a terminator, to `out`, which has room for it. Returns its end.
char *HexWrite(char *out, const u8 *bytes, u32 len, char separator);

} // namespace Tools
