#include "LumoClient/FaultyChannel.h"

#include "LTProto/LTProto/FileToSend.h"
#include "LumoClient/FileBlocks.h"

#include <algorithm>
#include <array>

namespace LumoClient
{

using namespace LTProtocol;
using LumoFaults::eVerb;
using LumoFaults::Fault;

namespace
{

const LumoFaults::PacketShape &packetShape()
{
    static const LumoFaults::PacketShape SHAPE{
        1, sizeof(u16), encodePacket(eCommandType::CMD, std::array{static_cast<u8>(eCommandCode::ACK)})};
    return SHAPE;
}

bool carriesBlock(std::span<const u8> packet)
{
    const std::span<const u8> payload = packet.subspan(PACKET_HEADER_LEN, packet.size() - PACKET_OVERHEAD);
    return eCommandType{packet[PACKET_HEADER_LEN - 1]} == eCommandType::DATABLOCK &&
           blockNumber(payload) != BLOCK_NR_NEGOTIATION;
}

Bytes withBlockNumber(std::span<const u8> packet, u32 number)
{
    Bytes payload(packet.begin() + PACKET_HEADER_LEN, packet.end() - PACKET_CRC_LEN);
    NumberToBufferMsbLsb(payload.data(), number, BLOCK_NR_LEN);
    return encodePacket(eCommandType::DATABLOCK, payload);
}

} // namespace

FaultyChannel::FaultyChannel(std::unique_ptr<ByteChannel> channel, Misbehaviour &misbehaviour)
    : m_channel(std::move(channel)), m_misbehaviour(misbehaviour), m_journal(misbehaviour.journal)
{
    m_journal.opened(isPolled());
}

FaultyChannel::~FaultyChannel()
{
    if (m_hasVanished)
        m_misbehaviour.vanished.push_back(std::move(m_channel));
    else
        close();
}

void FaultyChannel::close()
{
    m_journal.closed("closed");
    if (!m_hasVanished)
        m_channel->close();
}

bool FaultyChannel::lose(const char *how)
{
    m_journal.closed(how);
    return false;
}

std::optional<size_t> FaultyChannel::read(std::span<u8> into, u32 timeoutMSec)
{
    const u64 endMSec = nowMSec() + timeoutMSec;
    while (!m_hasVanished && putLate())
    {
        const u64 untilMSec = m_late.empty() ? endMSec : std::min(endMSec, m_late.front().atMSec);
        const u64 startMSec = nowMSec();
        const std::optional<size_t> count =
            m_channel->read(into, static_cast<u32>(untilMSec - std::min(untilMSec, startMSec)));
        if (count)
            m_journal.received(into.first(*count));
        else
            m_journal.closed("lost");
        if (!count || *count != 0 || nowMSec() >= endMSec)
            return count;
    }
    if (!m_hasVanished)
        return std::nullopt;
    pause(timeoutMSec);
    return 0;
}

bool FaultyChannel::write(std::span<const u8> packet)
{
    if (m_hasVanished)
        return true;
    return putLate() && writeHit(packet, m_misbehaviour.plan.next(carriesBlock(packet)));
}

bool FaultyChannel::writeHit(std::span<const u8> packet, const Fault &fault)
{
    switch (fault.verb)
    {
    case eVerb::vanish:
        m_journal.sent(packet, fault.verb);
        m_journal.closed("vanished");
        m_hasVanished = true;
        return true;
    case eVerb::reset:
        m_journal.sent(packet, fault.verb);
        m_journal.closed("reset");
        m_channel->reset();
        return false;
    case eVerb::late:
        m_late.push_back({nowMSec() + fault.number, Bytes(packet.begin(), packet.end())});
        std::ranges::stable_sort(m_late, {}, &Late::atMSec);
        return true;
    case eVerb::stall: pause(fault.number); return put(packet, fault);
    case eVerb::half:
        if (!put(packet, fault))
            return false;
        pause(fault.number);
        return true;
    case eVerb::block: return put(withBlockNumber(packet, fault.number), fault);
    default: return put(packet, fault);
    }
}

bool FaultyChannel::put(std::span<const u8> packet, const Fault &fault)
{
    const LumoFaults::Distorted out = m_misbehaviour.plan.distort(fault, packet, packetShape());
    for (u32 i = 0; i < out.times; ++i)
    {
        m_journal.sent(packet, fault.verb);
        for (size_t done = 0; done < out.bytes.size(); done += out.pieceLen)
            if (!m_channel->write(std::span(out.bytes).subspan(done, std::min(out.pieceLen, out.bytes.size() - done))))
                return lose("lost");
    }
    return true;
}

// Writes what is due. False when the link is lost.
bool FaultyChannel::putLate()
{
    while (!m_late.empty() && m_late.front().atMSec <= nowMSec())
    {
        const Bytes packet = std::move(m_late.front().packet);
        m_late.pop_front();
        if (!put(packet, {eVerb::late, 0}))
            return false;
    }
    return true;
}

} // namespace LumoClient
