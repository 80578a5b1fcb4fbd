#include "LumoBridge/Protocol.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <cstdarg>
#include <utility>

namespace LT_Proto
{

using LTProtocol::eReceiveResult;

namespace
{

constexpr u32 PAYLOAD_MAX = 65535;
constexpr u16 PAYLOAD_DEFAULT_UART = 4000;
constexpr u16 PAYLOAD_DEFAULT_SOCKET = 50000;
constexpr u16 STACK_SIZE_KB = 2048;
constexpr u32 MESSAGES_PER_TURN = 64; // then the client has its turn
constexpr u64 PEER_CHECK_MSEC = 500;

// What the engine leaves in the buffer.
constexpr u32 ID_LEN = 4;
constexpr u32 FILE_ID_LEN = 2;
constexpr u32 TYPE_LEN = 1;
constexpr u32 VALUE_OFFSET = ID_LEN + TYPE_LEN;

u16 payloadFor(eComType type, u32 payload)
{
    if (payload >= 1 && payload <= PAYLOAD_MAX)
        return static_cast<u16>(payload);
    const bool serial = type == eComType::UART_MAIN || type == eComType::UART_SUBSCRIBER;
    return serial ? PAYLOAD_DEFAULT_UART : PAYLOAD_DEFAULT_SOCKET;
}

} // namespace

Protocol::Protocol(Tools::LogTracer *logTracer, QueueLoad &fromMain, QueueLoad &toMain,
                   LTProtocol::LTProto::Clock clock)
    : m_logTracer(logTracer), m_fromMain(fromMain), m_toMain(toMain), m_comProtocol(clock)
{
    m_comProtocol.LogTracer(logTracer);
}

Protocol::~Protocol()
{
    Stop();
    m_comProtocol.ClientDisconnect();
}

int Protocol::Init(const sHThreadMsgR &read, const sHThreadMsgW &write, eComType type, const char *device, u32 payload)
{
    if (type == eComType::UNDEFINED || type > eComType::UART_SUBSCRIBER)
        return 1;
    const bool opened = m_comProtocol.Init(m_wg, EVENT_FROM_PROTOCOL, EVENT_FROM_PROTOCOL_SERVER, type, device,
                                           payloadFor(type, payload));
    return opened ? JoinQueues(read, write) : 1;
}

int Protocol::Init(const sHThreadMsgR &read, const sHThreadMsgW &write, eComType type,
                   std::unique_ptr<tovi::ComDevice> openDevice, u32 payload)
{
    const bool joined = m_comProtocol.Init(m_wg, EVENT_FROM_PROTOCOL, EVENT_FROM_PROTOCOL_SERVER, type,
                                           std::move(openDevice), payloadFor(type, payload));
    return joined ? JoinQueues(read, write) : 1;
}

// 0, or 2 when a queue cannot be waited on.
int Protocol::JoinQueues(const sHThreadMsgR &read, const sHThreadMsgW &write)
{
    m_mqRead = read;
    m_mqWrite = write;
    if (read.uid.isInvalid() || write.uid.isInvalid() || !m_wg.addMsgQ(m_mqRead, EVENT_FROM_MQ) ||
        !m_wg.addEvent(m_toMain.RoomEvent(), EVENT_ROOM_TO_MAIN))
    {
        LogPrint("Protocol addMsgQ(EVENT_FORM_MQ) error");
        return 2;
    }
    m_threadRunning = true;
    return 0;
}

bool Protocol::Start()
{
    if (m_mqRead.uid.isInvalid() || m_mqWrite.uid.isInvalid() || !m_threadRunning || m_hThread != nullptr ||
        tovi::thread::create(&m_hThread, ThreadStart, this, STACK_SIZE_KB) != eThreadError::none)
    {
        LogPrint("ERR: failed to create a com thread");
        return false;
    }
    return true;
}

bool Protocol::Stop()
{
    m_threadRunning = false;
    if (m_hThread == nullptr)
        return false;
    tovi::thread::waitEnd(m_hThread);
    m_hThread = nullptr;
    return true;
}

i16 Protocol::ThreadStart(void *self)
{
    static_cast<Protocol *>(self)->Process();
    return 0;
}

// The thread, until Stop. First the machine is told again of the files that it may not have heard of. Then: 1. stop reading
// the client while the main thread is behind, or go on; 2. wait, but not while the main thread's queue was left half read;
// 3. one handler for each ready source, so at most one packet; 4. the messages left over from a turn that was cut short;
// 5. what the client link does unasked; 6. the engine's idle step when the client link was silent for long enough, whatever
// the main thread sends meanwhile; 7. a look whether the client is gone, whichever way the loop woke. The main thread's queue
// is always read on: no two stops ever wait for each other.
void Protocol::Process()
{
    for (const LTProtocol::LTProto::ReceivedFile &file : m_comProtocol.ReceiveFilesRestore())
        MqSend(eMqMessage::FILE_DATA, file.fileId, file.name.data(), static_cast<u32>(file.name.size()));
    while (m_threadRunning)
    {
        m_comProtocol.ReceivePause(m_toMain.MustStop());
        const bool leftOver = std::exchange(m_mqHasMore, false);
        const u8 n = m_wg.wait(leftOver ? 0 : std::min(m_comProtocol.IdleIn(), m_comProtocol.WaitingTimeout()));
        const platform::ConsoleTurn turn;
        for (u8 i = 0; i < n; ++i)
            HandleEvent(m_wg.getEventUserParamAsU32(i));
        if (leftOver)
            MqReceive();
        OwnStep();
        IdleStep();
        PeerCheck();
    }
}

// A value that waited for a file whose time is over leaves by itself; a lost main station is looked for again.
void Protocol::OwnStep()
{
    if (m_comProtocol.OnCycle() == eReceiveResult::ClientConnect)
        ConnectionState(true);
    ConnectionCheck();
}

void Protocol::IdleStep()
{
    if (m_comProtocol.IdleIn() != 0)
        return;
    LogPrint("Protocol::Process::Timeout");
    m_comProtocol.OnEventTimeout();
    if (m_comProtocol.ClientIsSilent())
    {
        m_comProtocol.ClientDisconnect();
        m_comProtocol.ReceiveFileAbort();
        ConnectionState(false);
    }
    ConnectionCheck();
}

void Protocol::PeerCheck()
{
    const u64 nowMSec = platform::getTimeNowMSec();
    if (nowMSec < m_peerCheckAtMSec)
        return;
    m_peerCheckAtMSec = nowMSec + PEER_CHECK_MSEC;
    if (m_comProtocol.PeerDropIfGone())
        ConnectionCheck();
}

void Protocol::HandleEvent(u32 userParam)
{
    switch (userParam)
    {
    case EVENT_FROM_PROTOCOL_SERVER: OnEventFromProtocolServer(); break;
    case EVENT_FROM_MQ:
        LogPrint("Protocol::Event from Mq");
        MqReceive(); // edge-triggered: what it leaves is not reported again
        break;
    case EVENT_FROM_PROTOCOL:
        LogPrint("Event from protocol");
        OnEventFromProtocol();
        break;
    case EVENT_ROOM_TO_MAIN: break; // the next cycle looks
    default: LogPrint("Protocol::Unknown event");
    }
    ConnectionCheck();
}

// ---- Link state.

bool Protocol::ConnectionState(bool up)
{
    if (up == m_isConnected)
        return false;
    m_isConnected = up;
    m_comProtocol.IsConnected(up);
    MqSend(eMqMessage::LINK_STATE, up ? 1 : 0);
    return true;
}

// A client can be lost during any send; the machine is told at once, and what the client was sending is given up.
void Protocol::ConnectionCheck()
{
    if (!m_comProtocol.DeviceHasPeer() && ConnectionState(false))
        m_comProtocol.ReceiveFileAbort();
}

// ---- From the client.

void Protocol::OnEventFromProtocolServer()
{
    LogPrint("EVENT_FROM_PROTOCOL_SERVER");
    // One that has closed is heard to its end, which is there, and does not stand in the way of its own return.
    while (m_comProtocol.PeerHasClosed())
        OnEventFromProtocol();
    if (m_comProtocol.OnReceiveServer() != eReceiveResult::ClientConnect)
        return;
    // A client that replaces another is seen as down, then up.
    ConnectionState(false);
    ConnectionState(true);
}

void Protocol::OnEventFromProtocol()
{
    Tools::MemoryBuffer buffer;
    const eReceiveResult result = m_comProtocol.OnReceive(buffer);
    ConnectionState(result != eReceiveResult::ClientDisconnect);
    switch (result)
    {
    case eReceiveResult::DataBuffer: DataBufferRelay(buffer); break;
    case eReceiveResult::FileReceive:
        if (buffer.m_len >= FILE_ID_LEN)
            MqSend(eMqMessage::FILE_DATA, buffer.FromMsbLsb(FILE_ID_LEN, 0), buffer.m_ptr.get() + FILE_ID_LEN,
                   buffer.m_len - FILE_ID_LEN);
        break;
    case eReceiveResult::FileRequest: MqSend(eMqMessage::FILE_REQ, buffer.FromMsbLsb(FILE_ID_LEN, 0)); break;
    case eReceiveResult::VarRequest:
    {
        const u32 varId = buffer.FromMsbLsb(ID_LEN, 0);
        LogPrint("Request var %u to VMD", varId);
        MqSend(eMqMessage::VARIABLE_REQ, varId);
        break;
    }
    default: break;
    }
}

// `buffer`: variable id (4) | data type (1) | value. Of types other than raw bytes and positive integers the value does
// not reach the machine: the record stays fresh.
void Protocol::DataBufferRelay(const Tools::MemoryBuffer &buffer)
{
    if (buffer.m_len < VALUE_OFFSET)
        return;
    const u32 id = buffer.FromMsbLsb(ID_LEN, 0);
    LTData record;
    switch (static_cast<eDataType>(buffer.m_ptr[ID_LEN]))
    {
    case eDataType::DATA_BUFFER:
        record.Set(eDataType::VARIABLE_ID, id, eDataType::DATA_BUFFER, buffer.m_len - VALUE_OFFSET,
                   buffer.m_ptr.get() + VALUE_OFFSET);
        break;
    case eDataType::INTEGER_POSITIVE:
        record.Set(eDataType::VARIABLE_ID, id, eDataType::INTEGER_POSITIVE, buffer.FromMsbLsb(4, VALUE_OFFSET), u8{0});
        break;
    default:
        m_comProtocol.Trace("Value of variable %u not relayed: type %u does not reach the machine", id,
                            unsigned{buffer.m_ptr[ID_LEN]});
        break;
    }
    LogPrint("Data buffer %u sended to VMD", id);
    Tools::MemoryBuffer encoded;
    record.Encode(encoded);
    MqSend(eMqMessage::VARIABLE_DATA, id, encoded.m_ptr.get(), encoded.m_len);
}

// ---- From the main thread.

void Protocol::MqReceive()
{
    tovi::thread::sMsg msg;
    for (u32 i = 0; i < MESSAGES_PER_TURN; ++i)
    {
        if (!m_fromMain.Pop(m_mqRead, &msg))
            return;
        LogPrint("MqReceive what %d, param32 %d len %d", msg.what, static_cast<int>(msg.paramU32),
                 static_cast<int>(msg.bufferSize));
        MqHandle(msg);
        tovi::thread::deleteMsg(msg);
        ConnectionCheck();
    }
    m_mqHasMore = true;
}

void Protocol::MqHandle(const tovi::thread::sMsg &msg)
{
    switch (static_cast<eMqMessage>(msg.what))
    {
    case eMqMessage::FILE_DATA:
    {
        const u16 fileId = static_cast<u16>(msg.paramU32);
        LogPrint("Receive file data %d filename len %d", fileId, static_cast<int>(msg.bufferSize));
        m_comProtocol.FileSend(fileId, 0, Tools::MemoryBuffer(msg.bufferSize, msg.buffer));
        break;
    }
    case eMqMessage::VARIABLE_DATA: VariableDataReceive(msg); break;
    case eMqMessage::LINK_STATE: MqSend(eMqMessage::LINK_STATE, m_isConnected ? 1 : 0); break;
    case eMqMessage::COMMAND: CommandReceive(static_cast<eMqCommand>(msg.paramU32)); break;
    // The machine's requests come as VARIABLE_DATA; what is posted as a request or a raw buffer never reaches the client.
    case eMqMessage::VARIABLE_REQ:
    case eMqMessage::FILE_REQ:
    case eMqMessage::DATABUFFER_RAW: break;
    }
}

void Protocol::VariableDataReceive(const tovi::thread::sMsg &msg)
{
    LTData record;
    if (msg.bufferSize == 0 || !record.Decode(msg.bufferSize, msg.buffer))
        return;
    LogPrint("Receive variable id %u (%08x), dataType %u dataLen %u", msg.paramU32, msg.paramU32,
             static_cast<unsigned>(record.m_dataType), record.m_dataBuffer.m_len);
    m_comProtocol.DataEnqueueOnTicket(eDataType::VARIABLE_ID, msg.paramU32, record.m_dataType, record.m_dataValue,
                                      record.m_dataDecPos, record.m_dataBuffer);
}

// Sets a switch; true when it was not so before.
bool Protocol::SwitchSet(bool &flag, bool on)
{
    const bool changed = flag != on;
    flag = on;
    return changed;
}

void Protocol::CommandReceive(eMqCommand command)
{
    switch (command)
    {
    case eMqCommand::LOG_CHANGE:
        LogChange();
        LogStateSend();
        break;
    case eMqCommand::LOG_ENABLE:
        if (!SwitchSet(m_logEnable, true))
            break;
        LogPrint("Log enable");
        LogStateSend();
        break;
    case eMqCommand::LOG_DISABLE:
        LogPrint("Log disable"); // silent when it is off already
        if (SwitchSet(m_logEnable, false))
            LogStateSend();
        break;
    case eMqCommand::LOG_WRITE_CHANGE: LogOnFileStateSend(); break; // nothing changes
    case eMqCommand::LOG_WRITE_ENABLE: m_comProtocol.TraceOnDisk(true); break;
    case eMqCommand::LOG_WRITE_DISABLE: m_comProtocol.TraceOnDisk(false); break;
    case eMqCommand::TRACE_CHANGE:
        m_traceEnable = !m_traceEnable;
        TraceStateSend();
        break;
    case eMqCommand::TRACE_ENABLE:
        if (SwitchSet(m_traceEnable, true))
            TraceStateSend();
        break;
    case eMqCommand::TRACE_DISABLE:
        if (SwitchSet(m_traceEnable, false))
            TraceStateSend();
        break;
    case eMqCommand::LIB_VERSION:
    {
        static constexpr char VERSION[] = "00.00.0000";
        MqSend(eMqMessage::COMMAND, static_cast<u32>(eMqCommand::LIB_VERSION), VERSION, sizeof VERSION - 1);
        break;
    }
    case eMqCommand::LOG_STATUS:
    case eMqCommand::TRACE_STATUS:
    case eMqCommand::TEMPORARY_PATH: break; // no answer
    }
}

// ---- To the main thread.

void Protocol::MqSend(eMqMessage what, u32 param, const void *bytes, u32 size)
{
    m_toMain.Push(m_mqWrite, what, param, bytes, size);
}

void Protocol::CommandSend(eMqCommand command)
{
    MqSend(eMqMessage::COMMAND, static_cast<u32>(command));
}

// The replies tell the tracer's state, not the thread's own switches.
bool Protocol::TracerIsOn() const
{
    return m_comProtocol.TraceOnDisk() || m_comProtocol.TraceOnConsole();
}

void Protocol::LogStateSend()
{
    CommandSend(TracerIsOn() ? eMqCommand::LOG_ENABLE : eMqCommand::LOG_DISABLE);
}

void Protocol::TraceStateSend()
{
    CommandSend(TracerIsOn() ? eMqCommand::TRACE_ENABLE : eMqCommand::TRACE_DISABLE);
}

void Protocol::LogOnFileStateSend()
{
    CommandSend(m_comProtocol.TraceOnDisk() ? eMqCommand::LOG_WRITE_ENABLE : eMqCommand::LOG_WRITE_DISABLE);
}

// ---- Log.

void Protocol::LogPrint(const char *format, ...)
{
    if (!m_logEnable || m_logTracer == nullptr)
        return;
    va_list args;
    va_start(args, format);
    m_logTracer->TraceVariableList(format, args);
    va_end(args);
}

void Protocol::LogChange()
{
    LogPrint("Log change to disable");
    m_logEnable = !m_logEnable;
    if (m_logEnable)
        LogPrint("Log change to enable");
}

} // namespace LT_Proto
