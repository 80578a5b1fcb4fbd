#include "LumoBridge/MachineSide.h"

#include "LumoBridge/Keyboard.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"

#include <utility>

using LT_Proto::eDataType;
using LT_Proto::eMqMessage;
using LT_Proto::LTData;

namespace
{

// User values of the group's sources.
constexpr u32 EVENT_MACHINE_SOCKET = 123;
constexpr u32 EVENT_CLIENT_QUEUE = 100;
constexpr u32 EVENT_TERMINATION = 101;

constexpr u32 WAIT_MSEC = 100;
constexpr u32 MESSAGES_PER_TURN = 64; // of one side at most, then the other has its turn
constexpr u64 TURN_MSEC = 200;        // as long as one message may wait for the machine
constexpr u32 BUFFER_BYTES_SHOWN = 32;

} // namespace

MachineSide::MachineSide(Tools::LogTracer &logTracer, ToviConn &rConn, const sHThreadMsgR &fromClient,
                         const sHThreadMsgW &toClient)
    : m_logTracer(logTracer), m_rConn(rConn), m_fromClient(fromClient), m_toClient(toClient)
{
    m_ready = m_wg.addSocket(m_rConn.getSocket(), EVENT_MACHINE_SOCKET) &&
              m_wg.addMsgQ(m_fromClient, EVENT_CLIENT_QUEUE) &&
              m_wg.addEvent(platform::termination_event(), EVENT_TERMINATION);
}

MachineSide::~MachineSide()
{
    m_wg.removeMsgQ(m_fromClient);
}

// One cycle: 1. wait, but not while a turn was cut short; 2. one handler for each ready source; 3. what the last turns
// left over; 4. when nothing at all happened, the keyboard.
void MachineSide::run()
{
    while (m_running)
    {
        const bool machineLeftOver = std::exchange(m_machineHasMore, false);
        const bool clientLeftOver = std::exchange(m_clientHasMore, false);
        const bool leftOver = machineLeftOver || clientLeftOver;
        const u8 n = m_wg.wait(leftOver ? 0 : WAIT_MSEC);
        handleEvents(n);
        if (machineLeftOver && m_running)
            onMachineSocket();
        if (clientLeftOver && m_running)
            onClientQueue();
        if (n == 0 && !leftOver && operatorWantsEnd())
        {
            m_logTracer.Trace("Program exit");
            m_running = false;
        }
    }
}

void MachineSide::handleEvents(u8 count)
{
    for (u8 i = 0; i < count; ++i)
    {
        switch (m_wg.getEventUserParamAsU32(i))
        {
        case EVENT_CLIENT_QUEUE: onClientQueue(); break; // edge-triggered: what it leaves is not reported again
        case EVENT_MACHINE_SOCKET: onMachineSocket(); break;
        case EVENT_TERMINATION:
            m_logTracer.Trace("Program exit");
            m_running = false;
            break;
        default: break;
        }
    }
}

bool MachineSide::operatorWantsEnd()
{
    const std::optional<char> key = keyboardPoll();
    return key == 'x' || key == 'X';
}

// ---- From the client.

// One record serves all messages of a turn: a request carries the value that the message before it left there.
void MachineSide::onClientQueue()
{
    LTData record;
    tovi::thread::sMsg msg;
    // A machine that takes no messages makes each of them slow: neither its own end nor the wish to end waits for the last.
    const u64 until = platform::getTimeNowMSec() + TURN_MSEC;
    for (u32 i = 0; i < MESSAGES_PER_TURN && (i == 0 || platform::getTimeNowMSec() < until); ++i)
    {
        if (platform::termination_requested() || !tovi::thread::popMsg(m_fromClient, &msg))
            return;
        onClientMessage(msg, record);
        tovi::thread::deleteMsg(msg);
    }
    m_clientHasMore = true;
}

void MachineSide::onClientMessage(const tovi::thread::sMsg &msg, LTData &record)
{
    const int param = static_cast<int>(msg.paramU32);
    switch (static_cast<eMqMessage>(msg.what))
    {
    case eMqMessage::LINK_STATE:
        m_logTracer.Trace("From Client: Link status %s", msg.paramU32 != 0 ? "up" : "down");
        record.Set(eDataType::INTERNAL_COMMAND, static_cast<u32>(eTovConnCommand::LINK), eDataType::INTEGER_POSITIVE,
                   msg.paramU32, u8{0});
        break;
    case eMqMessage::VARIABLE_REQ:
        m_logTracer.Trace("From Client: Variable request %d", param);
        record.Request(eDataType::VARIABLE_ID, msg.paramU32);
        break;
    case eMqMessage::FILE_REQ:
        m_logTracer.Trace("From Client: File request %d", param);
        record.Request(eDataType::FILE_ID, msg.paramU32);
        break;
    case eMqMessage::FILE_DATA:
        m_logTracer.Trace("From Client: Data file %lu send (%.*s)", static_cast<unsigned long>(msg.paramU32),
                          static_cast<int>(msg.bufferSize), reinterpret_cast<const char *>(msg.buffer));
        record.Set(eDataType::FILE_ID, msg.paramU32, eDataType::STRING_UTF, msg.bufferSize, msg.buffer);
        break;
    case eMqMessage::VARIABLE_DATA:
        record.Decode(msg.bufferSize, msg.buffer); // what does not decode is sent all the same
        m_logTracer.Trace("From Client: Variable %x type %d", msg.paramU32, static_cast<int>(record.m_dataType));
        break;
    case eMqMessage::DATABUFFER_RAW:
        record.Set(eDataType::DATA_BUFFER, msg.paramU32, eDataType::DATA_BUFFER, msg.bufferSize, msg.buffer);
        m_logTracer.Trace("From Client: Data buffer varId %x buffer %s", msg.paramU32,
                          record.m_dataBuffer.ToHex(BUFFER_BYTES_SHOWN).c_str());
        break;
    default: return;
    }
    m_rConn.MessageSend(record);
}

// ---- From the machine.

void MachineSide::onMachineSocket()
{
    LTData record;
    for (u32 i = 0; i < MESSAGES_PER_TURN; ++i)
    {
        switch (m_rConn.MessageProcess(record))
        {
        case eToviConnStatus::MESSAGE: onMachineRecord(record); break;
        case eToviConnStatus::NONE: break;
        case eToviConnStatus::EMPTY: return;
        case eToviConnStatus::ABORT: m_running = false; return;
        }
    }
    m_machineHasMore = true;
}

void MachineSide::onMachineRecord(LTData &record)
{
    if (record.m_request)
        onMachineRequest(record);
    else
        onMachineValue(record);
}

void MachineSide::onMachineValue(const LTData &record)
{
    switch (record.m_elemType)
    {
    case eDataType::VARIABLE_ID:
        m_logTracer.Trace("From Tovi: variable %u (%x)", record.m_elemValue, record.m_elemValue);
        record.SendVar(m_toClient);
        break;
    case eDataType::FILE_ID:
        m_logTracer.Trace("From Tovi: File send %d", static_cast<int>(record.m_elemValue));
        LTData::SendFile(m_toClient, record.m_elemValue, record.m_dataBuffer.m_len, record.m_dataBuffer.m_ptr.get());
        break;
    default: m_logTracer.Trace("***From Tovi: Unknown data type %d\n", static_cast<int>(record.m_elemType)); break;
    }
}

// A request travels as a value, with whatever value the record holds.
void MachineSide::onMachineRequest(const LTData &record)
{
    const int id = static_cast<int>(record.m_elemValue);
    if (record.m_elemType == eDataType::VARIABLE_ID)
        m_logTracer.Trace("From Tovi: Variable request %d", id);
    else if (record.m_elemType == eDataType::FILE_ID)
        m_logTracer.Trace("From Tovi: File request %d", id);
    else
        return;
    record.SendVar(m_toClient);
}
