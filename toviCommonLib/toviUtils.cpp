#include "toviCommonLib/toviUtils.h"

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

} // namespace tovi::utils
