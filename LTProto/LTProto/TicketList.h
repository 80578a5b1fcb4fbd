// LTProtocol::TicketList: the open tickets in the order of their age, found by number or by what was asked for at a cost
// that hardly grows with their count. Used by the engine's thread alone.
#pragma once

#include "LTProto/LTProto/Ticket.h"

#include <map>
#include <set>
#include <utility>

namespace LTProtocol
{

// Several tickets may have one number, or ask for one thing: the oldest is found. What is returned stays valid until that
// ticket is removed; null when there is none.
class TicketList
{
  public:
    void Add(Ticket &&ticket);

    const Ticket *FindRequest(eTicketType ticketType, eDataType dataType, u32 value) const;

    // By number and, unless NONE and UNDEFINED, type and data type.
    const Ticket *Find(TicketNr ticketId, eTicketType ticketType = eTicketType::NONE,
                       eDataType dataType = eDataType::UNDEFINED) const;
    bool Remove(TicketNr ticketId, eTicketType ticketType = eTicketType::NONE); // false when there is none

    // The oldest ticket of type `ticketType` that asks for what `packet` does gets another type and number, as
    // Ticket::TicketSet accepts them, and keeps its age. False when there is none.
    bool Renumber(eTicketType ticketType, const PacketToSend &packet, eTicketType newType, TicketNr newId);

    void Clear();
    size_t Size() const { return m_tickets.size(); }

    // Ages and tickets, oldest first.
    auto begin() const { return m_tickets.begin(); }
    auto end() const { return m_tickets.end(); }

  private:
    using Age = u64; // rises from ticket to ticket
    using Tickets = std::map<Age, Ticket>;

    Tickets::const_iterator Search(TicketNr ticketId, eTicketType ticketType, eDataType dataType) const;
    void IndexAdd(Age age, const Ticket &ticket);
    void IndexRemove(Age age, const Ticket &ticket);

    Tickets m_tickets;
    std::set<std::pair<TicketNr, Age>> m_byNumber;
    std::set<std::pair<u64, Age>> m_byItem; // type, data type and value in one number
    Age m_nextAge = 0;
};

} // namespace LTProtocol
