#include "LumoClient/PacketCodec.h"

#include "LTProto/ComDevice/Crc16.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>

namespace LumoClient
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU16;
using tovi::utils::writeMsbLsbU16;

namespace
{

constexpr size_t LENGTH_OFFSET = 1;
constexpr size_t TYPE_OFFSET = 3;

} // namespace

Bytes encodePacket(eCommandType type, std::span<const u8> payload)
{
    if (payload.size() > PACKET_PAYLOAD_MAX)
        return {};

    Bytes packet(payload.size() + PACKET_OVERHEAD);
    const u32 crcOffset = static_cast<u32>(packet.size()) - PACKET_CRC_LEN; // the length counts all that it covers
    packet[0] = PACKET_START_MARK;
    writeMsbLsbU16(&packet[LENGTH_OFFSET], static_cast<u16>(crcOffset));
    packet[TYPE_OFFSET] = static_cast<u8>(type);
    std::ranges::copy(payload, packet.begin() + PACKET_HEADER_LEN);
    writeMsbLsbU16(&packet[crcOffset], tovi::Crc16(packet.data(), crcOffset));
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
        const u32 crcOffset = readMsbLsbU16(&held()[LENGTH_OFFSET]);
        const bool isLength = crcOffset >= PACKET_HEADER_LEN && crcOffset + PACKET_CRC_LEN <= PACKET_LEN_MAX;
        if (isLength && held().size() < crcOffset + PACKET_CRC_LEN)
            return std::nullopt;
        if (!isLength || tovi::Crc16(held().data(), crcOffset) != readMsbLsbU16(&held()[crcOffset]))
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

bool PacketDecoder::skipPartial()
{
    if (!holdsPartial())
        return false;
    ++m_begin;
    ++m_damagedCount;
    return true;
}

} // namespace LumoClient
