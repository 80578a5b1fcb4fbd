#include "LTProto/LTProto/Value.h"

#include "toviCommonLib/toviByteOrder.h"

#include <iterator>

namespace LTProtocol
{

namespace
{

constexpr size_t TYPE_LEN = 1;
constexpr size_t NUMBER_LEN = 4;
constexpr size_t DECIMALS_LEN = 1;

bool IsId(eDataType dataType)
{
    return dataType == eDataType::FILE_ID || dataType == eDataType::VARIABLE_ID || dataType == eDataType::TICKET_ID;
}

bool HasMagnitude(eDataType dataType)
{
    return IsInteger(dataType) || IsDecimal(dataType) || IsId(dataType);
}

bool IsSendable(eDataType dataType)
{
    return HasMagnitude(dataType) || IsBytes(dataType) || dataType == eDataType::NULL_DATA;
}

} // namespace

bool IsInteger(eDataType dataType)
{
    return dataType == eDataType::INTEGER_POSITIVE || dataType == eDataType::INTEGER_NEGATIVE;
}

bool IsDecimal(eDataType dataType)
{
    return dataType == eDataType::DECIMAL_POSITIVE || dataType == eDataType::DECIMAL_NEGATIVE;
}

bool IsBytes(eDataType dataType)
{
    return dataType == eDataType::STRING_UTF || dataType == eDataType::DATA_BUFFER;
}

void AppendMsbLsb(std::vector<u8> &out, u32 number)
{
    u8 bytes[NUMBER_LEN];
    tovi::utils::writeMsbLsbU32(bytes, number);
    out.insert(out.end(), std::begin(bytes), std::end(bytes));
}

std::vector<u8> ValueEncode(const Value &value)
{
    if (!IsSendable(value.dataType))
        return {};

    std::vector<u8> encoded{static_cast<u8>(value.dataType)};
    if (HasMagnitude(value.dataType))
        AppendMsbLsb(encoded, value.magnitude);
    if (IsDecimal(value.dataType))
        encoded.push_back(value.decimals);
    if (IsBytes(value.dataType))
        encoded.insert(encoded.end(), value.bytes.begin(), value.bytes.end());
    return encoded;
}

std::optional<Value> ValueDecode(std::span<const u8> encoded)
{
    if (encoded.empty())
        return std::nullopt;

    Value value;
    value.dataType = eDataType{encoded.front()};
    const std::span<const u8> rest = encoded.subspan(TYPE_LEN);
    if (IsBytes(value.dataType))
    {
        value.bytes.assign(rest.begin(), rest.end());
        return value;
    }

    const size_t numberLen = HasMagnitude(value.dataType) ? NUMBER_LEN : 0;
    const size_t decimalsLen = IsDecimal(value.dataType) ? DECIMALS_LEN : 0;
    if (!IsSendable(value.dataType) || rest.size() != numberLen + decimalsLen)
        return std::nullopt;
    if (numberLen != 0)
        value.magnitude = tovi::utils::readMsbLsbU32(rest.data());
    if (decimalsLen != 0)
        value.decimals = rest.back();
    return value;
}

} // namespace LTProtocol
