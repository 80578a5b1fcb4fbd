#include "LTProto/LTProto/TicketList.h"

#include <algorithm>

namespace LTProtocol
{
namespace
{

u64 itemKey(eTicketType ticketType, eDataType dataType, u32 value)
{
    return u64{static_cast<u8>(ticketType)} << 40 | u64{static_cast<u8>(dataType)} << 32 | value;
}

u64 itemKey(const Ticket &ticket)
{
    return itemKey(ticket.m_ticketType, ticket.m_dataType, ticket.m_dataValue);
}

} // namespace

void TicketList::Add(Ticket &&ticket)
{
    const auto added = m_tickets.emplace_hint(m_tickets.end(), m_nextAge++, std::move(ticket));
    IndexAdd(added->first, added->second);
}

void TicketList::IndexAdd(Age age, const Ticket &ticket)
{
    m_byNumber.emplace(ticket.m_ticketId, age);
    m_byItem.emplace(itemKey(ticket), age);
}

void TicketList::IndexRemove(Age age, const Ticket &ticket)
{
    m_byNumber.erase({ticket.m_ticketId, age});
    m_byItem.erase({itemKey(ticket), age});
}

const Ticket *TicketList::FindRequest(eTicketType ticketType, eDataType dataType, u32 value) const
{
    const u64 key = itemKey(ticketType, dataType, value);
    const auto found = m_byItem.lower_bound({key, 0});
    return found != m_byItem.end() && found->first == key ? &m_tickets.at(found->second) : nullptr;
}

TicketList::Tickets::const_iterator TicketList::Search(TicketNr ticketId, eTicketType ticketType,
                                                       eDataType dataType) const
{
    for (auto found = m_byNumber.lower_bound({ticketId, 0}); found != m_byNumber.end() && found->first == ticketId;
         ++found)
    {
        const auto entry = m_tickets.find(found->second);
        const Ticket &ticket = entry->second;
        if ((ticketType == eTicketType::NONE || ticket.m_ticketType == ticketType) &&
            (dataType == eDataType::UNDEFINED || ticket.m_dataType == dataType))
            return entry;
    }
    return m_tickets.end();
}

const Ticket *TicketList::Find(TicketNr ticketId, eTicketType ticketType, eDataType dataType) const
{
    const auto found = Search(ticketId, ticketType, dataType);
    return found != m_tickets.end() ? &found->second : nullptr;
}

bool TicketList::Remove(TicketNr ticketId, eTicketType ticketType)
{
    const auto found = Search(ticketId, ticketType, eDataType::UNDEFINED);
    if (found == m_tickets.end())
        return false;
    IndexRemove(found->first, found->second);
    m_tickets.erase(found);
    return true;
}

bool TicketList::Renumber(eTicketType ticketType, const PacketToSend &packet, eTicketType newType, TicketNr newId)
{
    const auto found = std::ranges::find_if(m_tickets, [&](const auto &entry)
                                            { return entry.second.IsTicketRequest(ticketType, packet); });
    if (found == m_tickets.end())
        return false;
    IndexRemove(found->first, found->second);
    found->second.TicketSet(newType, newId);
    IndexAdd(found->first, found->second);
    return true;
}

void TicketList::Clear()
{
    m_tickets.clear();
    m_byNumber.clear();
    m_byItem.clear();
}

} // namespace LTProtocol
