#include "toviCommonLib/toviUtils.h"

#include <cstdarg>
#include <cstdio>
#include <numeric>

namespace tovi::utils
{

namespace
{

// Modulo 2^32, so its low bytes are the sums modulo 256 and 65536.
u32 byteSum(const void *data, u32 size)
{
    const u8 *bytes = static_cast<const u8 *>(data);
    return std::accumulate(bytes, bytes + size, u32{0});
}

} // namespace

u8 simpleChecksum8_calc(const void *data, u32 size)
{
    return static_cast<u8>(byteSum(data, size));
}

u16 simpleChecksum16_calc(const void *data, u32 size)
{
    return static_cast<u16>(byteSum(data, size));
}

u32 decimalValue(const char *text, u32 len)
{
    u32 value = 0;
    for (u32 i = 0; i < len && text[i] >= '0' && text[i] <= '9'; ++i)
        value = value * 10 + static_cast<u32>(text[i] - '0');
    return value;
}

u32 formatWhole(char *out, u32 sizeOfOut, const char *format, ...)
{
    std::va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(out, sizeOfOut, format, args);
    va_end(args);
    if (length >= 0 && static_cast<u32>(length) < sizeOfOut)
        return static_cast<u32>(length);
    if (sizeOfOut > 0)
        out[0] = 0;
    return 0;
}

} // namespace tovi::utils
