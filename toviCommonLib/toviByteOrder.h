// Numbers in byte buffers, by shifts: right on every machine, at any alignment. "MsbLsb" is most significant byte
// first (big-endian), "LsbMsb" least significant byte first (little-endian). Free functions without state: any thread.
// The caller's buffer holds at least the 2 or 4 bytes of the number.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi::utils
{

constexpr u16 readMsbLsbU16(const u8 *in)
{
    return static_cast<u16>((u32{in[0]} << 8) | u32{in[1]});
}

constexpr u32 readMsbLsbU32(const u8 *in)
{
    return (u32{in[0]} << 24) | (u32{in[1]} << 16) | (u32{in[2]} << 8) | u32{in[3]};
}

constexpr u32 readLsbMsbU32(const u8 *in)
{
    return (u32{in[3]} << 24) | (u32{in[2]} << 16) | (u32{in[1]} << 8) | u32{in[0]};
}

constexpr void writeMsbLsbU16(u8 *out, u16 value)
{
    out[0] = static_cast<u8>(value >> 8);
    out[1] = static_cast<u8>(value);
}

constexpr void writeMsbLsbU32(u8 *out, u32 value)
{
    out[0] = static_cast<u8>(value >> 24);
    out[1] = static_cast<u8>(value >> 16);
    out[2] = static_cast<u8>(value >> 8);
    out[3] = static_cast<u8>(value);
}

constexpr void writeLsbMsbU32(u8 *out, u32 value)
{
    out[0] = static_cast<u8>(value);
    out[1] = static_cast<u8>(value >> 8);
    out[2] = static_cast<u8>(value >> 16);
    out[3] = static_cast<u8>(value >> 24);
}

} // namespace tovi::utils
