// Packets of the client link from bytes and to bytes; the layout is drawn in LTProto/LTProto/WireFormat.h.
// Reads no device. A decoder is used by one thread at a time.
#pragma once

#include "LTProto/LTProto/WireFormat.h"

#include <optional>
#include <span>
#include <vector>

namespace LumoClient
{

using Bytes = std::vector<u8>;

struct Packet
{
    LTProtocol::eCommandType type = LTProtocol::eCommandType::UNDEFINED;
    Bytes payload;
};

// The whole packet, checksum included. Empty when the payload is longer than LTProtocol::PACKET_PAYLOAD_MAX.
Bytes encodePacket(LTProtocol::eCommandType type, std::span<const u8> payload);

class PacketDecoder
{
  public:
    // Takes any piece of the stream: parts of packets, several packets, garbage between them.
    void feed(std::span<const u8> bytes);

    // The oldest complete packet not yet returned. After damage the search goes on one byte behind the start mark, so a
    // good packet behind a false mark is found.
    std::optional<Packet> next();

    // The line fell silent: the packet begun will never be complete, so its start mark is passed over. Packets found
    // behind it come from the next calls of `next`. False when none was begun.
    bool skipPartial();

    bool holdsPartial() const { return !held().empty(); } // once `next` found nothing

    // Start marks whose length or checksum was wrong, or whose packet was never complete, since construction.
    u32 damagedCount() const { return m_damagedCount; }

  private:
    std::span<const u8> held() const { return std::span(m_bytes).subspan(m_begin); }
    void skipToStartMark();

    Bytes m_bytes;
    size_t m_begin = 0; // bytes before it are done with
    u32 m_damagedCount = 0;
};

} // namespace LumoClient
