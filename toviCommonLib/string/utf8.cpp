#include "toviCommonLib/string/utf8.h"

#include <algorithm>
#include <cstring>

namespace tovi::string::utf8
{
namespace
{

// The well-formed characters by their first byte. The range of the second byte is what excludes overlong forms,
// surrogates and code points above U+10FFFF; the third and the fourth are always 80..BF.
struct sLead
{
    u8 first;
    u8 last;
    u32 length;
    u8 secondMin;
    u8 secondMax;
};

constexpr sLead LEADS[] = {
    {0x01, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

bool isBetween(u8 byte, u8 low, u8 high)
{
    return byte >= low && byte <= high;
}

// The terminator is outside every range of a following byte, so nothing behind it is read.
bool isComplete(const u8 *s, const sLead &lead)
{
    if (lead.length >= 2 && !isBetween(s[1], lead.secondMin, lead.secondMax))
        return false;
    for (u32 i = 2; i < lead.length; i++)
    {
        if (!isBetween(s[i], 0x80, 0xBF))
            return false;
    }
    return true;
}

} // namespace

u32 charLength(const u8 *s)
{
    for (const sLead &lead : LEADS)
    {
        if (isBetween(s[0], lead.first, lead.last))
            return isComplete(s, lead) ? lead.length : 0;
    }
    return 0;
}

u32 lengthInByte(const u8 *s)
{
    return s == nullptr ? 0 : static_cast<u32>(std::strlen(reinterpret_cast<const char *>(s)));
}

u32 makeStr(u8 *dst, u32 dstSize, const char *src)
{
    if (dstSize == 0)
        return 0;

    u32 written = 0;
    const u8 *from = reinterpret_cast<const u8 *>(src);
    while (from != nullptr && *from != 0)
    {
        const u8 latin1[] = {static_cast<u8>(0xC0 | (*from >> 6)), static_cast<u8>(0x80 | (*from & 0x3F))};
        const u32 validLen = charLength(from);
        const u32 outLen = validLen != 0 ? validLen : 2;
        if (outLen >= dstSize - written)
            break;
        std::copy_n(validLen != 0 ? from : latin1, outLen, dst + written);
        written += outLen;
        from += validLen != 0 ? validLen : 1;
    }
    dst[written] = 0;
    return written;
}

} // namespace tovi::string::utf8
