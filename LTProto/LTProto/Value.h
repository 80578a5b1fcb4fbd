// A typed value and its bytes, which are the same on the client link and on the machine's.
// Plain data and pure functions, safe from any thread.
#pragma once

#include "LTProto/LTProto/WireFormat.h"

#include <optional>
#include <span>
#include <vector>

namespace LTProtocol
{

struct Value
{
    eDataType dataType = eDataType::UNDEFINED;
    u32 magnitude = 0;     // of a number or an id; the sign of a number is its type
    u8 decimals = 0;       // of the decimal types: 1234 with 2 decimals is 12.34
    std::vector<u8> bytes; // of STRING_UTF (UTF-8, no terminator) and DATA_BUFFER

    bool operator==(const Value &) const = default;
};

// What follows the type byte: nothing for NULL_DATA, the bytes for STRING_UTF and DATA_BUFFER, the magnitude in 4 bytes
// (most significant first) for numbers and ids, and then the decimals in 1 byte for the decimal types.
// The type byte and its value. Empty for a type that is never sent.
std::vector<u8> ValueEncode(const Value &value);

// `encoded` is the type byte and exactly its value; nothing for any other length or an unknown type.
std::optional<Value> ValueDecode(std::span<const u8> encoded);

bool IsInteger(eDataType dataType);
bool IsDecimal(eDataType dataType);
bool IsBytes(eDataType dataType);

// Appends the number in 4 bytes, most significant byte first.
void AppendMsbLsb(std::vector<u8> &out, u32 number);

} // namespace LTProtocol
