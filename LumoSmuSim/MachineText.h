// What both halves of Machine share. Pure functions.
#pragma once

#include "LumoSmuSim/Machine.h"

namespace LumoSmuSim
{

constexpr size_t SHOWN_BYTES_MAX = 32;

Message valueMessage(u32 varId, const Value &value);

// Announces the file of that full name.
Message fileMessage(u32 fileId, std::string_view name);

// Hexadecimal of the first bytes, with the count when there are more.
std::string shownBytes(std::span<const u8> bytes);
std::string shownValue(const Value &value);

} // namespace LumoSmuSim
