#include "LumoBridge/MachineSide.h"

#include "LTProto/LTProto/FileMark.h"
#include "LumoBridge/Keyboard.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSConsole.h"
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
constexpr u32 EVENT_ROOM_TO_CLIENT = 102; // the protocol thread has caught up

constexpr u32 WAIT_MSEC = 100;
constexpr u32 MESSAGES_PER_TURN = 64; // of one side at most, then the other has its turn
constexpr u64 STALL_MSEC = 200;       // a message waits so long before it is traced that the machine takes none
constexpr u64 PEER_CHECK_MSEC = 500;
constexpr u64 FINISH_MSEC = 2000;
constexpr u32 BUFFER_BYTES_SHOWN = 32;

} // namespace

MachineSide::MachineSide(Tools::LogTracer &logTracer, ToviConn &rConn, sFromClient fromClient, sToClient toClient)
    : m_logTracer(logTracer), m_rConn(rConn), m_fromClient(fromClient), m_toClient(toClient)
{
    m_ready = m_wg.addSocket(m_rConn.getSocket(), EVENT_MACHINE_SOCKET) &&
              m_wg.addMsgQ(m_fromClient.queue, EVENT_CLIENT_QUEUE) &&
              m_wg.addEvent(m_toClient.load.RoomEvent(), EVENT_ROOM_TO_CLIENT) &&
              m_wg.addEvent(platform::termination_event(), EVENT_TERMINATION);
}

MachineSide::~MachineSide()
{
    m_wg.removeMsgQ(m_fromClient.queue);
}

// One cycle: 1. wait, but not while messages can be moved that no event will report; 2. note what the events say; 3. one turn
// for each side; 4. when nothing at all happened, the keyboard.
// A message that the machine has not taken whole stops the turn of the client's queue: nothing leaves it that cannot go out. A
// full queue to the client stops the reading of the machine.
void MachineSide::run()
{
    while (m_running)
    {
        setInterest();
        const bool busy = (m_machineHasMore && mayReadMachine()) || (m_clientHasMore && maySendToMachine());
        const u8 n = m_wg.wait(busy ? 0 : WAIT_MSEC);
        const platform::ConsoleTurn turn;
        noteEvents(n);
        if (m_running && m_machineHasMore && mayReadMachine())
            readMachine();
        if (m_running && m_clientHasMore && maySendToMachine())
            sendToMachine();
        watchStall();
        watchPeer();
        if (m_rConn.IsDead())
            m_running = false;
        if (n == 0 && !busy && m_running)
            pollKeyboard();
    }
}

// As `run`, but what the machine says is discarded: one that is stuck in a write of its own would never take ours.
void MachineSide::finish()
{
    m_finishing = true;
    m_clientHasMore = true;
    const u64 untilMSec = platform::getTimeNowMSec() + FINISH_MSEC;
    for (u64 now = platform::getTimeNowMSec(); now < untilMSec; now = platform::getTimeNowMSec())
    {
        if (m_rConn.IsDead() || (!m_clientHasMore && !m_rConn.HasTail()))
            break;
        setInterest();
        noteEvents(m_wg.wait(maySendToMachine() ? 0 : static_cast<u32>(untilMSec - now)));
        if (m_machineHasMore)
            readMachine();
        if (maySendToMachine())
            sendToMachine();
    }
    traceUnsent();
}

void MachineSide::traceUnsent()
{
    u32 count = m_rConn.HasTail() ? 1 : 0;
    tovi::thread::sMsg msg;
    for (; m_fromClient.load.Pop(m_fromClient.queue, &msg); tovi::thread::deleteMsg(msg))
        count += static_cast<eMqMessage>(msg.what) != eMqMessage::COMMAND ? 1 : 0;
    if (count != 0)
        m_logTracer.Trace("%u messages of the client were not sent to the machine", count);
}

// A side that has to wait is taken out of the wait, so that what it sent meanwhile wakes nobody.
void MachineSide::setInterest()
{
    const bool reading = mayReadMachine();
    const bool writing = m_rConn.HasTail();
    if (reading != m_waitsForReading || writing != m_waitsForWriting)
        m_wg.setSocketInterest(m_rConn.getSocket(), reading, writing);
    m_waitsForReading = reading;
    m_waitsForWriting = writing;
}

void MachineSide::noteEvents(u8 count)
{
    for (u8 i = 0; i < count; ++i)
    {
        switch (m_wg.getEventUserParamAsU32(i))
        {
        case EVENT_CLIENT_QUEUE: m_clientHasMore = true; break; // edge-triggered: what is left is not reported again
        case EVENT_MACHINE_SOCKET:
            m_machineHasMore = true;
            m_machineEnds = m_machineEnds || m_wg.getEventIsEnd(i);
            flushTail();
            break;
        case EVENT_TERMINATION:
            if (std::exchange(m_running, false))
                m_logTracer.Trace("Program exit");
            break;
        default: break; // EVENT_ROOM_TO_CLIENT: the next turn looks
        }
    }
}

void MachineSide::pollKeyboard()
{
    const std::optional<char> key = keyboardPoll();
    if (key != 'x' && key != 'X')
        return;
    m_logTracer.Trace("Program exit");
    m_running = false;
}

// ---- From the client.

void MachineSide::sendToMachine()
{
    tovi::thread::sMsg msg;
    for (u32 i = 0; i < MESSAGES_PER_TURN && maySendToMachine(); ++i)
    {
        m_clientHasMore = m_fromClient.load.Pop(m_fromClient.queue, &msg);
        if (!m_clientHasMore)
            return;
        onClientMessage(msg);
        tovi::thread::deleteMsg(msg);
    }
}

// Each message has a record of its own: nothing of the one before is left where this one looks.
void MachineSide::onClientMessage(const tovi::thread::sMsg &msg)
{
    LTData record;
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
    const bool taken = m_rConn.MessageSend(record);
    if (taken && record.m_elemType == eDataType::FILE_ID && !record.m_request)
        m_fileOnItsWay.assign(msg.buffer, msg.buffer + msg.bufferSize);
    noteFileTold();
    if (m_rConn.HasTail())
        m_tailSinceMSec = platform::getTimeNowMSec();
}

// A file counts as told when the whole message that tells of it is with the system.
void MachineSide::noteFileTold()
{
    if (m_fileOnItsWay.empty() || m_rConn.HasTail() || m_rConn.IsDead())
        return;
    LTProtocol::FileMarkTold(m_fileOnItsWay);
    m_fileOnItsWay.clear();
}

void MachineSide::flushTail()
{
    if (!m_rConn.HasTail())
        return;
    m_rConn.Flush();
    noteFileTold();
    if (!m_rConn.HasTail() && std::exchange(m_stallTold, false))
        m_logTracer.Trace("The machine takes messages again");
}

void MachineSide::watchStall()
{
    if (m_stallTold || !m_rConn.HasTail() || platform::getTimeNowMSec() < m_tailSinceMSec + STALL_MSEC)
        return;
    m_stallTold = true;
    m_logTracer.Trace("The machine takes no messages");
}

// A machine that lives but does not read is not gone.
void MachineSide::watchPeer()
{
    const u64 now = platform::getTimeNowMSec();
    if (now < m_peerCheckAtMSec)
        return;
    m_peerCheckAtMSec = now + PEER_CHECK_MSEC;
    if (m_rConn.PeerDropIfGone())
        m_logTracer.Trace("The machine vanished: its system does not answer");
}

// ---- From the machine.

// One record serves all messages of a turn: one that carries no value brings the value before it once more.
void MachineSide::readMachine()
{
    LTData record;
    bool hasRead = false;
    for (u32 i = 0; i < MESSAGES_PER_TURN && m_machineHasMore && mayReadMachine(); ++i)
    {
        const eToviConnStatus status = m_rConn.MessageProcess(record);
        hasRead = hasRead || status != eToviConnStatus::EMPTY;
        switch (status)
        {
        case eToviConnStatus::MESSAGE: onMachineRecord(record); break;
        case eToviConnStatus::NONE: break;
        case eToviConnStatus::EMPTY: m_machineHasMore = false; break;
        case eToviConnStatus::ABORT: m_machineHasMore = false; break; // the link is dead
        }
    }
    if (hasRead)
        m_rConn.AcknowledgeNow();
}

void MachineSide::onMachineRecord(LTData &record)
{
    if (m_finishing)
        return;
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
        postRecord(record);
        break;
    case eDataType::FILE_ID:
        m_logTracer.Trace("From Tovi: File send %d", static_cast<int>(record.m_elemValue));
        m_toClient.load.Push(m_toClient.queue, eMqMessage::FILE_DATA, record.m_elemValue,
                             record.m_dataBuffer.m_ptr.get(), record.m_dataBuffer.m_len);
        break;
    default: m_logTracer.Trace("***From Tovi: Unknown data type %d\n", static_cast<int>(record.m_elemType)); break;
    }
}

void MachineSide::postRecord(const LTData &record)
{
    Tools::MemoryBuffer encoded;
    record.Encode(encoded);
    m_toClient.load.Push(m_toClient.queue, eMqMessage::VARIABLE_DATA, record.m_elemValue, encoded.m_ptr.get(),
                         encoded.m_len);
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
    postRecord(record);
}
