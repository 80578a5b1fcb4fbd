#include "LumoClient/ClientLink.h"

#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <utility>

namespace LumoClient
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr size_t NUMBER_LEN = 4;
constexpr size_t ITEM_LEN = 1 + NUMBER_LEN; // kind, id

Bytes requestOf(eDataType kind, u32 id)
{
    Bytes payload{static_cast<u8>(kind)};
    AppendMsbLsb(payload, id);
    return payload;
}

Bytes fileRequestOf(u16 fileId)
{
    return {static_cast<u8>(eDataType::FILE_ID), static_cast<u8>(fileId >> 8), static_cast<u8>(fileId)};
}

// DATA that answers no request.
Bytes dataOf(eDataType kind, u32 id, const Value &value)
{
    Bytes payload;
    AppendMsbLsb(payload, TICKET_SPONTANEOUS);
    payload.push_back(static_cast<u8>(kind));
    AppendMsbLsb(payload, id);
    const Bytes encoded = ValueEncode(value);
    payload.insert(payload.end(), encoded.begin(), encoded.end());
    return payload;
}

// What ends an exchange well.
enum class eGoal
{
    ANSWER,         // the value under its ticket
    ACK,            // the bridge's ACK
    NOTICE,         // the notice of a ticket
    UNKNOWN_TICKET, // the notice that nothing is known of a ticket
    SPONTANEOUS,    // any value that answers no request
    ARRIVAL,        // the same, or any file
    FILE            // the file under the ticket
};

} // namespace

struct ClientLink::Exchange
{
    eGoal goal;
    eCommandType type; // CMD when nothing is sent but POLLING
    Bytes payload;
    std::optional<TicketNr> ticket = {}; // known once the notice came
    u32 reminderCount = 0;               // of the open ticket
    Value answer = {};
    std::optional<FileOffer> offer = {};

    bool wants(const FileOffer &offered) const
    {
        return goal == eGoal::ARRIVAL ||
               (goal == eGoal::FILE && offered.kind == eDataType::TICKET_ID && offered.id == ticket);
    }
};

const char *resultText(eResult result)
{
    switch (result)
    {
    case eResult::done: return "done";
    case eResult::refused: return "the bridge refused: it serves another client, or cannot take this";
    case eResult::unreachable: return "the bridge cannot be reached";
    case eResult::linkLost: return "the link is lost";
    case eResult::noAnswer: return "no answer in time";
    case eResult::badAnswer: return "the answer cannot be understood";
    case eResult::badArgument: return "this cannot be sent";
    case eResult::fileFailed: return "the file cannot be read or written";
    case eResult::stopped: return "stopped";
    }
    return "";
}

void ClientLink::attach(std::unique_ptr<ByteChannel> channel)
{
    m_link = std::make_unique<PacketLink>(std::move(channel));
    m_values.clear();
    m_repliesOwed = 0;
    m_ackAtMSec.reset();
    m_remindAtMSec = m_link->nowMSec() + REPEAT_MSEC;
}

eResult ClientLink::get(u32 varId, u32 timeoutMSec, Value &out)
{
    Exchange exchange{eGoal::ANSWER, eCommandType::REQUEST, requestOf(eDataType::VARIABLE_ID, varId)};
    const eResult result = run(exchange, timeoutMSec);
    if (result == eResult::done)
        out = std::move(exchange.answer);
    return result;
}

eResult ClientLink::set(u32 varId, const Value &value, u32 timeoutMSec)
{
    if (varId == TICKETED_BUFFER_ID || ValueEncode(value).empty())
        return eResult::badArgument;
    Exchange exchange{eGoal::ACK, eCommandType::DATA, dataOf(eDataType::VARIABLE_ID, varId, value)};
    return run(exchange, timeoutMSec);
}

eResult ClientLink::exchangeBuffer(std::span<const u8> bytes, u32 timeoutMSec, Bytes &answer)
{
    const Value data{eDataType::DATA_BUFFER, 0, 0, {bytes.begin(), bytes.end()}};
    Exchange exchange{eGoal::ANSWER, eCommandType::DATA, dataOf(eDataType::DATA_BUFFER, TICKETED_BUFFER_ID, data)};
    const eResult result = run(exchange, timeoutMSec);
    if (result != eResult::done)
        return result;
    if (exchange.answer.dataType != eDataType::DATA_BUFFER)
        return eResult::badAnswer;
    answer = std::move(exchange.answer.bytes);
    return eResult::done;
}

eResult ClientLink::poll(u32 timeoutMSec, std::vector<SpontaneousValue> &out)
{
    if (!isOpen())
        return eResult::linkLost;
    const u64 deadlineMSec = m_link->nowMSec() + timeoutMSec;
    Exchange listening{eGoal::SPONTANEOUS, eCommandType::CMD, {}};
    m_link->sendCommand(eCommandCode::POLLING);
    eResult result = eResult::done;
    while (result == eResult::done)
        result = await(listening, std::min(deadlineMSec, m_link->nowMSec() + POLL_QUIET_MSEC));
    out.assign(m_values.begin(), m_values.end());
    m_values.clear();
    return result == eResult::noAnswer ? eResult::done : result;
}

eResult ClientLink::waitArrival(u32 timeoutMSec, Arrival &out)
{
    if (m_values.empty())
    {
        if (!isOpen())
            return eResult::linkLost;
        Exchange listening{eGoal::ARRIVAL, eCommandType::CMD, {}};
        const eResult result = await(listening, m_link->nowMSec() + timeoutMSec);
        if (result != eResult::done)
            return result;
        if (listening.offer)
        {
            out = *listening.offer;
            return eResult::done;
        }
    }
    out = std::move(m_values.front());
    m_values.pop_front();
    return eResult::done;
}

eResult ClientLink::requestFile(u16 fileId, u32 timeoutMSec, TicketNr &ticket)
{
    Exchange exchange{eGoal::NOTICE, eCommandType::REQUEST, fileRequestOf(fileId)};
    const eResult result = run(exchange, timeoutMSec);
    if (result == eResult::done)
        ticket = *exchange.ticket;
    return result;
}

eResult ClientLink::waitFile(TicketNr ticket, u32 timeoutMSec, FileOffer &out)
{
    if (!isOpen())
        return eResult::linkLost;
    Exchange listening{eGoal::FILE, eCommandType::CMD, {}, ticket};
    m_remindAtMSec = std::min(m_remindAtMSec, m_link->nowMSec() + FILE_POLL_MSEC);
    const eResult result = await(listening, m_link->nowMSec() + timeoutMSec);
    if (result == eResult::done)
        out = *listening.offer;
    return result;
}

eResult ClientLink::beginTransfer(u32 timeoutMSec)
{
    if (!isOpen())
        return eResult::linkLost;
    m_ackAtMSec.reset();
    return settle(m_link->nowMSec() + timeoutMSec);
}

void ClientLink::keepValue(const Packet &packet)
{
    if (packet.payload.size() > NUMBER_LEN && readMsbLsbU32(packet.payload.data()) == TICKET_SPONTANEOUS)
        keep(std::span(packet.payload).subspan(NUMBER_LEN));
}

eResult ClientLink::run(Exchange &exchange, u32 timeoutMSec)
{
    if (!isOpen())
        return eResult::linkLost;
    if (exchange.payload.size() > PACKET_PAYLOAD_MAX)
        return eResult::badArgument;
    const u64 deadlineMSec = m_link->nowMSec() + timeoutMSec;
    const eResult settled = settle(deadlineMSec);
    if (settled != eResult::done)
        return settled;
    start(exchange);
    return await(exchange, deadlineMSec);
}

// Replies of an earlier exchange may still come: waits until they cannot be taken for this one's.
eResult ClientLink::settle(u64 deadlineMSec)
{
    if (m_repliesOwed == 0)
        return eResult::done;
    Exchange question{eGoal::UNKNOWN_TICKET, eCommandType::REQUEST, requestOf(eDataType::TICKET_ID, TICKET_NONE)};
    start(question);
    const eResult result = await(question, deadlineMSec);
    if (result == eResult::done)
        m_repliesOwed = 0;
    return result;
}

eResult ClientLink::await(Exchange &exchange, u64 deadlineMSec)
{
    while (m_link->nowMSec() < deadlineMSec)
    {
        const u64 nextMSec = std::min(m_remindAtMSec, m_ackAtMSec.value_or(m_remindAtMSec));
        const std::optional<Packet> packet = m_link->receive(std::min(deadlineMSec, nextMSec));
        if (packet)
        {
            if (const std::optional<eResult> result = take(exchange, *packet))
                return *result;
        }
        else if (!m_link->isOpen())
            return m_link->hasHeard() ? eResult::linkLost : eResult::refused;
        else if (m_link->nowMSec() < deadlineMSec)
            actOnSilence(exchange);
    }
    return eResult::noAnswer;
}

void ClientLink::actOnSilence(Exchange &exchange)
{
    if (m_ackAtMSec && m_link->nowMSec() >= *m_ackAtMSec)
        answerPoll();
    else if (m_link->nowMSec() >= m_remindAtMSec)
        remind(exchange);
}

void ClientLink::answerPoll()
{
    m_ackAtMSec.reset();
    m_link->sendCommand(eCommandCode::ACK);
}

void ClientLink::start(const Exchange &exchange)
{
    m_ackAtMSec.reset(); // the packet answers the poll as well
    m_link->send(exchange.type, exchange.payload);
    ++m_repliesOwed;
    m_remindAtMSec = m_link->nowMSec() + REPEAT_MSEC;
}

// An ACK of ours that the bridge dropped keeps it from sending: POLLING frees it. If that brings nothing, the answer
// itself may be lost: the bridge is asked whether the ticket is still open. Whoever only listens on a polled line has the
// bridge's polls to answer; a POLLING of ours could cross a block, and would count as its ACK.
void ClientLink::remind(Exchange &exchange)
{
    restartReminder(exchange);
    if (exchange.type == eCommandType::CMD)
    {
        if (!m_link->isPolled())
            m_link->sendCommand(eCommandCode::POLLING);
    }
    else if (exchange.ticket && exchange.reminderCount++ % 2 != 0)
        start({eGoal::UNKNOWN_TICKET, eCommandType::REQUEST, requestOf(eDataType::TICKET_ID, *exchange.ticket)});
    else if (exchange.ticket)
        m_link->sendCommand(eCommandCode::POLLING);
    else if (exchange.type == eCommandType::REQUEST)
        start(exchange);
}

void ClientLink::restartReminder(const Exchange &exchange)
{
    const bool isAsking = exchange.goal == eGoal::FILE && !m_link->isPolled();
    m_remindAtMSec = m_link->nowMSec() + (isAsking ? FILE_POLL_MSEC : REPEAT_MSEC);
}

std::optional<eResult> ClientLink::take(Exchange &exchange, const Packet &packet)
{
    switch (packet.type)
    {
    case eCommandType::CMD: return takeCommand(exchange, packet.payload);
    case eCommandType::DATA: return takeData(exchange, packet.payload);
    case eCommandType::DATABLOCK: return takeBlock(exchange, packet.payload);
    case eCommandType::REQUEST: // has no variables of its own
    case eCommandType::UNDEFINED: break;
    }
    return std::nullopt;
}

std::optional<eResult> ClientLink::takeCommand(const Exchange &exchange, std::span<const u8> payload)
{
    if (payload.empty())
        return std::nullopt;
    const eCommandCode code{payload[0]};
    if (code == eCommandCode::POLLING)
    {
        m_ackAtMSec = m_link->nowMSec() + POLL_PAUSE_MSEC;
        return std::nullopt;
    }
    const bool isAwaited = m_repliesOwed > 0 && exchange.type != eCommandType::CMD && !exchange.ticket;
    if (!isAwaited)
        return std::nullopt;
    --m_repliesOwed;
    const bool isGood = code == eCommandCode::ACK && exchange.goal == eGoal::ACK;
    return isGood ? eResult::done : eResult::refused;
}

std::optional<eResult> ClientLink::takeData(Exchange &exchange, std::span<const u8> payload)
{
    if (payload.size() <= NUMBER_LEN)
        return std::nullopt;
    const TicketNr ticket = readMsbLsbU32(payload.data());
    const std::span<const u8> rest = payload.subspan(NUMBER_LEN);
    if (ticket == TICKET_NONE)
        return takeNotice(exchange, rest);

    m_link->sendCommand(eCommandCode::ACK);
    if (exchange.goal == eGoal::FILE)
        restartReminder(exchange); // a POLLING right behind would count as the answer to what the ACK draws
    if (ticket == TICKET_SPONTANEOUS)
    {
        const bool isGoal = exchange.goal == eGoal::SPONTANEOUS || exchange.goal == eGoal::ARRIVAL;
        return keep(rest) && isGoal ? std::optional(eResult::done) : std::nullopt;
    }
    if (exchange.goal == eGoal::ANSWER && ticket == exchange.ticket)
        return takeAnswer(exchange, rest);
    return std::nullopt; // the answer to a request that was given up
}

std::optional<eResult> ClientLink::takeNotice(Exchange &exchange, std::span<const u8> notice)
{
    const std::optional<Value> said = ValueDecode(notice);
    if (!said)
        return std::nullopt;
    m_repliesOwed -= std::min(m_repliesOwed, 1u);
    if (m_link->isPolled())
        answerPoll();
    const bool isUnknown = said->dataType == eDataType::NULL_DATA;
    if (exchange.goal == eGoal::UNKNOWN_TICKET && isUnknown)
        return eResult::done;
    if (exchange.goal != eGoal::ANSWER && exchange.goal != eGoal::NOTICE)
        return std::nullopt;
    if (said->dataType == eDataType::TICKET_ID)
        exchange.ticket = said->magnitude;
    else if (isUnknown && exchange.ticket)
        return answerIsLost(exchange);
    return exchange.goal == eGoal::NOTICE && exchange.ticket ? std::optional(eResult::done) : std::nullopt;
}

std::optional<eResult> ClientLink::takeAnswer(Exchange &exchange, std::span<const u8> answer)
{
    std::optional<Value> value = ValueDecode(answer);
    if (!value)
        return eResult::badAnswer;
    exchange.answer = std::move(*value);
    return eResult::done;
}

// The bridge closed the ticket, yet its answer never came: a request may be made anew, a buffer must not act twice.
std::optional<eResult> ClientLink::answerIsLost(Exchange &exchange)
{
    if (exchange.type != eCommandType::REQUEST)
        return eResult::noAnswer;
    exchange.ticket.reset();
    exchange.reminderCount = 0;
    start(exchange);
    return std::nullopt;
}

// False for what is no value.
bool ClientLink::keep(std::span<const u8> item)
{
    const std::optional<Value> value = item.size() > ITEM_LEN ? ValueDecode(item.subspan(ITEM_LEN)) : std::nullopt;
    if (!value)
        return false;
    if (m_values.size() >= VALUES_KEPT_MAX)
        m_values.pop_front();
    m_values.push_back({eDataType{item[0]}, readMsbLsbU32(&item[1]), *value});
    return true;
}

// A file that nobody wants is refused as often as the bridge offers it; the bridge drops it then. A block without its
// negotiation is out of order: that brings the negotiation, if the line swallowed it, and else says that a last block that
// comes again had arrived. A file that comes before the notice of its ticket is none to refuse: the notice was lost.
std::optional<eResult> ClientLink::takeBlock(Exchange &exchange, std::span<const u8> block)
{
    exchange.offer = parseOffer(block);
    if (exchange.offer && exchange.wants(*exchange.offer))
    {
        m_ackAtMSec.reset(); // the answer to the offer answers the poll as well
        return eResult::done;
    }
    const bool isOffer = exchange.offer.has_value();
    const bool mayBeOurs = isOffer && exchange.goal == eGoal::NOTICE && exchange.offer->kind == eDataType::TICKET_ID;
    exchange.offer.reset();
    if (mayBeOurs)
        start(exchange);
    else
        m_link->sendNack(isOffer ? NACK_FILE_ERROR : NACK_BLOCK_REJECTED);
    return std::nullopt;
}

} // namespace LumoClient
