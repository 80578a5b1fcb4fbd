#include "LumoClient/PacketCodec.h"

#include "LTProto/ComDevice/Crc16.h"

#include <algorithm>

namespace LumoClient
{

using namespace LTProtocol;

namespace
{

constexpr size_t LENGTH_OFFSET = 1;
constexpr size_t TYPE_OFFSET = 3;

u16 numberMsbLsb(std::span<const u8> bytes, size_t offset)
{
    return static_cast<u16>(bytes[offset] << 8 | bytes[offset + 1]);
}

void appendMsbLsb(Bytes &out, u32 number)
{
    out.push_back(static_cast<u8>(number >> 8));
    out.push_back(static_cast<u8>(number));
}

} // namespace

Bytes encodePacket(eCommandType type, std::span<const u8> payload)
{
    if (payload.size() > PACKET_PAYLOAD_MAX)
        return {};

    Bytes packet;
    packet.reserve(payload.size() + PACKET_OVERHEAD);
    packet.push_back(PACKET_START_MARK);
    appendMsbLsb(packet, PACKET_HEADER_LEN + static_cast<u32>(payload.size()));
    packet.push_back(static_cast<u8>(type));
    packet.insert(packet.end(), payload.begin(), payload.end());
    appendMsbLsb(packet, tovi::Crc16(packet.data(), static_cast<u32>(packet.size())));
    return packet;
}

void PacketDecoder::feed(std::span<const u8> bytes)
{
    m_bytes.erase(m_bytes.begin(), m_bytes.end() - static_cast<std::ptrdiff_t>(held().size()));
    m_begin = 0;
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

void PacketDecoder::skipToStartMark()
{
    const auto mark = std::ranges::find(held(), PACKET_START_MARK);
    m_begin += static_cast<size_t>(mark - held().begin());
}

std::optional<Packet> PacketDecoder::next()
{
    for (skipToStartMark(); held().size() >= PACKET_HEADER_LEN; skipToStartMark())
    {
        const u32 crcOffset = numberMsbLsb(held(), LENGTH_OFFSET); // the length counts all that the checksum covers
        const bool isLength = crcOffset >= PACKET_HEADER_LEN && crcOffset + PACKET_CRC_LEN <= PACKET_LEN_MAX;
        if (isLength && held().size() < crcOffset + PACKET_CRC_LEN)
            return std::nullopt;
        if (!isLength || tovi::Crc16(held().data(), crcOffset) != numberMsbLsb(held(), crcOffset))
        {
            ++m_damagedCount;
            ++m_begin;
            continue;
        }
        const std::span<const u8> payload = held().first(crcOffset).subspan(PACKET_HEADER_LEN);
        Packet packet{eCommandType{held()[TYPE_OFFSET]}, Bytes(payload.begin(), payload.end())};
        m_begin += crcOffset + PACKET_CRC_LEN;
        return packet;
    }
    return std::nullopt;
}

void PacketDecoder::skipPartial()
{
    if (!held().empty())
        ++m_begin;
}

} // namespace LumoClient
