// Blocks of a file on the client link, from bytes and to bytes: the payload of DATABLOCK packets. Pure functions.
//
// Payload, numbers most significant byte first: block number (3) | data
//   0              negotiation: block length asked for (2) | FILE_ID, file id (2), or TICKET_ID, ticket (4)
//                  its answer:  block length asked for (2) | block length granted (2)
//   1, 2, 3 ...    data, as much as was granted
//   0xFFFFFF       the last data: what is left, which may be nothing
#pragma once

#include "LTProto/LTProto/FileToSend.h"
#include "LumoClient/PacketCodec.h"

namespace LumoClient
{

// The bridge's negotiation of a file that it wants to send.
struct FileOffer
{
    u16 blockLen = 0;                                              // asked for
    LTProtocol::eDataType kind = LTProtocol::eDataType::UNDEFINED; // TICKET_ID, or FILE_ID for a file nobody asked for
    u32 id = 0;                                                    // of that kind
};

Bytes encodeNegotiation(u16 blockLen, u16 fileId);
Bytes encodeNegotiationAnswer(u16 asked, u16 granted);
Bytes encodeBlock(u32 blockNr, std::span<const u8> data);

// Nothing for any other block.
std::optional<FileOffer> parseOffer(std::span<const u8> block);
std::optional<u16> parseGranted(std::span<const u8> block);

// Nothing for a payload that is too short.
std::optional<u32> blockNumber(std::span<const u8> block);

} // namespace LumoClient
