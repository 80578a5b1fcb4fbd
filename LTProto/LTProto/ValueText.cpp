#include "LTProto/LTProto/ValueText.h"

#include "LTProto/LTProto/VariableNames.h"
#include "LTProto/Tools/Hex.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace LTProtocol
{

namespace
{

// The types that the two signs of a number choose; both the same where there is no sign.
struct TypeChoice
{
    eDataType positive;
    eDataType negative;
};

constexpr std::pair<std::string_view, TypeChoice> SHORT_NAMES[] = {
    {"int", {eDataType::INTEGER_POSITIVE, eDataType::INTEGER_NEGATIVE}},
    {"dec", {eDataType::DECIMAL_POSITIVE, eDataType::DECIMAL_NEGATIVE}},
    {"text", {eDataType::STRING_UTF, eDataType::STRING_UTF}},
    {"bytes", {eDataType::DATA_BUFFER, eDataType::DATA_BUFFER}},
    {"null", {eDataType::NULL_DATA, eDataType::NULL_DATA}},
};

std::optional<TypeChoice> ChoiceOf(std::string_view typeName)
{
    for (const auto &[shortName, choice] : SHORT_NAMES)
    {
        if (typeName == shortName)
            return choice;
        for (eDataType exact : {choice.positive, choice.negative})
            if (typeName == DataTypeName(exact))
                return TypeChoice{exact, exact};
    }
    return std::nullopt;
}

bool IsNegative(eDataType dataType)
{
    return dataType == eDataType::INTEGER_NEGATIVE || dataType == eDataType::DECIMAL_NEGATIVE;
}

// Digits with at most one point among them.
std::optional<Value> ParseMagnitude(std::string_view text, bool pointAllowed)
{
    const size_t point = text.find('.');
    std::string digits(text.substr(0, point));
    Value value;
    if (point != std::string_view::npos)
    {
        const std::string_view fraction = text.substr(point + 1);
        if (!pointAllowed || fraction.size() > std::numeric_limits<u8>::max())
            return std::nullopt;
        value.decimals = static_cast<u8>(fraction.size());
        digits += fraction;
    }
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value.magnitude);
    if (error != std::errc{} || stop != end)
        return std::nullopt;
    return value;
}

std::optional<Value> ParseNumber(TypeChoice choice, std::string_view text)
{
    const bool minus = text.starts_with('-');
    if (minus || text.starts_with('+'))
        text.remove_prefix(1);
    std::optional<Value> value = ParseMagnitude(text, IsDecimal(choice.positive));
    if (!value)
        return std::nullopt;

    const bool belowZero = minus && value->magnitude != 0;
    value->dataType = belowZero ? choice.negative : choice.positive;
    if (belowZero && !IsNegative(value->dataType))
        return std::nullopt;
    return value;
}

std::optional<Value> ParseBytes(std::string_view text)
{
    std::optional<std::vector<u8>> bytes = HexParse(text);
    if (!bytes)
        return std::nullopt;
    Value value;
    value.dataType = eDataType::DATA_BUFFER;
    value.bytes = std::move(*bytes);
    return value;
}

std::string NumberText(const Value &value)
{
    std::string text = std::to_string(value.magnitude);
    if (IsDecimal(value.dataType) && value.decimals > 0)
    {
        const size_t decimals = value.decimals;
        if (text.size() <= decimals)
            text.insert(0, decimals + 1 - text.size(), '0');
        text.insert(text.size() - decimals, 1, '.');
    }
    return IsNegative(value.dataType) ? "-" + text : text;
}

// Bytes of a UTF-8 character by its lead byte; 0 for a byte that begins none.
size_t Utf8LenByLead(u8 lead)
{
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Length of the well-formed UTF-8 character at the front of `text`; 0 when there is none.
size_t Utf8CharLen(std::span<const u8> text)
{
    const u8 lead = text.front();
    const size_t len = Utf8LenByLead(lead);
    if (len < 2 || len > text.size())
        return len == 1 ? 1 : 0;
    const auto isContinuation = [](u8 byte) { return (byte & 0xC0) == 0x80; };
    const bool overlong = (lead == 0xE0 && text[1] < 0xA0) || (lead == 0xF0 && text[1] < 0x90);
    const bool outside = (lead == 0xED && text[1] >= 0xA0) || (lead == 0xF4 && text[1] >= 0x90);
    if (overlong || outside || !std::ranges::all_of(text.subspan(1, len - 1), isContinuation))
        return 0;
    return len;
}

// Both control ranges: below the blank with DEL, and U+0080 to U+009F, which terminals obey too.
bool IsControl(std::span<const u8> character)
{
    return character[0] < 0x20 || character[0] == 0x7F || (character[0] == 0xC2 && character[1] < 0xA0);
}

std::string EscapedByte(u8 byte)
{
    switch (byte)
    {
    case '\n': return "\\n";
    case '\r': return "\\r";
    case '\t': return "\\t";
    default: return "\\x" + Tools::ToHex(&byte, 1, 0);
    }
}

std::string EscapedText(std::span<const u8> text)
{
    std::string escaped;
    while (!text.empty())
    {
        const size_t len = Utf8CharLen(text);
        const std::span<const u8> character = text.first(std::max<size_t>(len, 1));
        if (character[0] == '\\')
            escaped += "\\\\";
        else if (len == 0 || IsControl(character))
            for (u8 byte : character)
                escaped += EscapedByte(byte);
        else
            escaped.append(character.begin(), character.end());
        text = text.subspan(character.size());
    }
    return escaped;
}

} // namespace

std::optional<Value> ValueParse(std::string_view typeName, std::string_view text)
{
    const std::optional<TypeChoice> choice = ChoiceOf(typeName);
    if (!choice)
        return std::nullopt;

    Value value;
    value.dataType = choice->positive;
    switch (value.dataType)
    {
    case eDataType::STRING_UTF: value.bytes.assign(text.begin(), text.end()); return value;
    case eDataType::DATA_BUFFER: return ParseBytes(text);
    case eDataType::NULL_DATA: return text.empty() ? std::optional(value) : std::nullopt;
    default: return ParseNumber(*choice, text);
    }
}

std::string ValueText(const Value &value)
{
    switch (value.dataType)
    {
    case eDataType::STRING_UTF: return EscapedText(value.bytes);
    case eDataType::DATA_BUFFER: return HexText(value.bytes);
    case eDataType::NULL_DATA: return "null";
    default: return NumberText(value);
    }
}

std::string HexText(std::span<const u8> bytes)
{
    return Tools::ToHex(bytes.data(), static_cast<u32>(bytes.size()), ' ');
}

std::optional<std::vector<u8>> HexParse(std::string_view text)
{
    std::vector<u8> bytes;
    while (!text.empty())
    {
        if (text.front() == ' ')
        {
            text.remove_prefix(1);
            continue;
        }
        const std::string_view pair = text.substr(0, 2);
        const char *const end = pair.data() + pair.size();
        u8 byte = 0;
        const auto [stop, error] = std::from_chars(pair.data(), end, byte, 16);
        if (error != std::errc{} || stop != end || pair.size() != 2)
            return std::nullopt;
        bytes.push_back(byte);
        text.remove_prefix(pair.size());
    }
    return bytes;
}

} // namespace LTProtocol
