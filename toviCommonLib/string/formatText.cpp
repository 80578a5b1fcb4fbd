#include "toviCommonLib/string/formatText.h"

#include <algorithm>
#include <string_view>

namespace tovi::string
{
namespace
{

constexpr std::string_view FLAGS = "-+ #0'I";
constexpr std::string_view DIGITS = "0123456789";
constexpr std::string_view LENGTH_MODIFIERS[] = {"hh", "h", "ll", "l", "q", "L", "j", "z", "Z", "t"};
constexpr std::string_view CONVERSIONS = "diouxXeEfFgGaAcsCSpnm";

std::size_t spanOf(std::string_view set, std::string_view text)
{
    return std::min(text.find_first_not_of(set), text.size());
}

// A width or a precision: "*" or digits, which may be missing.
std::size_t numberLength(std::string_view text)
{
    return text.starts_with('*') ? 1 : spanOf(DIGITS, text);
}

std::size_t modifierLength(std::string_view text)
{
    for (std::string_view modifier : LENGTH_MODIFIERS)
    {
        if (text.starts_with(modifier))
            return modifier.size();
    }
    return 0;
}

// Length of the conversion whose "%" stands before `text`, that "%" excluded; 0 when it is no whole conversion.
std::size_t conversionLength(std::string_view text)
{
    std::size_t pos = spanOf(FLAGS, text);
    pos += numberLength(text.substr(pos));
    if (text.substr(pos).starts_with('.'))
        pos += 1 + numberLength(text.substr(pos + 1));
    pos += modifierLength(text.substr(pos));
    return pos < text.size() && CONVERSIONS.find(text[pos]) != std::string_view::npos ? pos + 1 : 0;
}

} // namespace

std::string expandWithoutArguments(const std::string &format)
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
        const std::size_t conversionLen = conversionLength(rest);
        if (conversionLen == 0)
            text += '%';
        const bool doubled = rest.starts_with('%');
        rest.remove_prefix(doubled ? 1 : conversionLen);
    }
    return text;
}

} // namespace tovi::string
