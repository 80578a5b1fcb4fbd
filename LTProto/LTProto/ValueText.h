// Values as people type and read them. Pure functions, safe from any thread.
#pragma once

#include "LTProto/LTProto/Value.h"

#include <string>
#include <string_view>

namespace LTProtocol
{

// The value that `text` means under a type name; nothing when either cannot be understood or the number exceeds 32 bits.
//   int            -5          negative numbers choose the NEGATIVE type
//   dec            12.34       every digit after the point counts: 12.340 has 3 decimals
//   text           any         taken as it stands
//   bytes          01 02ff     hexadecimal, as HexParse reads it
//   null           (empty)
// An enumerator's name ("DECIMAL_NEGATIVE") asks for that very type; its number may carry the sign that the type has.
std::optional<Value> ValueParse(std::string_view typeName, std::string_view text);

// One line that is safe on a terminal: 12.34, -5, text with its control characters and broken UTF-8 escaped, bytes in
// hexadecimal, "null".
std::string ValueText(const Value &value);

// "01 02 ff".
std::string HexText(std::span<const u8> bytes);

// Pairs of hexadecimal digits, blanks allowed between the pairs; nothing for any other text.
std::optional<std::vector<u8>> HexParse(std::string_view text);

} // namespace LTProtocol
