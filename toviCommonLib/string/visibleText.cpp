#include "toviCommonLib/string/visibleText.h"

#include "toviCommonLib/string/utf8.h"

#include <algorithm>
#include <utility>

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

std::string visible(std::string text)
{
    makeVisible(text, 0);
    return text;
}

// Nearly every line is plain, and there are many.
void makeVisible(std::string &text, size_t from)
{
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~'; };
    if (std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), isPlain))
        return;
    std::string out(text, 0, from);
    out.reserve(text.size());
    const u8 *bytes = reinterpret_cast<const u8 *>(text.c_str());
    for (size_t at = from; at < text.size();)
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
    text = std::move(out);
}

} // namespace tovi::string
