// Files on their way to the client. Only the head of the queue moves; each block waits for the peer's ready signal.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/toviByteOrder.h"

#include <utility>

namespace LTProtocol
{
namespace
{

constexpr u16 FILE_ID_NOT_SENDABLE = 65535; // the negotiation of a spontaneous file cannot express it

// An answer to a negotiation: asked block length (2) | granted block length (2).
constexpr u32 GRANTED_OFFSET = 2;
constexpr u32 NEGOTIATION_ANSWER_LEN = 4;

} // namespace

bool LTProto::FileSend(u16 fileId, u8 errCode, const Tools::MemoryBuffer &name)
{
    const TicketNr ticketId = TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, fileId);
    const std::string text = name.m_len != 0 ? std::string(name.m_ptr.get(), name.m_ptr.get() + name.m_len) : "";
    if (ticketId == TICKET_NONE && name.m_len == 0)
    {
        // There is nothing to delete, whatever the text says.
        Trace("Ticket not found, file delete");
        m_lateFiles.erase(fileId);
        return false;
    }
    if (ticketId == TICKET_NONE && LateFileTake(fileId))
    {
        FileToSend late(TICKET_SPONTANEOUS, eDataType::FILE_ID, fileId, m_payloadSize, name);
        const bool deleted = SentFileDelete(late);
        Trace("FileSend:: fileId=%d came too late for a client that left: %s %s", fileId, text.c_str(),
              deleted ? "deleted" : "kept");
        return false;
    }
    bool queued = false;
    if (ticketId != TICKET_NONE)
    {
        if (name.m_len == 0)
            Trace("FileSend:: ticket=%ul fileId=%d not found with errCode %d", ticketId, fileId, errCode);
        else
            Trace("FileSend:: ticket=%u fileId=%d name=%s", ticketId, fileId, text.c_str());
        queued = FileSend(ticketId, fileId, name);
        // The client finds out by asking for its ticket, and may ask for the file again.
        if (!queued)
            TicketRemove(ticketId);
    }
    else if (fileId != FILE_ID_NOT_SENDABLE)
    {
        Trace("FileSend:: spontaneous send fileId=%d name=%s", fileId, text.c_str());
        queued = FileSend(TICKET_SPONTANEOUS, fileId, name);
    }
    if (!queued)
        Trace("Error on FileSend");
    return queued;
}

// Whether a lost client asked for this file, not too long ago. True but once.
bool LTProto::LateFileTake(u16 fileId)
{
    const auto late = m_lateFiles.extract(fileId);
    return !late.empty() && m_clock() < late.mapped();
}

bool LTProto::FileSend(TicketNr ticketId, u16 fileId, const Tools::MemoryBuffer &name)
{
    const size_t before = m_sendQueueFile.size();
    if (before >= QUEUE_FILES_MAX)
        return false;
    m_sendQueueFile.emplace_back(ticketId, eDataType::FILE_ID, fileId, m_payloadSize, name);
    Trace("FileSend:: ticket=%d fileId=%d (element in queue %d -> %d)", static_cast<int>(ticketId), fileId,
          static_cast<int>(before), static_cast<int>(m_sendQueueFile.size()));
    return true;
}

bool LTProto::FileSend(TicketNr ticketId, u16 fileId, const Tools::StringUtf8 &name)
{
    return FileSend(ticketId, fileId, Tools::MemoryBuffer(name.m_len, name.m_ptr.get()));
}

// Sends the next block of the queue's head, no longer than `blockLen` when that is not 0. The head leaves the queue with
// its last block, and when it cannot go on.
bool LTProto::FileBlockSend(u16 blockLen)
{
    const FileQueue::iterator head = m_sendQueueFile.begin();
    Tools::MemoryBuffer payload = head->PacketFill(blockLen);
    if (payload.m_len == 0)
        return FileCannotBeSentOn();
    if (TraceIsOn())
        Trace("%s", head->ActualBlockSendingString().c_str());
    // After a failed write the queue is empty.
    if (!DataBlockSend(payload))
        return false;
    m_sentBlock.Sent(*head);
    if (head->IsFinished() && m_comType == eComType::UART_MAIN)
        m_sentBlock.KeepLast(std::move(payload));
    FileToSendIsEnded(head);
    return true;
}

// False.
bool LTProto::FileCannotBeSentOn()
{
    const FileQueue::iterator head = m_sendQueueFile.begin();
    Trace("FileSend:: fileId=%u aborted: %s cannot be sent on", head->m_dataValue, head->Name());
    m_sentBlock.Reset();
    FileToSendRemove(head);
    return false;
}

bool LTProto::FileToSendIsEnded(FileQueue::iterator file)
{
    if (!file->IsFinished())
        return false;
    TicketRemove(file->m_ticketId);
    m_sentBlock.KeepFile(std::move(*file));
    m_sendQueueFile.erase(file);
    return true;
}

void LTProto::FileToSendRemove(FileQueue::iterator file)
{
    TicketRemove(file->m_ticketId);
    m_sendQueueFile.erase(file);
}

// The client did not want the block even after its resends: its file is given up. One whose last block was sent has left
// the queue and stays on disk.
void LTProto::FileSendGiveUp()
{
    if (m_sentBlock.IsLast())
        Trace("FileSend:: the last block was refused");
    m_sentBlock.Reset();
    if (m_sendQueueFile.empty() || m_sendQueueFile.front().m_packetNr == BLOCK_NR_NEGOTIATION)
        return;
    SentFileDelete(m_sendQueueFile.front());
    FileToSendRemove(m_sendQueueFile.begin());
    Trace("Sending file abort");
}

// Nobody's word deletes what is the bridge's own; false then.
bool LTProto::SentFileDelete(FileToSend &file)
{
    const bool isOwn = IsOwnFile(file.Name());
    file.Abort(!isOwn);
    return !isOwn;
}

// ---- Blocks that the line swallowed.

// Sends the block `nr` once more and goes on from there; the file comes back into the queue when it had left.
bool LTProto::BlockSendAgain(u32 nr)
{
    if (nr == m_sentBlock.Nr() && m_sentBlock.LastPayload().m_len != 0)
    {
        if (!DataBlockSend(m_sentBlock.LastPayload()))
            return false;
        m_sentBlock.SentAgain();
        return true;
    }
    if (std::optional<FileToSend> file = m_sentBlock.TakeFile())
        m_sendQueueFile.push_front(std::move(*file));
    return m_sendQueueFile.front().Rewind(nr) ? FileBlockSend(0) : FileCannotBeSentOn();
}

// NACK 4 came: the client misses a block, or has the whole file. False when neither is known.
bool LTProto::BlockRejected()
{
    switch (m_sentBlock.Rejected())
    {
    case SentBlock::eRejected::STEP_BACK: return BlockSendAgain(m_sentBlock.Nr() - 1);
    case SentBlock::eRejected::COMPLETE: m_resending.settle(); return true;
    case SentBlock::eRejected::NOT_IN_DOUBT: break;
    }
    return false;
}

// Whether a second answer to the negotiation says that the first block did not come. One that grants less than that block
// has cannot have brought it.
bool LTProto::FirstBlockAskedAgain(u16 granted) const
{
    if (!m_sentBlock.IsDisplaced() || m_sentBlock.Nr() != BLOCK_NR_NEGOTIATION + 1)
        return false;
    const u32 lastLen = m_sentBlock.LastPayload().m_len;
    const u32 len = lastLen != 0 ? lastLen - BLOCK_NR_LEN : m_sendQueueFile.front().m_blockLen;
    return granted == 0 || granted >= len;
}

// The client granted a block length: the first block goes out.
void LTProto::NegotiationAnswerReceive(const u8 *data, u32 len)
{
    const u16 granted = len >= NEGOTIATION_ANSWER_LEN ? tovi::utils::readMsbLsbU16(data + GRANTED_OFFSET) : u16{0};
    if (FirstBlockAskedAgain(granted))
    {
        m_sentBlock.AskedAgain();
        BlockSendAgain(m_sentBlock.Nr());
        return;
    }
    if (m_sendQueueFile.empty() || m_sendQueueFile.front().m_packetNr != BLOCK_NR_NEGOTIATION + 1)
    {
        CommandSend(eCommandCode::NACK, NACK_NOTHING_ASKED);
        return;
    }
    m_sentBlock.NegotiationAnswered();
    FileBlockSend(granted);
}

} // namespace LTProtocol
