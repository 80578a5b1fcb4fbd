// Packets of the engine: building and sending, gathering and checking, dispatch, and their trace.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <cstring>

namespace LTProtocol
{
namespace
{

constexpr u32 LENGTH_OFFSET = 1;
constexpr u32 TYPE_OFFSET = 3;
constexpr u32 FIRST_READ_MIN = 3; // start mark and length
constexpr size_t DEVICE_READ_MAX = 65535;
constexpr u32 NACK_LEN = 3; // code, error code
constexpr u32 SERIAL_SETTLE_MSEC = 2;
constexpr u64 PACKET_STOPPED_MSEC = 10000; // on TCP, from one byte to the next; sending does not count

} // namespace

void NumberToBufferMsbLsb(u8 *dst, u32 value, u32 len)
{
    for (u32 i = len; i > 0; --i)
    {
        dst[i - 1] = static_cast<u8>(value);
        value >>= 8;
    }
}

void LTProto::NumberToBufferMsbLsb(u32 value, u8 *dst, u32 len) const
{
    LTProtocol::NumberToBufferMsbLsb(dst, value, len);
}

bool LTProto::ToBuffer(u32 value, u8 *dst, u32 size) const
{
    if (size < sizeof value)
        return false;
    tovi::utils::writeMsbLsbU32(dst, value);
    return true;
}

bool LTProto::ToBuffer(u16 value, u8 *dst, u32 size) const
{
    if (size < sizeof value)
        return false;
    tovi::utils::writeMsbLsbU16(dst, value);
    return true;
}

// ---- Sending.

bool LTProto::ProtocolSend(eCommandType type, const void *data, u32 len)
{
    return PacketSend(type, data, len, nullptr, 0);
}

// As ProtocolSend, the payload being `head` followed by `body`.
bool LTProto::PacketSend(eCommandType type, const void *head, u32 headLen, const void *body, u32 bodyLen)
{
    const u64 payloadLen = u64{headLen} + bodyLen;
    if (payloadLen > PACKET_PAYLOAD_MAX)
    {
        Trace("Packet refused: payload of %llu bytes", static_cast<unsigned long long>(payloadLen));
        return false;
    }
    const u32 lengthField = PACKET_HEADER_LEN + static_cast<u32>(payloadLen);
    u8 *packet = SendBufferOfSize(lengthField + PACKET_CRC_LEN);
    packet[0] = PACKET_START_MARK;
    tovi::utils::writeMsbLsbU16(packet + LENGTH_OFFSET, static_cast<u16>(lengthField));
    packet[TYPE_OFFSET] = static_cast<u8>(type);
    if (headLen != 0)
        std::memcpy(packet + PACKET_HEADER_LEN, head, headLen);
    if (bodyLen != 0)
        std::memcpy(packet + PACKET_HEADER_LEN + headLen, body, bodyLen);
    tovi::utils::writeMsbLsbU16(packet + lengthField, m_comDevice->Crc16(packet, lengthField));

    if (!SendBufferWrite())
        return false;
    if (TraceIsOn())
        m_logTracer->TraceHex("Protocol Send (len=" + std::to_string(m_sndBufferLen) + "): ", packet,
                              static_cast<u32>(m_sndBufferLen), ' ');
    // A reply is always gathered from the start of the buffer.
    m_rcvPos = 0;
    m_rcvNextPos = m_rcvBuffer.get();
    // Over TCP a command is not asked for again.
    if (IsSocket() && type == eCommandType::CMD)
        m_resending.settle();
    else
        m_resending.begin();
    // A main station's client answers these by an ACK as well; over TCP no block is lost.
    const bool isPolling =
        type == eCommandType::CMD && packet[PACKET_HEADER_LEN] == static_cast<u8>(eCommandCode::POLLING);
    m_sentBlock.Overwritten(m_comType == eComType::UART_MAIN && (isPolling || type == eCommandType::DATA));
    return true;
}

// The send buffer for a packet of `size` bytes; it only grows.
u8 *LTProto::SendBufferOfSize(size_t size)
{
    if (size > m_sndBufferLenMax)
    {
        m_sndBuffer.reset(new u8[size]);
        m_sndBufferLenMax = size;
    }
    m_sndBufferLen = size;
    return m_sndBuffer.get();
}

bool LTProto::SendBufferWrite()
{
    const bool sent = m_comDevice->Send(static_cast<u32>(m_sndBufferLen), m_sndBuffer.get());
    m_hasSent = true;
    IdleRestart();
    if (sent)
        return true;
    Trace("Unable to send. Connection is close.");
    ClientDisconnect();
    return false;
}

bool LTProto::CommandSend(eCommandCode code, u16 errCode)
{
    u8 payload[1 + sizeof errCode] = {static_cast<u8>(code)};
    tovi::utils::writeMsbLsbU16(payload + 1, errCode);
    return ProtocolSend(eCommandType::CMD, payload, code == eCommandCode::NACK ? sizeof payload : 1);
}

bool LTProto::RequestSend(const Tools::MemoryBuffer &payload)
{
    return ProtocolSend(eCommandType::REQUEST, payload.m_ptr.get(), payload.m_len);
}

bool LTProto::DataBlockSend(const Tools::MemoryBuffer &payload)
{
    return ProtocolSend(eCommandType::DATABLOCK, payload.m_ptr.get(), payload.m_len);
}

// ---- Gathering.

void LTProto::ReceiveBufferReset()
{
    m_rcvPos = 0;
    m_rcvNextPos = m_rcvBuffer.get();
}

// What is left of earlier packets behind the first `kept` bytes becomes zeros.
void LTProto::ReceiveBufferClear(size_t kept)
{
    std::memset(m_rcvBuffer.get() + kept, 0, m_rcvLen - kept);
}

void LTProto::ReceivePause(bool paused)
{
    const bool peerPaused = paused && m_rcvPos == 0 && !ReceiveFileIsRunning();
    m_comDevice->ReceivePause(peerPaused, paused);
    if (m_receivePaused == peerPaused)
        return;
    m_receivePaused = peerPaused;
    m_pollUnanswered = false;
    IdleRestart();
}

eReceiveResult LTProto::OnReceive(Tools::MemoryBuffer &payload)
{
    m_hasSent = false;
    const eReceiveResult result = Gather(payload);
    // A client that leaves Nagle's algorithm on holds its next packet back until then.
    if (!m_hasSent)
        m_comDevice->AcknowledgeNow();
    return result;
}

void LTProto::PeerClosed()
{
    Trace("Client disconnected on receive");
    ClientDisconnect();
    ReceiveFileAbort();
    ReceiveBufferReset();
    IdleRestart();
}

bool LTProto::PeerDropIfGone()
{
    if (m_comDevice == nullptr || !m_comDevice->PeerIsGone())
        return false;
    Trace("Client vanished: its system does not answer");
    m_comDevice->Close();
    PeerClosed();
    return true;
}

eReceiveResult LTProto::Gather(Tools::MemoryBuffer &payload)
{
    // On a serial line the idle step does this, much earlier.
    if (IsSocket() && m_rcvPos > 0 && m_clock() > m_rcvLastMSec + PACKET_STOPPED_MSEC)
    {
        Trace("Packet stopped half way: %u bytes dropped", static_cast<unsigned>(m_rcvPos));
        ReceiveBufferReset();
    }
    const size_t wanted = std::min(m_rcvLen - m_rcvPos, DEVICE_READ_MAX);
    int count = m_comDevice->Receive(static_cast<u32>(wanted), m_rcvNextPos);
    if (count == tovi::ComDevice::RECEIVE_NOT_A_SERVER)
    {
        Trace("Client connected");
        return eReceiveResult::ClientConnect;
    }
    if (count == tovi::ComDevice::RECEIVE_PEER_CLOSED)
    {
        PeerClosed();
        return eReceiveResult::ClientDisconnect;
    }
    if (count <= 0)
        return eReceiveResult::Unknown;
    IdleRestart();
    m_rcvLastMSec = m_clock();
    m_pollUnanswered = false;
    if (m_rcvPos == 0)
        StartMarkFind(count);
    m_rcvPos += static_cast<size_t>(count);
    // With fewer than 3 bytes the next read lands at the same place: the first read must bring at least 3.
    if (m_rcvPos < FIRST_READ_MIN)
    {
        ReceiveBufferClear(m_rcvPos);
        return eReceiveResult::InternalProcessed;
    }

    const u32 lengthField = tovi::utils::readMsbLsbU16(m_rcvBuffer.get() + LENGTH_OFFSET);
    const bool possible = lengthField >= PACKET_HEADER_LEN && lengthField + PACKET_CRC_LEN <= m_rcvLen;
    if (possible && m_rcvPos < lengthField + PACKET_CRC_LEN)
    {
        m_rcvNextPos = m_rcvBuffer.get() + m_rcvPos;
        return eReceiveResult::InternalProcessed;
    }
    const eReceiveResult result = PacketCheck(possible ? lengthField : 0, payload);
    // What followed the packet in the same read is dropped with it.
    ReceiveBufferReset();
    return result;
}

// Moves the first start mark among the `count` bytes just read to the front and lowers `count` by what stood before it.
void LTProto::StartMarkFind(int &count)
{
    u8 *buffer = m_rcvBuffer.get();
    u8 *end = buffer + count;
    u8 *mark = std::find(buffer, end, PACKET_START_MARK);
    if (mark == end)
    {
        // The bytes are lost but go on counting, as zeros: the length they give is refused.
        ReceiveBufferClear(0);
        return;
    }
    std::move(mark, end, buffer);
    count -= static_cast<int>(mark - buffer);
}

// Handles the packet held, of length field `len`; 0 stands for a length that no packet can have.
eReceiveResult LTProto::PacketCheck(u32 len, Tools::MemoryBuffer &payload)
{
    const u8 *packet = m_rcvBuffer.get();
    if (len == 0 || m_comDevice->Crc16(packet, len) != tovi::utils::readMsbLsbU16(packet + len))
    {
        CommandSend(eCommandCode::NACK, NACK_CRC);
        return eReceiveResult::InternalProcessed;
    }
    PacketDump("Recv:", packet, static_cast<u32>(m_rcvPos), m_packetTraceBytesLen);
    if (IsSerial())
        platform::sleepMSec(SERIAL_SETTLE_MSEC);
    const u8 *content = packet + PACKET_HEADER_LEN;
    const u32 contentLen = len - PACKET_HEADER_LEN;
    const u8 type = packet[TYPE_OFFSET];
    // A block goes from here into its file, without a copy.
    if (static_cast<eCommandType>(type) == eCommandType::DATABLOCK)
        return BlockReceive(content, contentLen, payload);
    payload.Set(contentLen, content);
    return ProtocolReceive(type, payload);
}

// ---- Dispatch.

eReceiveResult LTProto::ProtocolReceive(u8 type, Tools::MemoryBuffer &payload)
{
    if (static_cast<eCommandType>(type) == eCommandType::DATABLOCK)
        return BlockReceive(payload.m_ptr.get(), payload.m_len, payload);
    // Whatever is no block ends the file that comes in.
    const TicketNr abortedTicket = m_fileReceive ? m_fileReceive->m_ticketId : TICKET_NONE;
    ReceiveFileAbort();
    switch (static_cast<eCommandType>(type))
    {
    case eCommandType::CMD: return CommandReceive(payload, abortedTicket);
    case eCommandType::REQUEST: return RequestReceive(payload);
    case eCommandType::DATA: return DataReceive(payload);
    case eCommandType::DATABLOCK:
    case eCommandType::UNDEFINED: break;
    }
    return eReceiveResult::Unknown;
}

// `abortedTicket`: of the file reception that this packet ended, else TICKET_NONE.
eReceiveResult LTProto::CommandReceive(const Tools::MemoryBuffer &payload, TicketNr abortedTicket)
{
    if (payload.m_len == 0)
        return eReceiveResult::Unknown;
    switch (static_cast<eCommandCode>(payload.m_ptr[0]))
    {
    case eCommandCode::POLLING:
    case eCommandCode::ACK: return PeerReady();
    case eCommandCode::NACK:
        return NackReceive(payload.m_len >= NACK_LEN ? tovi::utils::readMsbLsbU16(payload.m_ptr.get() + 1) : u16{0},
                           abortedTicket);
    }
    return eReceiveResult::InternalProcessed;
}

// The peer is ready for the next packet; without one the role decides how the link is kept alive.
eReceiveResult LTProto::PeerReady()
{
    if (m_sentBlock.Ready() && BlockSendAgain(m_sentBlock.Nr()))
        return eReceiveResult::InternalProcessed;
    if (CheckPacketToSend(false, true) || (!m_sendQueueFile.empty() && FileBlockSend(0)))
        return eReceiveResult::InternalProcessed;
    switch (m_comType)
    {
    case eComType::UART_SUBSCRIBER: CommandSend(eCommandCode::ACK, 0); break;
    case eComType::UART_MAIN: CommandSend(eCommandCode::POLLING, 0); break;
    default: m_resending.settle(); break;
    }
    return eReceiveResult::InternalProcessed;
}

// The last packet goes out again as it is, a few times. Then a file is given up, but only when that packet was its block:
// a NACK for anything else says nothing about the file.
eReceiveResult LTProto::NackReceive(u16 errCode, TicketNr abortedTicket)
{
    if (errCode == NACK_BLOCK_REJECTED && BlockRejected())
        return eReceiveResult::InternalProcessed;
    if (m_resending.mayBeResent())
    {
        if (SendBufferWrite())
            m_resending.resend();
    }
    else if (abortedTicket != TICKET_NONE)
    {
        TicketRemove(abortedTicket);
        Trace("Receiving file abort");
    }
    else if (m_sentBlock.AwaitsAnswer())
        FileSendGiveUp();
    return eReceiveResult::InternalProcessed;
}

// ---- Trace.

void LTProto::PacketDump(const char *label, const u8 *data, u32 len, u32 maxBytes)
{
    if (!TraceIsOn())
        return;
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    const u32 shown = maxBytes != 0 ? std::min(len, maxBytes) : len;
    std::string line = IsMain() ? " M " : " S ";
    line += label != nullptr ? label : "Packet: ";
    line += "(len=" + std::to_string(len) + ")";
    for (u32 i = 0; i < shown; ++i)
    {
        line += ' ';
        line += DIGITS[data[i] >> 4];
        line += DIGITS[data[i] & 0xF];
    }
    Trace("%s", line.c_str());
}

} // namespace LTProtocol
