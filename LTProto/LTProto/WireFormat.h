// The client link as it stands on the wire: marks, codes and sizes. Shared by the engine and by every peer of it.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace LTProtocol
{

// Packet, numbers most significant byte first; no escaping, no byte stuffing:
//   0 start mark 0x60 | 1..2 L = 4 + payload | 3 eCommandType | 4..L-1 payload | L..L+1 CRC-16 of bytes 0..L-1
constexpr u8 PACKET_START_MARK = 0x60;
constexpr u32 PACKET_HEADER_LEN = 1 + 2 + 1; // start mark, L, command type
constexpr u32 PACKET_CRC_LEN = 2;
constexpr u32 PACKET_OVERHEAD = PACKET_HEADER_LEN + PACKET_CRC_LEN;
constexpr u32 PACKET_LEN_MAX = 0xFFFF;                               // a device takes lengths of 16 bits
constexpr u32 PACKET_PAYLOAD_MAX = PACKET_LEN_MAX - PACKET_OVERHEAD; // 65529

// One byte on the wire: never renumber. UNDEFINED is never sent.
enum class eCommandType : u8
{
    CMD = 42,        // link command: POLLING, ACK or NACK
    REQUEST = 51,    // asks for a variable, a file or a ticket
    DATA = 102,      // a ticket and a typed value
    DATABLOCK = 170, // one block of a file transfer, or its negotiation
    UNDEFINED = 255
};

// First payload byte of a CMD packet. NACK is followed by an error code of 2 bytes.
enum class eCommandCode : u8
{
    POLLING = 0,
    ACK = 1,
    NACK = 2
};

// Error codes of a NACK.
constexpr u16 NACK_CRC = 2;            // a packet's length or CRC was wrong
constexpr u16 NACK_FILE_ERROR = 3;     // the file cannot be opened or written
constexpr u16 NACK_BLOCK_REJECTED = 4; // no reception is running, or a block is out of order
constexpr u16 NACK_NOTHING_ASKED = 6;  // an answer whose request is not queued

// Kinds of values and of items. One byte on the wire: never renumber. UNDEFINED and INTERNAL_COMMAND are never sent.
enum class eDataType : u8
{
    UNDEFINED = 0,
    INTEGER_POSITIVE = 1, // magnitude, 4 bytes
    INTEGER_NEGATIVE = 2, // magnitude, 4 bytes; the sign is the type
    DECIMAL_POSITIVE = 3, // magnitude, 4 bytes, then the number of decimals, 1 byte
    DECIMAL_NEGATIVE = 4,
    FILE_ID = 5,     // 2 bytes in a REQUEST, 4 in DATA
    VARIABLE_ID = 6, // 4 bytes
    STRING_UTF = 7,  // UTF-8 bytes to the end of the packet, no terminator
    DATA_BUFFER = 16,
    NULL_DATA = 17,  // nothing follows
    TICKET_ID = 128, // 4 bytes
    INTERNAL_COMMAND = 255
};

// Number that pairs a request with its answer.
using TicketNr = u32;
constexpr TicketNr TICKET_NONE = 0xFFFFFFFF; // no ticket; in DATA the notice of a ticket, or an answer to the bridge
constexpr TicketNr TICKET_SPONTANEOUS = 0xFFFFFFFE; // a value that answers no request

// Variable id that marks a raw buffer whose answer needs a ticket.
constexpr u32 TICKETED_BUFFER_ID = 0xF0000000;

// Link kind and role of a station.
enum class eComType : u8
{
    UNDEFINED = 0,
    SOCKET_MAIN = 1,       // listens for its client
    SOCKET_SUBSCRIBER = 2, // connects to a main station
    UART_MAIN = 3,         // polls
    UART_SUBSCRIBER = 4    // answers
};

// Writes `value` into exactly `len` bytes, most significant first; bytes above the fourth from the end are 0.
void NumberToBufferMsbLsb(u8 *dst, u32 value, u32 len);

} // namespace LTProtocol
