// LTProtocol::Ticket: one open request of the client link, under the number that pairs it with its answer.
#pragma once

#include "LTProto/LTProto/PacketToSend.h"

namespace LTProtocol
{

enum class eTicketType : u8
{
    NONE = 0,
    FROM_API = 1,     // the bridge asked the client
    FROM_PROTOCOL = 2 // the client asked the bridge, which told it the number
};

class Ticket
{
  public:
    eTicketType m_ticketType = eTicketType::NONE;
    TicketNr m_ticketId = TICKET_NONE;
    eDataType m_dataType = eDataType::UNDEFINED; // what was asked for
    u32 m_dataValue = 0;                         // which one: variable id, file id (16 bits), ticket number
    Tools::MemoryBuffer m_dataBuffer;            // of STRING_UTF alone

    // Each returns false and changes nothing for a type (or a file id) that no ticket can be opened for.
    bool Set(eDataType dataType, u32 value, eTicketType ticketType, TicketNr id);
    bool Set(eDataType dataType, const Tools::MemoryBuffer &buffer, eTicketType ticketType, TicketNr id);

    // Changes type and number; refuses NONE and the reserved numbers.
    bool TicketSet(eTicketType ticketType, TicketNr id);

    // Whether the ticket has that type and `packet` asks for the same thing.
    bool IsTicketRequest(eTicketType ticketType, const PacketToSend &packet) const;
};

} // namespace LTProtocol
