#include "LTProto/Tools/PrintfText.h"

#include <cstddef>
#include <cstdio>

namespace Tools
{
namespace
{

constexpr std::size_t USUAL_LEN_MAX = 512; // longer texts are formatted a second time, at their length

} // namespace

std::string PrintfToString(const char *format, ...)
{
    std::string text;
    va_list args;
    va_start(args, format);
    PrintfAppend(text, format, args);
    va_end(args);
    return text;
}

void PrintfAppend(std::string &text, const char *format, va_list args)
{
    va_list again;
    va_copy(again, args);
    char usual[USUAL_LEN_MAX + 1];
    const int formatted = std::vsnprintf(usual, sizeof usual, format, args);
    const std::size_t len = formatted > 0 ? static_cast<std::size_t>(formatted) : 0;
    if (len <= USUAL_LEN_MAX)
        text.append(usual, len);
    else
    {
        const std::size_t before = text.size();
        text.resize(before + len);
        std::vsnprintf(text.data() + before, len + 1, format, again); // the terminator falls on the string's own
    }
    va_end(again);
}

} // namespace Tools
