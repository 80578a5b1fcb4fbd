#include "LTProto/Tools/PrintfText.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace Tools
{
namespace
{

constexpr std::size_t USUAL_LEN_MAX = 512; // longer texts are formatted a second time, at their length

constexpr std::string_view FLAGS = "-+ #0'I";
constexpr std::string_view DIGITS = "0123456789";
constexpr std::string_view LENGTH_MODIFIERS[] = {"hh", "h", "ll", "l", "q", "L", "j", "z", "Z", "t"};
constexpr std::string_view CONVERSIONS = "diouxXeEfFgGaAcsCSpnm";

std::size_t SpanOf(std::string_view set, std::string_view text)
{
    return std::min(text.find_first_not_of(set), text.size());
}

// A width or a precision: "*" or digits, which may be missing.
std::size_t NumberLength(std::string_view text)
{
    return text.starts_with('*') ? 1 : SpanOf(DIGITS, text);
}

std::size_t ModifierLength(std::string_view text)
{
    for (std::string_view modifier : LENGTH_MODIFIERS)
    {
        if (text.starts_with(modifier))
            return modifier.size();
    }
    return 0;
}

// Length of the conversion whose "%" stands before `text`, that "%" excluded; 0 when it is no whole conversion.
std::size_t ConversionLength(std::string_view text)
{
    std::size_t pos = SpanOf(FLAGS, text);
    pos += NumberLength(text.substr(pos));
    if (text.substr(pos).starts_with('.'))
        pos += 1 + NumberLength(text.substr(pos + 1));
    pos += ModifierLength(text.substr(pos));
    return pos < text.size() && CONVERSIONS.find(text[pos]) != std::string_view::npos ? pos + 1 : 0;
}

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

std::string ExpandWithoutArguments(const std::string &format)
{
    std::string text;
    text.reserve(format.size());
    for (std::string_view rest = format; !rest.empty();)
    {
        const std::size_t plainLen = std::min(rest.find('%'), rest.size());
        text += rest.substr(0, plainLen);
        rest.remove_prefix(plainLen);
        if (rest.empty())
            break;

        rest.remove_prefix(1);
        const std::size_t conversionLen = ConversionLength(rest);
        if (conversionLen == 0)
            text += '%';
        const bool doubled = rest.starts_with('%');
        rest.remove_prefix(doubled ? 1 : conversionLen);
    }
    return text;
}

} // namespace Tools
