#include "toviCommonLib/string/visibleText.h"

#include "toviCommonLib/string/utf8.h"

namespace tovi::string
{
namespace
{

constexpr char DIGITS[] = "0123456789abcdef";

bool isControl(const u8 *character, u32 length)
{
    const bool isC1 = length == 2 && character[0] == 0xC2 && character[1] < 0xA0;
    return character[0] < 0x20 || character[0] == 0x7F || isC1;
}

void appendEscaped(std::string &out, u8 byte)
{
    out += "\\x";
    out += DIGITS[byte >> 4];
    out += DIGITS[byte & 0x0F];
}

} // namespace

std::string visible(const std::string &text)
{
    std::string out;
    out.reserve(text.size());
    const u8 *bytes = reinterpret_cast<const u8 *>(text.c_str());
    for (size_t at = 0; at < text.size();)
    {
        const u32 length = utf8::charLength(bytes + at);
        if (length != 0 && !isControl(bytes + at, length))
        {
            out.append(text, at, length);
            at += length;
            continue;
        }
        appendEscaped(out, bytes[at]);
        ++at;
    }
    return out;
}

} // namespace tovi::string
