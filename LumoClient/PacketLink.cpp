#include "LumoClient/PacketLink.h"

#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace LumoClient
{

using namespace LTProtocol;

namespace
{

constexpr size_t READ_LEN = 4096;

bool isCommand(const Packet &packet, eCommandCode code)
{
    return packet.type == eCommandType::CMD && !packet.payload.empty() && packet.payload[0] == static_cast<u8>(code);
}

bool isChecksumNack(const Packet &packet)
{
    return isCommand(packet, eCommandCode::NACK) && packet.payload.size() == 3 && packet.payload[1] == 0 &&
           packet.payload[2] == NACK_CRC;
}

// An ACK, a NACK or a ticket notice. Everything else may have been on its way before the bridge read our packet.
bool isReply(const Packet &packet)
{
    if (packet.type == eCommandType::CMD)
        return !isCommand(packet, eCommandCode::POLLING);
    return packet.type == eCommandType::DATA && packet.payload.size() > sizeof(TicketNr) &&
           tovi::utils::readMsbLsbU32(packet.payload.data()) == TICKET_NONE;
}

} // namespace

bool PacketLink::send(eCommandType type, std::span<const u8> payload)
{
    pauseUntilRead();
    m_lastSent = encodePacket(type, payload);
    m_wantsReply = type != eCommandType::CMD;
    m_resendCount = 0;
    return transmit();
}

bool PacketLink::sendCommand(eCommandCode code)
{
    return send(eCommandType::CMD, std::array{static_cast<u8>(code)});
}

bool PacketLink::sendNack(u16 errorCode)
{
    return send(eCommandType::CMD, std::array{static_cast<u8>(eCommandCode::NACK), static_cast<u8>(errorCode >> 8),
                                              static_cast<u8>(errorCode)});
}

std::optional<Packet> PacketLink::receive(u64 untilMSec)
{
    while (true)
    {
        while (!m_inbox.empty())
        {
            Packet packet = std::move(m_inbox.front());
            m_inbox.pop_front();
            if (!isChecksumNack(packet) || !sendAgain())
                return packet;
        }
        if (!m_isOpen || nowMSec() >= untilMSec)
            return std::nullopt;
        gather(untilMSec);
        if (m_inbox.empty())
            askAgain();
    }
}

// A line may be slower than it should.
u32 PacketLink::lastSentLineMSec() const
{
    const u32 lineMSec = m_channel->lineMSec(m_lastSent.size());
    return lineMSec + lineMSec / 4;
}

// What comes during the pause waits in the inbox.
void PacketLink::pauseUntilRead()
{
    const u64 untilMSec = m_sentAtMSec + lastSentLineMSec() + PAUSE_MSEC;
    while (m_isOpen && !m_isRead && nowMSec() < untilMSec)
        gather(untilMSec);
}

bool PacketLink::transmit()
{
    if (!m_isOpen)
        return false;
    m_isRead = false;
    if (!m_channel->write(m_lastSent))
        close();
    m_sentAtMSec = nowMSec();
    return m_isOpen;
}

bool PacketLink::sendAgain()
{
    if (m_lastSent.empty() || m_resendCount >= RESEND_MAX)
        return false;
    ++m_resendCount;
    return transmit();
}

// Reads once. Complete packets go to the inbox.
void PacketLink::gather(u64 untilMSec)
{
    std::array<u8, READ_LEN> bytes;
    const u64 endMSec = m_decoder.holdsPartial() ? std::min(untilMSec, partialEndMSec()) : untilMSec;
    const u64 leftMSec = endMSec - std::min(endMSec, nowMSec());
    const std::optional<size_t> count =
        m_channel->read(bytes, static_cast<u32>(std::min<u64>(leftMSec, std::numeric_limits<u32>::max())));
    if (!count)
        return close();
    // Nothing of what is held will ever be complete.
    while (nowMSec() >= partialEndMSec() && m_decoder.skipPartial())
        decode();
    if (*count == 0)
        return;
    m_heardAtMSec = nowMSec();
    m_decoder.feed(std::span(bytes).first(*count));
    decode();
}

void PacketLink::decode()
{
    while (std::optional<Packet> packet = m_decoder.next())
        accept(std::move(*packet));
}

u64 PacketLink::partialEndMSec() const
{
    return m_heardAtMSec + (isPolled() ? PARTIAL_POLLED_MSEC : PARTIAL_MSEC);
}

void PacketLink::accept(Packet packet)
{
    if (!m_wantsReply || isReply(packet))
        m_isRead = true;
    m_hasHeard = true;
    m_askedAgain = 0;
    m_damagedSeen = m_decoder.damagedCount(); // a false mark before a good packet: nothing was lost
    m_inbox.push_back(std::move(packet));
}

// A damaged packet came and no good one with it: the bridge sends it once more for a NACK.
void PacketLink::askAgain()
{
    if (m_damagedSeen == m_decoder.damagedCount())
        return;
    m_damagedSeen = m_decoder.damagedCount();
    if (m_asksAgain && m_askedAgain++ < RESEND_MAX)
        sendNack(NACK_CRC);
}

void PacketLink::close()
{
    m_channel->close();
    m_isOpen = false;
}

} // namespace LumoClient
