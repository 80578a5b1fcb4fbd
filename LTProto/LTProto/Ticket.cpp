#include "LTProto/LTProto/Ticket.h"

namespace LTProtocol
{
namespace
{

constexpr u32 FILE_ID_END = 0x10000;

bool mayBeAskedFor(eDataType dataType, u32 value)
{
    switch (dataType)
    {
    case eDataType::INTEGER_POSITIVE:
    case eDataType::INTEGER_NEGATIVE:
    case eDataType::VARIABLE_ID:
    case eDataType::TICKET_ID:
    case eDataType::DATA_BUFFER: return true;
    case eDataType::FILE_ID: return value < FILE_ID_END;
    default: return false;
    }
}

} // namespace

bool Ticket::Set(eDataType dataType, u32 value, eTicketType ticketType, TicketNr id)
{
    if (!mayBeAskedFor(dataType, value))
        return false;
    m_ticketType = ticketType;
    m_ticketId = id;
    m_dataType = dataType;
    m_dataValue = value;
    m_dataBuffer.Clear();
    return true;
}

bool Ticket::Set(eDataType dataType, const Tools::MemoryBuffer &buffer, eTicketType ticketType, TicketNr id)
{
    if (dataType != eDataType::STRING_UTF)
        return false;
    m_ticketType = ticketType;
    m_ticketId = id;
    m_dataType = dataType;
    m_dataValue = 0;
    m_dataBuffer.Set(buffer);
    return true;
}

bool Ticket::TicketSet(eTicketType ticketType, TicketNr id)
{
    if (ticketType == eTicketType::NONE || id == TICKET_NONE || id == TICKET_SPONTANEOUS)
        return false;
    m_ticketType = ticketType;
    m_ticketId = id;
    return true;
}

bool Ticket::IsTicketRequest(eTicketType ticketType, const PacketToSend &packet) const
{
    return m_ticketType == ticketType && packet.IsDataValue(m_dataType, m_dataValue, m_dataBuffer);
}

} // namespace LTProtocol
