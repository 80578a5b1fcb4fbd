// Tickets and the send queue of the engine: what goes out next, and when.
#include "LTProto/LTProto/LTProto.h"

#include "LTProto/ComDevice/ComDevUart.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <utility>

namespace LTProtocol
{
namespace
{

constexpr u32 TICKET_LEN = 4;
constexpr u32 WAIT_MSEC = 250;
constexpr u32 WAIT_NO_CLIENT_MSEC = 1000; // of a serial main station
constexpr u32 REOPEN_MSEC = 1000;
constexpr u32 CLIENT_SILENT_MSEC = 3000;
constexpr u32 DROP_TELL_MSEC = 1000;

} // namespace

// ---- Tickets.

// The next number to hand out; the two reserved numbers are passed over.
TicketNr LTProto::TicketNextNr()
{
    if (m_ticketNext >= TICKET_SPONTANEOUS)
        m_ticketNext = 0;
    return m_ticketNext;
}

TicketNr LTProto::TicketEnqueue(eTicketType ticketType, eDataType dataType, u32 value, TicketNr ticketId)
{
    const bool nextNumber = ticketId == TICKET_NONE;
    Ticket ticket;
    if (ticketType == eTicketType::NONE ||
        !ticket.Set(dataType, value, ticketType, nextNumber ? TicketNextNr() : ticketId) || !TicketMakeRoom())
        return TICKET_NONE;
    const TicketNr number = ticket.m_ticketId;
    m_ticketList.Add(std::move(ticket));
    if (nextNumber)
        ++m_ticketNext;
    return number;
}

// When as many are open as may be, the oldest that no file transfer uses is dropped; its answer, if it ever comes, goes out
// as a spontaneous value. At most QUEUE_FILES_MAX and the reception are passed over.
bool LTProto::TicketMakeRoom()
{
    if (m_ticketList.Size() < TICKETS_MAX)
        return true;
    for (const auto &[age, ticket] : m_ticketList)
    {
        if (TransferUses(ticket.m_ticketId))
            continue;
        TicketGiveWay(ticket.m_ticketId);
        return true;
    }
    return false;
}

bool LTProto::TransferUses(TicketNr ticketId) const
{
    return (m_fileReceive && m_fileReceive->m_ticketId == ticketId) ||
           std::ranges::any_of(m_sendQueueFile, [=](const FileToSend &file) { return file.m_ticketId == ticketId; });
}

void LTProto::TicketGiveWay(TicketNr ticketId)
{
    Trace("Ticket %u gives way: %u are open", ticketId, TICKETS_MAX);
    // A request of the bridge's own would be repeated for ever: its answer finds no ticket.
    m_sendQueuePacket.RemoveRequest(ticketId);
    TicketRemove(ticketId);
}

TicketNr LTProto::TicketSearch(eTicketType ticketType, eDataType dataType, u32 value) const
{
    const Ticket *ticket = m_ticketList.FindRequest(ticketType, dataType, value);
    return ticket != nullptr ? ticket->m_ticketId : TICKET_NONE;
}

bool LTProto::TicketRemove(TicketNr ticketId)
{
    return m_ticketList.Remove(ticketId);
}

bool LTProto::TicketSend(TicketNr ticketId)
{
    u8 payload[TICKET_LEN + 1 + TICKET_LEN];
    tovi::utils::writeMsbLsbU32(payload, TICKET_NONE);
    payload[TICKET_LEN] = static_cast<u8>(eDataType::TICKET_ID);
    tovi::utils::writeMsbLsbU32(payload + TICKET_LEN + 1, ticketId);
    if (!ProtocolSend(eCommandType::DATA, payload, sizeof payload))
        return false;
    // The notice of a ticket is never sent again.
    m_resending.settle();
    return true;
}

bool LTProto::NullSend(TicketNr ticketId)
{
    u8 payload[TICKET_LEN + 1];
    tovi::utils::writeMsbLsbU32(payload, ticketId);
    payload[TICKET_LEN] = static_cast<u8>(eDataType::NULL_DATA);
    return ProtocolSend(eCommandType::DATA, payload, sizeof payload);
}

bool LTProto::DataSend(TicketNr ticketId, const Tools::MemoryBuffer &data)
{
    u8 ticket[TICKET_LEN];
    tovi::utils::writeMsbLsbU32(ticket, ticketId);
    const bool sent = PacketSend(eCommandType::DATA, ticket, sizeof ticket, data.m_ptr.get(), data.m_len);
    TicketRemove(ticketId);
    return sent;
}

// ---- Queue.

bool LTProto::SendQueuePacket(const PacketToSend &packet)
{
    return QueuePush(PacketToSend(packet)) && IsSocket() && CheckPacketToSend(true, false);
}

// As SendQueuePacket, but true as soon as the packet is queued.
bool LTProto::Enqueue(PacketToSend &&packet)
{
    if (!QueuePush(std::move(packet)))
        return false;
    if (IsSocket())
        CheckPacketToSend(true, false);
    return true;
}

bool LTProto::QueuePush(PacketToSend &&packet)
{
    if (packet.PayloadLen() > PACKET_PAYLOAD_MAX)
    {
        Trace("Packet refused: payload of %u bytes", packet.PayloadLen());
        return false;
    }
    if (!QueueMakeRoom(packet.m_sendBuffer.m_len))
        return false;
    const TicketNr ticketId = packet.m_ticketId;
    m_sendQueuePacket.Push(std::move(packet));
    Trace("Push packet TicketId %u (%x)", ticketId, ticketId);
    return true;
}

bool LTProto::QueueMakeRoom(u32 len)
{
    const SendQueue::sRoom room = m_sendQueuePacket.MakeRoom(len);
    if (room.dropped != 0)
        DropTell(room.dropped);
    if (!room.found)
        Trace("Packet refused: send queue full");
    return room.found;
}

// Each second at most: a flood would fill the log with it, and be slowed down by that.
void LTProto::DropTell(u32 dropped)
{
    m_valuesDropped += dropped;
    if (m_clock() < m_dropTellAtMSec)
        return;
    if (m_valuesDropped == 1)
        Trace("Send queue full: oldest spontaneous value dropped");
    else
        Trace("Send queue full: oldest spontaneous value dropped, %u times", m_valuesDropped);
    m_valuesDropped = 0;
    m_dropTellAtMSec = m_clock() + DROP_TELL_MSEC;
}

bool LTProto::CheckPacketToSend(bool checkRetry, bool allowFile)
{
    // A grant that no block followed in time is not waited for.
    if (ReceiveFileIsRunning() || (checkRetry && m_resending.mayBeResent() && !GrantIsLast()))
        return false;
    // Files go before packets until each is done.
    if (!m_sendQueueFile.empty())
        return allowFile && FileBlockSend(0);
    return QueuedSend();
}

// Sends the head of the queue. A request stays there, to be sent again at each ready signal until it is answered; DATA
// leaves once it was sent.
bool LTProto::QueuedSend()
{
    if (m_sendQueuePacket.IsEmpty())
        return false;
    const PacketToSend &head = m_sendQueuePacket.Head();
    switch (head.m_command)
    {
    case eCommandType::REQUEST: return RequestSend(head.m_sendBuffer);
    case eCommandType::DATA:
        // After a failed send the queue is empty.
        if (!DataSend(head.m_ticketId, head.m_sendBuffer))
            return false;
        m_sendQueuePacket.RemoveHead();
        return true;
    default: return false;
    }
}

// ---- Idle time.

u32 LTProto::WaitingTimeout() const
{
    return m_comType == eComType::UART_MAIN && !m_isConnected ? WAIT_NO_CLIENT_MSEC : WAIT_MSEC;
}

// Silence counts from now, or from when the last byte sent has left.
void LTProto::IdleRestart()
{
    m_idleFromMSec = m_clock() + m_comDevice->SendingMSec();
}

u32 LTProto::IdleIn() const
{
    const u64 dueMSec = m_idleFromMSec + (IsSerial() && !DeviceHasPeer() ? REOPEN_MSEC : WaitingTimeout());
    const u64 nowMSec = m_clock();
    return dueMSec > nowMSec ? static_cast<u32>(dueMSec - nowMSec) : 0;
}

bool LTProto::ClientIsSilent() const
{
    return m_isConnected && m_pollUnanswered && m_clock() >= m_silentFromMSec + CLIENT_SILENT_MSEC;
}

bool LTProto::DeviceReopen()
{
    if (!m_comDevice->Set(nullptr, tovi::ComDevUart::SPEED_DEFAULT))
        return false;
    if (!m_comDevice->WaitableGroupRelink())
    {
        m_comDevice->Close();
        return false;
    }
    Trace("Serial line is open again");
    return true;
}

eReceiveResult LTProto::OnEventTimeout()
{
    const u64 activeMSec = m_idleFromMSec;
    IdleRestart();
    if (!IsSerial())
        return eReceiveResult::Unknown;
    const eReceiveResult result =
        m_comType == eComType::UART_MAIN ? eReceiveResult::ClientDisconnect : eReceiveResult::Unknown;
    if (!DeviceHasPeer() && !DeviceReopen())
        return result;
    // A poll would take the place of the packet that still leaves, and a NACK would bring the wrong one.
    if (m_comDevice->SendingMSec() > 0)
        return eReceiveResult::Unknown;
    // A packet that stopped half way is given up.
    if (m_rcvPos > 0)
        ReceiveBufferReset();
    if (m_comType != eComType::UART_MAIN || m_receivePaused)
        return result;
    if (!std::exchange(m_pollUnanswered, true))
        m_silentFromMSec = activeMSec;
    CommandSend(eCommandCode::POLLING, 0);
    return result;
}

} // namespace LTProtocol
