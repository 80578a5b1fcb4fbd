// What both halves of Machine share. Pure functions.
#pragma once

#include "LumoSmuSim/Machine.h"
#include "tools/Faults/FaultPlan.h"

namespace LumoSmuSim
{

constexpr size_t SHOWN_BYTES_MAX = 32;

Message valueMessage(u32 varId, const Value &value);

// Announces the file of that full name.
Message fileMessage(u32 fileId, std::string_view name);

// Hexadecimal of the first bytes, with the count when there are more.
std::string shownBytes(std::span<const u8> bytes);
std::string shownValue(const Value &value);

// A message of the kind VARIABLE as an event; a buffer's ticket is no content.
LumoFaults::JournalEvent variableEvent(char way, const char *event, std::span<const u8> payload);

// A message that goes out, or that the fault keeps from it.
void journalSent(const LumoFaults::Journal &journal, const Message &message, LumoFaults::eVerb fault);

} // namespace LumoSmuSim
