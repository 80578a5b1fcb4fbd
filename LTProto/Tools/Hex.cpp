#include "LTProto/Tools/Hex.h"

#include <array>
#include <cstring>

namespace Tools
{
namespace
{

constexpr char TABLE_SEPARATOR = ' ';
constexpr u32 UNROLLED = 8;

struct sDigits
{
    char text[4]; // one store on most processors; what stands behind the separator is written over by the next byte
};

constexpr std::array<sDigits, 256> DIGITS_OF_BYTE = []
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<sDigits, 256> table{};
    for (u32 byte = 0; byte < table.size(); byte++)
        table[byte] = {{DIGITS[byte >> 4], DIGITS[byte & 0x0F], TABLE_SEPARATOR, TABLE_SEPARATOR}};
    return table;
}();

// Writes `WRITTEN` characters for each byte, `STRIDE` apart.
template <u32 STRIDE, u32 WRITTEN>
char *writeDigits(char *out, const u8 *bytes, u32 len)
{
    for (; len >= UNROLLED; len -= UNROLLED, bytes += UNROLLED, out += UNROLLED * STRIDE)
    {
        for (u32 i = 0; i < UNROLLED; i++)
            std::memcpy(out + i * STRIDE, DIGITS_OF_BYTE[bytes[i]].text, WRITTEN);
    }
    for (u32 i = 0; i < len; i++, out += STRIDE)
        std::memcpy(out, DIGITS_OF_BYTE[bytes[i]].text, WRITTEN);
    return out;
}

} // namespace

std::string ToHex(const u8 *bytes, u32 len, char separator)
{
    std::string text(HexLen(len, separator), '0');
    HexWrite(text.data(), bytes, len, separator);
    return text;
}

char *HexWrite(char *out, const u8 *bytes, u32 len, char separator)
{
    if (separator == 0 || len == 0)
        return writeDigits<2, 2>(out, bytes, len);
    char *last = writeDigits<3, 4>(out, bytes, len - 1);
    for (char *place = out + 2; separator != TABLE_SEPARATOR && place < last; place += 3)
        *place = separator;
    return writeDigits<2, 2>(last, bytes + len - 1, 1);
}

} // namespace Tools
