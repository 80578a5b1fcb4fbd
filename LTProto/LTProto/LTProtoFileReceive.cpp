// Files on their way from the client: negotiation, blocks, abort.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>

namespace LTProtocol
{
namespace
{

// A negotiation: block length asked for (2) | kind (1) | file id (2) or ticket (4). What is shorter is an answer.
constexpr u32 NEGOTIATION_LEN_MIN = 5;
constexpr u32 KIND_OFFSET = 2;
constexpr u32 ID_OFFSET = KIND_OFFSET + 1;
constexpr u32 NEGOTIATION_TICKET_LEN = ID_OFFSET + sizeof(TicketNr);
constexpr TicketNr TICKET_END = 0xFFFFFFFD; // tickets of receptions are below
constexpr u32 FILE_ID_END = 0x10000;

constexpr u64 NEXT_BLOCK_MSEC = 10000;

} // namespace

// `payload` is what the caller is to act on; the block may stand in it.
eReceiveResult LTProto::BlockReceive(const u8 *block, u32 blockLen, Tools::MemoryBuffer &payload)
{
    if (blockLen < BLOCK_NR_LEN)
        return eReceiveResult::Unknown;
    const u32 blockNr = u32{block[0]} << 16 | tovi::utils::readMsbLsbU16(block + 1);
    const u8 *data = block + BLOCK_NR_LEN;
    const u32 len = blockLen - BLOCK_NR_LEN;
    if (blockNr != BLOCK_NR_NEGOTIATION)
        return DataBlockReceive(blockNr, data, len, payload);
    if (len < NEGOTIATION_LEN_MIN)
        NegotiationAnswerReceive(data, len);
    else if (DataBlockReceiveNegotiation(data, len) == 0 && m_fileReceive)
        TicketRemove(m_fileReceive->m_ticketId);
    return eReceiveResult::InternalProcessed;
}

// The file that a negotiation names, 0 for none; `ticketId` becomes the ticket it goes under.
u32 LTProto::NegotiatedFile(const u8 *data, u32 len, TicketNr &ticketId) const
{
    const eDataType kind = static_cast<eDataType>(data[KIND_OFFSET]);
    if (kind == eDataType::FILE_ID)
    {
        ticketId = TICKET_SPONTANEOUS;
        return tovi::utils::readMsbLsbU16(data + ID_OFFSET);
    }
    if (kind != eDataType::TICKET_ID || len < NEGOTIATION_TICKET_LEN)
        return 0;
    ticketId = tovi::utils::readMsbLsbU32(data + ID_OFFSET);
    const Ticket *ticket = m_ticketList.Find(ticketId, eTicketType::FROM_PROTOCOL, eDataType::FILE_ID);
    const bool usable = ticketId < TICKET_END && ticket != nullptr && ticket->m_dataValue < FILE_ID_END;
    return usable ? ticket->m_dataValue : 0;
}

// Returns the file id of the reception that was asked for, 0 when it is refused.
u32 LTProto::DataBlockReceiveNegotiation(const u8 *data, u32 len)
{
    const u16 asked = tovi::utils::readMsbLsbU16(data);
    TicketNr ticketId = TICKET_NONE;
    const u32 fileId = NegotiatedFile(data, len, ticketId);
    if (fileId == 0 || asked == 0)
    {
        Trace("File negotiation refused");
        CommandSend(eCommandCode::NACK, NACK_FILE_ERROR);
        return 0;
    }
    if (ticketId == TICKET_SPONTANEOUS)
        FileRequestAnswered(fileId);
    const Tools::StringUtf8 name = ReceiveFileNameGenerate(fileId);
    const u32 fileNum = name.m_len != 0 ? m_fileReceiveList.Newest().m_fileName : 0;
    ReceiveFileAbort();
    const u16 granted = std::min({asked, m_payloadSize, BLOCK_LEN_MAX});
    m_fileReceive.emplace(ticketId, eDataType::FILE_ID, fileId, granted, name);
    m_fileReceive->m_fileNum = fileNum;
    if (name.m_len == 0 || !m_fileReceive->ReceiveInit())
    {
        Trace("File id %u cannot be received: no file in %s", fileId, m_fileReceivePath.ToStdString().c_str());
        ReceiveFileAbort();
        CommandSend(eCommandCode::NACK, NACK_FILE_ERROR);
        return fileId;
    }
    ReceiveFileSetTimeout();
    u8 answer[BLOCK_NR_LEN + sizeof asked + sizeof granted] = {};
    tovi::utils::writeMsbLsbU16(answer + BLOCK_NR_LEN, asked);
    tovi::utils::writeMsbLsbU16(answer + BLOCK_NR_LEN + sizeof asked, granted);
    ProtocolSend(eCommandType::DATABLOCK, answer, sizeof answer);
    return fileId;
}

// The bridge's own request for this file, when it is the next to be sent, is answered by the negotiation.
void LTProto::FileRequestAnswered(u32 fileId)
{
    if (m_sendQueuePacket.IsEmpty())
        return;
    const PacketToSend &head = m_sendQueuePacket.Head();
    if (head.m_command != eCommandType::REQUEST || head.m_dataType != eDataType::FILE_ID || head.m_dataValue != fileId)
        return;
    TicketRemove(head.m_ticketId);
    m_sendQueuePacket.RemoveHead();
}

// A result of ReceiveDataBlock. The last block is accepted when data, entry and mark of the file are on the disk; when they
// cannot be had there, the reception is over.
int LTProto::DataBlockWrite(u32 blockNr, const u8 *data, u32 len)
{
    if (!m_fileReceive)
        return FileToSend::BLOCK_ERROR_ORDER;
    const int result = m_fileReceive->ReceiveDataBlock(blockNr, data, len);
    const bool isComplete = result == FileToSend::BLOCK_COMPLETE;
    if (result != FileToSend::BLOCK_FILE_LOST && (!isComplete || FileMarkAsUntold(m_fileReceive->Name())))
        return result;
    Trace("File id %u cannot be kept: %s is not on the disk", m_fileReceive->m_dataValue, m_fileReceive->Name());
    ReceiveFileAbort();
    return FileToSend::BLOCK_ERROR_WRITE;
}

eReceiveResult LTProto::DataBlockReceive(u32 blockNr, const u8 *data, u32 len, Tools::MemoryBuffer &payload)
{
    const int result = DataBlockWrite(blockNr, data, len);
    if (result == FileToSend::BLOCK_ACCEPTED || result == FileToSend::BLOCK_COMPLETE)
    {
        ReceiveFileSetTimeout();
        CommandSend(eCommandCode::ACK, 0);
    }
    else
        CommandSend(eCommandCode::NACK, static_cast<u16>(result));
    if (!m_fileReceive)
        return eReceiveResult::InternalProcessed;
    if (result != FileToSend::BLOCK_COMPLETE)
        return eReceiveResult::Unknown;
    const std::string name = m_fileReceive->Name();
    Trace("File id %d receive complete. Forwarding with name %s", static_cast<int>(m_fileReceive->m_dataValue),
          name.c_str());
    payload.ToMsbLsb(m_fileReceive->m_dataValue, sizeof(u16));
    payload.Add(name);
    TicketRemove(m_fileReceive->m_ticketId);
    m_fileReceive.reset();
    return eReceiveResult::FileReceive;
}

void LTProto::ReceiveFileSetTimeout()
{
    m_fileReceiveNextPacketTimeout = m_clock() + NEXT_BLOCK_MSEC;
}

bool LTProto::ReceiveFileIsRunning() const
{
    return m_fileReceive && m_clock() <= m_fileReceiveNextPacketTimeout;
}

// Whether the last packet granted the file that comes in, and no block came since.
bool LTProto::GrantIsLast() const
{
    static constexpr u8 GRANT[] = {static_cast<u8>(eCommandType::DATABLOCK), 0, 0, 0}; // type, block number
    return m_fileReceive && m_sndBufferLen >= PACKET_HEADER_LEN + BLOCK_NR_LEN &&
           std::equal(std::begin(GRANT), std::end(GRANT), m_sndBuffer.get() + PACKET_HEADER_LEN - 1);
}

bool LTProto::ReceiveFileAbort()
{
    if (!m_fileReceive)
        return false;
    const std::string name = m_fileReceive->Name();
    m_fileReceive->FileRemove(true);
    for (const eFileMark mark : FILE_MARKS)
        FileMarkRemove(name, mark); // after the file, which must not be without it
    m_fileReceiveList.Remove(m_fileReceive->m_fileNum);
    m_fileReceive.reset();
    ReceiveFileIndexSave();
    return true;
}

} // namespace LTProtocol
