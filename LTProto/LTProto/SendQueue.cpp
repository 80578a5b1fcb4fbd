#include "LTProto/LTProto/SendQueue.h"

#include <algorithm>

namespace LTProtocol
{

SendQueue::sRoom SendQueue::MakeRoom(u32 len)
{
    u32 dropped = 0;
    for (; !HasRoomFor(len); ++dropped)
    {
        if (!DropSpontaneous())
            return {false, dropped};
    }
    return {true, dropped};
}

void SendQueue::Push(PacketToSend &&packet)
{
    m_bytes += packet.m_sendBuffer.m_len;
    m_packets.push_back(std::move(packet));
}

bool SendQueue::DropSpontaneous()
{
    const auto oldest = std::ranges::find(m_packets, TICKET_SPONTANEOUS, &PacketToSend::m_ticketId);
    if (oldest == m_packets.end())
        return false;
    Remove(oldest);
    return true;
}

const PacketToSend *SendQueue::FirstRequest() const
{
    const auto request = std::ranges::find(m_packets, eCommandType::REQUEST, &PacketToSend::m_command);
    return request != m_packets.end() ? &*request : nullptr;
}

void SendQueue::RemoveRequest(TicketNr ticketId)
{
    const auto request =
        std::ranges::find_if(m_packets, [=](const PacketToSend &packet)
                             { return packet.m_command == eCommandType::REQUEST && packet.m_ticketId == ticketId; });
    if (request != m_packets.end())
        Remove(request);
}

void SendQueue::Remove(Packets::iterator packet)
{
    m_bytes -= packet->m_sendBuffer.m_len;
    m_packets.erase(packet);
}

void SendQueue::Clear()
{
    m_packets.clear();
    m_bytes = 0;
}

} // namespace LTProtocol
