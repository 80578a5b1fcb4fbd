// What both peers put on the wire: packets of the client link, frames of the machine link.
#pragma once

#include "LTProto/LTProto/WireFormat.h"

#include <initializer_list>
#include <span>
#include <vector>

namespace LumoBench
{

using Bytes = std::vector<u8>;

// Variables by what the machine does with them.
constexpr u32 VARIABLE_ASKED = 4;             // it answers
constexpr u32 VARIABLE_SET = 100;             // the client sets it
constexpr u32 VARIABLE_SILENT_FIRST = 100000; // from here on it never answers

constexpr u8 ACK_BYTE = static_cast<u8>(LTProtocol::eCommandCode::ACK);
constexpr u8 POLLING_BYTE = static_cast<u8>(LTProtocol::eCommandCode::POLLING);

// Replaces `out` by a whole packet whose payload is `head` followed by `body`.
void makePacket(Bytes &out, LTProtocol::eCommandType type, std::span<const u8> head, std::span<const u8> body = {});

// Replaces `out` by a frame around the message.
void makeFrame(Bytes &out, u16 what, std::span<const u8> payload);

// Appends a number of `len` bytes, most significant first.
void addNumber(Bytes &out, u32 value, u32 len);

// Payloads that carry the number `value`.
Bytes requestOf(u32 variable);                 // REQUEST
Bytes noticeOf(u32 ticket);                    // DATA
Bytes answerUnder(u32 ticket, u32 value);      // DATA
Bytes spontaneousOf(u32 variable, u32 value);  // DATA, either way
Bytes machineValueOf(u32 variable, u32 value); // message VARIABLE, either way

} // namespace LumoBench
