#include "LTProto/Tools/Hex.h"

#include <array>
#include <cstring>

namespace Tools
{
namespace
{

struct sDigits
{
    char text[2];
};

constexpr std::array<sDigits, 256> DIGITS_OF_BYTE = []
{
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<sDigits, 256> table{};
    for (u32 byte = 0; byte < table.size(); byte++)
        table[byte] = {{DIGITS[byte >> 4], DIGITS[byte & 0x0F]}};
    return table;
}();

} // namespace

std::string ToHex(const u8 *bytes, u32 len, char separator)
{
    if (len == 0)
        return {};

    const std::size_t stride = separator == 0 ? 2 : 3;
    std::string hex(len * stride - (stride - 2), separator);
    char *out = hex.data();
    for (u32 i = 0; i < len; i++, out += stride)
        std::memcpy(out, DIGITS_OF_BYTE[bytes[i]].text, 2);
    return hex;
}

} // namespace Tools
