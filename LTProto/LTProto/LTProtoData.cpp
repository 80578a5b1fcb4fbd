// Values and requests of the engine, both ways.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/toviByteOrder.h"

namespace LTProtocol
{
namespace
{

constexpr u32 NUMBER_LEN = 4;
constexpr u32 TYPE_LEN = 1;
constexpr u32 FILE_ID_LEN = 2;
constexpr u32 FILE_REQUEST_LEN = TYPE_LEN + FILE_ID_LEN;
constexpr u32 REQUEST_LEN = TYPE_LEN + NUMBER_LEN;
constexpr u32 DATA_LEN_MIN = NUMBER_LEN + TYPE_LEN + NUMBER_LEN;

// DATA from the client: ticket (4) | kind (1) | id (4) | data type (1) | data
constexpr u32 KIND_OFFSET = NUMBER_LEN;
constexpr u32 ID_OFFSET = KIND_OFFSET + TYPE_LEN;
constexpr u32 DATA_TYPE_OFFSET = ID_OFFSET + NUMBER_LEN;
constexpr u32 DATA_OFFSET = DATA_TYPE_OFFSET + TYPE_LEN;

// DATA from the client in answer to the bridge: FF FF FF FF | data type (1) | data
constexpr u32 ANSWER_DATA_OFFSET = NUMBER_LEN + TYPE_LEN;

// Appends type and value; false for a type that does not travel.
bool appendValue(Tools::MemoryBuffer &out, eDataType dataType, u32 value, u8 decPos, const Tools::MemoryBuffer &buffer)
{
    u8 bytes[TYPE_LEN + NUMBER_LEN + 1] = {static_cast<u8>(dataType)};
    tovi::utils::writeMsbLsbU32(bytes + TYPE_LEN, value);
    bytes[TYPE_LEN + NUMBER_LEN] = decPos;
    switch (dataType)
    {
    case eDataType::INTEGER_POSITIVE:
    case eDataType::INTEGER_NEGATIVE:
    case eDataType::VARIABLE_ID:
    case eDataType::TICKET_ID: out.Add(TYPE_LEN + NUMBER_LEN, bytes); return true;
    case eDataType::DECIMAL_POSITIVE:
    case eDataType::DECIMAL_NEGATIVE: out.Add(sizeof bytes, bytes); return true;
    case eDataType::STRING_UTF:
    case eDataType::DATA_BUFFER:
        out.Add(TYPE_LEN, bytes);
        out.Add(buffer);
        return true;
    default: return false;
    }
}

bool isBufferKind(eDataType kind)
{
    return kind == eDataType::VARIABLE_ID || kind == eDataType::DATA_BUFFER;
}

} // namespace

// ---- To the client.

bool LTProto::DataEnqueue(TicketNr ticketId, eDataType dataType, u32 dataValue, u8 decPos,
                          const Tools::MemoryBuffer &buffer)
{
    Tools::MemoryBuffer payload;
    if (!appendValue(payload, dataType, dataValue, decPos, buffer))
        return false;
    if (TraceIsOn())
        m_logTracer->TraceHex("PacketToSend ticket " + std::to_string(ticketId) + " : ", payload.m_ptr.get(),
                              payload.m_len, 0, " ");
    return Enqueue(PacketToSend(ticketId, eCommandType::DATA, payload));
}

bool LTProto::DataEnqueue(eDataType kind, u32 id, eDataType dataType, u32 dataValue, u8 decPos,
                          const Tools::MemoryBuffer &buffer)
{
    u8 item[TYPE_LEN + NUMBER_LEN] = {static_cast<u8>(kind)};
    tovi::utils::writeMsbLsbU32(item + TYPE_LEN, id);
    Tools::MemoryBuffer payload(sizeof item, item);
    if (!appendValue(payload, dataType, dataValue, decPos, buffer))
        return false;
    return Enqueue(PacketToSend(TICKET_SPONTANEOUS, eCommandType::DATA, payload));
}

bool LTProto::DataEnqueueOnTicket(eDataType kind, u32 id, eDataType dataType, u32 dataValue, u8 decPos,
                                  Tools::MemoryBuffer &buffer)
{
    const bool ticketed = kind == eDataType::VARIABLE_ID && id == TICKETED_BUFFER_ID;
    const TicketNr ticketId =
        ticketed ? TicketOfBufferAnswer(buffer) : TicketSearch(eTicketType::FROM_PROTOCOL, kind, id);
    if (ticketId == TICKET_NONE)
        return DataEnqueue(kind, id, dataType, dataValue, decPos, buffer);
    if (TraceIsOn())
        m_logTracer->TraceHex("Ticket id found dataBuffer ", buffer.m_ptr.get(), buffer.m_len, 0);
    return DataEnqueue(ticketId, dataType, dataValue, decPos, buffer);
}

// Takes the ticket number off the front of a ticketed buffer; TICKET_NONE when no such ticket is open.
TicketNr LTProto::TicketOfBufferAnswer(Tools::MemoryBuffer &buffer)
{
    if (buffer.m_len < NUMBER_LEN)
    {
        Trace("Buffer of %u bytes without a ticket number", buffer.m_len);
        return TICKET_NONE;
    }
    const u32 number = buffer.FromMsbLsb(NUMBER_LEN, 0);
    const TicketNr ticketId = TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::DATA_BUFFER, number);
    if (ticketId == TICKET_NONE && TraceIsOn())
    {
        Trace("Ticket %d not found. TicketList available:", static_cast<int>(number));
        for (const auto &[age, ticket] : m_ticketList)
            Trace("TicketInList: id %u, ticketType=%u, ticketData=%u, value=%u", ticket.m_ticketId,
                  static_cast<unsigned>(ticket.m_ticketType), static_cast<unsigned>(ticket.m_dataType),
                  ticket.m_dataValue);
        Trace("TicketList end.");
    }
    buffer = buffer.Sub(NUMBER_LEN, 0);
    return ticketId;
}

bool LTProto::RequestEnqueue(eDataType dataType, u32 dataValue)
{
    u8 payload[REQUEST_LEN] = {static_cast<u8>(dataType)};
    u32 len = 0;
    switch (dataType)
    {
    case eDataType::VARIABLE_ID:
    case eDataType::TICKET_ID:
        tovi::utils::writeMsbLsbU32(payload + TYPE_LEN, dataValue);
        len = REQUEST_LEN;
        break;
    case eDataType::FILE_ID:
        tovi::utils::writeMsbLsbU16(payload + TYPE_LEN, static_cast<u16>(dataValue));
        len = FILE_REQUEST_LEN;
        break;
    default: return false;
    }
    // Room first: a request that the queue refuses takes no ticket.
    const TicketNr ticketId =
        QueueMakeRoom(len) ? TicketEnqueue(eTicketType::FROM_API, dataType, dataValue, TICKET_NONE) : TICKET_NONE;
    if (ticketId == TICKET_NONE)
        return false;
    PacketToSend packet(ticketId, eCommandType::REQUEST, payload, len);
    packet.DataSet(dataType, dataValue);
    return Enqueue(std::move(packet));
}

// ---- REQUEST from the client.

eReceiveResult LTProto::RequestReceive(Tools::MemoryBuffer &payload)
{
    if (payload.m_len == 0)
        return eReceiveResult::Unknown;
    const eDataType asked = static_cast<eDataType>(payload.m_ptr[0]);
    if (asked == eDataType::FILE_ID && payload.m_len == FILE_REQUEST_LEN)
        return FileRequestReceive(payload);
    if (asked == eDataType::VARIABLE_ID && payload.m_len == REQUEST_LEN)
        return VariableRequestReceive(payload);
    if (asked == eDataType::TICKET_ID && payload.m_len == REQUEST_LEN)
        return TicketRequestReceive(payload);
    return eReceiveResult::Unknown;
}

eReceiveResult LTProto::FileRequestReceive(Tools::MemoryBuffer &payload)
{
    const u16 fileId = static_cast<u16>(payload.FromMsbLsb(FILE_ID_LEN, TYPE_LEN));
    const TicketNr open = TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, fileId);
    if (open != TICKET_NONE)
    {
        TicketSend(open);
        return eReceiveResult::Unknown;
    }
    const TicketNr ticketId = TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, fileId, TICKET_NONE);
    if (ticketId == TICKET_NONE)
        return AckAnd(eReceiveResult::Unknown);
    m_lateFiles.erase(fileId); // this client may have it
    TicketSend(ticketId);
    payload.ToMsbLsb(fileId, FILE_ID_LEN);
    return eReceiveResult::FileRequest;
}

// A repeated request gets its ticket again and is forwarded again.
eReceiveResult LTProto::VariableRequestReceive(Tools::MemoryBuffer &payload)
{
    const u32 varId = payload.FromMsbLsb(NUMBER_LEN, TYPE_LEN);
    Trace("Request var %u received", varId);
    TicketNr ticketId = TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, varId);
    if (ticketId == TICKET_NONE)
        ticketId = TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, varId, TICKET_NONE);
    if (ticketId == TICKET_NONE)
        CommandSend(eCommandCode::ACK, 0);
    else
        TicketSend(ticketId);
    payload.ToMsbLsb(varId, NUMBER_LEN);
    return eReceiveResult::VarRequest;
}

eReceiveResult LTProto::TicketRequestReceive(const Tools::MemoryBuffer &payload)
{
    const TicketNr asked = payload.FromMsbLsb(NUMBER_LEN, TYPE_LEN);
    if (m_ticketList.Find(asked) != nullptr)
        TicketSend(asked);
    else
        NullSend(TICKET_NONE);
    return eReceiveResult::InternalProcessed;
}

// ---- DATA from the client.

eReceiveResult LTProto::AckAnd(eReceiveResult result)
{
    CommandSend(eCommandCode::ACK, 0);
    return result;
}

eReceiveResult LTProto::DataReceive(Tools::MemoryBuffer &payload)
{
    if (payload.m_len < DATA_LEN_MIN)
        return eReceiveResult::Unknown;
    if (payload.FromMsbLsb(NUMBER_LEN, 0) == TICKET_NONE)
        return AnswerReceive(payload);

    Item item{static_cast<eDataType>(payload.m_ptr[KIND_OFFSET]), payload.FromMsbLsb(NUMBER_LEN, ID_OFFSET),
              eDataType::UNDEFINED, nullptr, 0};
    if (payload.m_len > DATA_TYPE_OFFSET)
    {
        item.dataType = static_cast<eDataType>(payload.m_ptr[DATA_TYPE_OFFSET]);
        item.data = payload.m_ptr.get() + DATA_OFFSET;
        item.len = payload.m_len - DATA_OFFSET;
    }
    if (item.kind == eDataType::TICKET_ID)
        return AckAnd(eReceiveResult::Unknown);
    return ItemReceive(item, payload);
}

// The client's answer to the bridge's latest request.
eReceiveResult LTProto::AnswerReceive(Tools::MemoryBuffer &payload)
{
    Item item{eDataType::UNDEFINED, 0, static_cast<eDataType>(payload.m_ptr[NUMBER_LEN]),
              payload.m_ptr.get() + ANSWER_DATA_OFFSET, payload.m_len - ANSWER_DATA_OFFSET};
    const TicketNr latest = m_ticketNext - 1;
    const Ticket *ticket = m_ticketList.Find(latest, eTicketType::FROM_API);
    if (ticket == nullptr)
    {
        Trace("Ticket non trovato");
        return ItemReceive(item, payload);
    }
    item.kind = ticket->m_dataType;
    item.id = ticket->m_dataValue;
    m_ticketList.Remove(latest, eTicketType::FROM_API);
    if (!m_sendQueuePacket.IsEmpty())
        m_sendQueuePacket.RemoveHead();
    return item.kind == eDataType::TICKET_ID ? TicketAnswerReceive(item.id) : ItemReceive(item, payload);
}

eReceiveResult LTProto::ItemReceive(const Item &item, Tools::MemoryBuffer &payload)
{
    if (isBufferKind(item.kind))
        return item.id == TICKETED_BUFFER_ID ? TicketedBufferReceive(item, payload) : ValueReceive(item, payload);
    if (item.kind == eDataType::FILE_ID)
        TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, item.id,
                      payload.FromMsbLsb(NUMBER_LEN, ID_OFFSET));
    return AckAnd(eReceiveResult::Unknown);
}

eReceiveResult LTProto::ValueReceive(const Item &item, Tools::MemoryBuffer &payload)
{
    u8 head[NUMBER_LEN + TYPE_LEN];
    tovi::utils::writeMsbLsbU32(head, item.id);
    head[NUMBER_LEN] = static_cast<u8>(item.dataType);
    Tools::MemoryBuffer value(sizeof head, head);
    value.Add(item.len, item.data);
    payload = std::move(value);
    return AckAnd(eReceiveResult::DataBuffer);
}

// The buffer goes on under a ticket of its own, which the machine's answer carries in front of its data. The ticket's
// value is its own number.
eReceiveResult LTProto::TicketedBufferReceive(const Item &item, Tools::MemoryBuffer &payload)
{
    const TicketNr ownNumber = TicketNextNr();
    const TicketNr ticketId = TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::DATA_BUFFER, ownNumber, TICKET_NONE);
    if (item.kind == eDataType::DATA_BUFFER)
        Trace("Ajax cmd request ticket assigned %d, list size %d", static_cast<int>(ticketId),
              static_cast<int>(m_ticketList.Size()));
    if (ticketId == TICKET_NONE)
        return AckAnd(eReceiveResult::InternalProcessed);
    TicketSend(ticketId);

    u8 head[NUMBER_LEN + TYPE_LEN + NUMBER_LEN];
    tovi::utils::writeMsbLsbU32(head, TICKETED_BUFFER_ID);
    head[NUMBER_LEN] = static_cast<u8>(eDataType::DATA_BUFFER);
    tovi::utils::writeMsbLsbU32(head + NUMBER_LEN + TYPE_LEN, ticketId);
    Tools::MemoryBuffer forwarded(sizeof head, head);
    forwarded.Add(item.len, item.data);
    payload = std::move(forwarded);
    return eReceiveResult::DataBuffer;
}

// The client has no answer yet to what the bridge asked for, and says under which ticket it will come.
eReceiveResult LTProto::TicketAnswerReceive(u32 ticketId)
{
    const PacketToSend *request = m_sendQueuePacket.FirstRequest();
    if (request == nullptr ||
        !m_ticketList.Renumber(eTicketType::FROM_API, *request, eTicketType::FROM_PROTOCOL, ticketId))
    {
        CommandSend(eCommandCode::NACK, NACK_NOTHING_ASKED);
        return eReceiveResult::Unknown;
    }
    m_sendQueuePacket.RemoveRequest(request->m_ticketId);
    return AckAnd(eReceiveResult::InternalProcessed);
}

} // namespace LTProtocol
