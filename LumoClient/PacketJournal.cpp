#include "LumoClient/PacketJournal.h"

#include "LTProto/LTProto/VariableNames.h"
#include "LTProto/Tools/Hex.h"
#include "toviCommonLib/toviByteOrder.h"

#include <utility>

namespace LumoClient
{

using namespace LTProtocol;
using LumoFaults::JournalEvent;
using Payload = std::span<const u8>;

namespace
{

constexpr size_t NUMBER_LEN = 4;
constexpr size_t ITEM_LEN = 1 + NUMBER_LEN; // kind, id
constexpr size_t SHOWN_LEN = 16;

std::string hex(Payload bytes)
{
    return Tools::ToHex(bytes.data(), static_cast<u32>(bytes.size()), 0);
}

const char *commandName(eCommandType type)
{
    switch (type)
    {
    case eCommandType::CMD: return "CMD";
    case eCommandType::REQUEST: return "REQUEST";
    case eCommandType::DATA: return "DATA";
    case eCommandType::DATABLOCK: return "DATABLOCK";
    case eCommandType::UNDEFINED: break;
    }
    return "UNKNOWN";
}

JournalEvent eventOfRequest(Payload payload)
{
    const eDataType kind{payload[0]};
    if (kind == eDataType::FILE_ID)
        return {'>', "ask-file", {}, tovi::utils::readMsbLsbU16(&payload[1])};
    const u32 number = tovi::utils::readMsbLsbU32(&payload[1]);
    if (kind == eDataType::TICKET_ID)
        return {'>', "ask-ticket", number};
    return {'>', "ask", {}, number};
}

// `value` is the type byte and what follows it.
JournalEvent eventOfValue(char way, const char *event, Payload value)
{
    return {way, event, {}, {}, DataTypeName(eDataType{value[0]}), hex(value.subspan(1))};
}

JournalEvent eventOfItem(char way, Payload item)
{
    const u32 id = tovi::utils::readMsbLsbU32(&item[1]);
    const bool isBuffer = way == '>' && id == TICKETED_BUFFER_ID;
    JournalEvent event = eventOfValue(way, isBuffer ? "buffer" : "value", item.subspan(ITEM_LEN));
    event.id = id;
    return event;
}

std::optional<JournalEvent> eventOfData(Payload payload)
{
    if (payload.size() <= NUMBER_LEN)
        return std::nullopt;
    const TicketNr ticket = tovi::utils::readMsbLsbU32(payload.data());
    const Payload rest = payload.subspan(NUMBER_LEN);
    if (ticket == TICKET_SPONTANEOUS)
        return rest.size() > ITEM_LEN ? std::optional(eventOfItem('<', rest)) : std::nullopt;
    JournalEvent event = eventOfValue('<', ticket == TICKET_NONE ? "ticket" : "answer", rest);
    if (ticket != TICKET_NONE)
        event.ticket = ticket;
    else if (eDataType{rest[0]} == eDataType::TICKET_ID && rest.size() == 1 + NUMBER_LEN)
        event.ticket = tovi::utils::readMsbLsbU32(&rest[1]);
    return event;
}

} // namespace

void PacketJournal::opened(bool isPolled) const
{
    m_journal.write({'>', "up", {}, {}, isPolled ? "serial" : "tcp"});
}

void PacketJournal::closed(const char *how)
{
    if (!std::exchange(m_isClosed, true))
        m_journal.write({'>', "down", {}, {}, how});
}

void PacketJournal::sent(Payload packet, LumoFaults::eVerb fault)
{
    const eCommandType type{packet[PACKET_HEADER_LEN - 1]};
    const Payload payload = packet.subspan(PACKET_HEADER_LEN, packet.size() - PACKET_OVERHEAD);
    if (type != eCommandType::CMD)
        m_hasSentValue = type == eCommandType::DATA;
    JournalEvent event;
    if (type == eCommandType::REQUEST)
        event = eventOfRequest(payload);
    else if (type == eCommandType::DATA)
        event = eventOfItem('>', payload.subspan(NUMBER_LEN));
    else if (type == eCommandType::CMD && eCommandCode{payload[0]} == eCommandCode::NACK)
        event = {'>', "refused", {}, {}, "", hex(payload.subspan(1))};
    else if (fault != LumoFaults::eVerb::none)
        event = {'>', "packet", {}, {}, commandName(type), hex(payload.first(std::min(payload.size(), SHOWN_LEN)))};
    else
        return;
    event.fault = LumoFaults::verbName(fault);
    m_journal.write(event);
}

void PacketJournal::received(Payload bytes)
{
    m_decoder.feed(bytes);
    while (const std::optional<Packet> packet = m_decoder.next())
        receivedPacket(*packet);
}

void PacketJournal::receivedPacket(const Packet &packet)
{
    if (packet.type == eCommandType::DATA)
    {
        if (const std::optional<JournalEvent> event = eventOfData(packet.payload))
            m_journal.write(*event);
        return;
    }
    if (packet.type != eCommandType::CMD || packet.payload.empty() || !m_hasSentValue)
        return;
    const eCommandCode code{packet.payload[0]};
    if (code != eCommandCode::POLLING)
        m_journal.write(
            {'<', code == eCommandCode::ACK ? "ack" : "refused", {}, {}, "", hex(Payload(packet.payload).subspan(1))});
}

} // namespace LumoClient
