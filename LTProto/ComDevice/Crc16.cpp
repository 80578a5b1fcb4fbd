// The checksum by "slicing": one table look-up per byte, but no look-up waits for the one before it.
#include "LTProto/ComDevice/Crc16.h"

#include <array>

namespace tovi
{

namespace
{

constexpr u32 POLYNOMIAL = 0x0589;
constexpr u32 SLICE_LEN = 8; // bytes per step; the tables then fill 4 KiB, an eighth of the board's data cache

using SliceTables = std::array<std::array<u16, 256>, SLICE_LEN>;

constexpr u16 ShiftByteOut(u16 crc)
{
    u32 rest = crc;
    for (int bit = 0; bit < 8; ++bit)
        rest = (rest & 0x8000) != 0 ? (rest << 1) ^ POLYNOMIAL : rest << 1;
    return static_cast<u16>(rest);
}

// tables[z][b] is the checksum of the byte b followed by z zero bytes.
constexpr SliceTables MakeTables()
{
    SliceTables tables{};
    for (u32 b = 0; b < 256; ++b)
    {
        u16 crc = static_cast<u16>(b << 8);
        for (auto &table : tables)
        {
            crc = ShiftByteOut(crc);
            table[b] = crc;
        }
    }
    return tables;
}

constexpr SliceTables TABLES = MakeTables();

u16 AddByte(u16 crc, u8 byte)
{
    return static_cast<u16>((crc << 8) ^ TABLES[0][(crc >> 8) ^ byte]);
}

// The checksum so far meets the first two bytes; the rest of the slice stands alone.
u16 AddSlice(u16 crc, const u8 *bytes)
{
    u32 sum = TABLES[SLICE_LEN - 1][(crc >> 8) ^ bytes[0]] ^ TABLES[SLICE_LEN - 2][(crc & 0xFF) ^ bytes[1]];
    for (u32 i = 2; i < SLICE_LEN; ++i)
        sum ^= TABLES[SLICE_LEN - 1 - i][bytes[i]];
    return static_cast<u16>(sum);
}

} // namespace

u16 Crc16(const u8 *data, u32 len)
{
    u16 crc = 0;
    for (; len >= SLICE_LEN; data += SLICE_LEN, len -= SLICE_LEN)
        crc = AddSlice(crc, data);
    for (; len > 0; ++data, --len)
        crc = AddByte(crc, *data);
    return crc;
}

} // namespace tovi
