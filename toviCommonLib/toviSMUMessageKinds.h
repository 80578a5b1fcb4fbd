// Kinds of messages on the machine link and their payloads. Shared by both ends of it.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi::smu
{

// TCP port of the machine control unit.
constexpr u16 PORT_DEFAULT = 2283;

// Message: 0..1 what | 2..3 userValue | 4.. payload     (numbers most significant byte first)
constexpr u32 MESSAGE_HEADER_LEN = 2 + 2;

// Link layer.
constexpr u16 WHAT_PING = 1;
constexpr u16 WHAT_PONG = 2;
constexpr u16 WHAT_IDENTIFY = 3;      // payload: code (4) | option A (1) | option B (1) | option C (1) | option (4)
constexpr u16 WHAT_IDENTIFY_ANSW = 4; // any message is accepted in its place
constexpr u16 WHAT_DIE = 5;           // the machine tells the client to close

constexpr u32 IDENTIFY_PAYLOAD_LEN = 4 + 1 + 1 + 1 + 4;

// Application. The id of a request, alone of all numbers, is least significant byte first when it comes from the machine.
//   WHAT_COMMAND   bridge to machine: command (4), then for LINK 1 byte: 1 up, 0 down
//   WHAT_VARIABLE  value: id (4) | data type (1) | value (4) and decimals (1), or bytes     machine's request: id (4)
//   WHAT_FILE      announcement: id (4) | name                                              machine's request: id (4)
constexpr u16 WHAT_COMMAND = 0x9000;
constexpr u16 WHAT_VARIABLE = 0x9001;
constexpr u16 WHAT_FILE = 0x9002;
constexpr u16 WHAT_ACK = 0x9010;

// Command: state of the client link.
constexpr u32 COMMAND_LINK = 0x8000;

} // namespace tovi::smu
