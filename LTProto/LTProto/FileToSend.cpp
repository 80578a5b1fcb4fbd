#include "LTProto/LTProto/FileToSend.h"

#include "LTProto/Tools/PrintfText.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <cstring>

namespace LTProtocol
{
namespace
{

constexpr u32 FILE_ID_MAX = 65534; // the highest that FILE_ID is kept for
constexpr u64 WRITE_OUT_LEN = 1024 * 1024;

eDataType keptType(eDataType dataType, u32 value)
{
    const bool kept = dataType == eDataType::TICKET_ID || dataType == eDataType::DATA_BUFFER ||
                      (dataType == eDataType::FILE_ID && value <= FILE_ID_MAX);
    return kept ? dataType : eDataType::UNDEFINED;
}

Tools::MemoryBuffer bytesOf(const Tools::StringUtf8 &text)
{
    return Tools::MemoryBuffer(text.m_len, text.m_ptr.get());
}

} // namespace

FileToSend::FileToSend(TicketNr ticketId, eDataType dataType, u32 value, u16 blockLen, const Tools::MemoryBuffer &name)
    : m_ticketId(ticketId), m_dataType(keptType(dataType, value)), m_dataValue(value),
      m_blockLen(std::clamp<u16>(blockLen, 1, BLOCK_LEN_MAX)), m_buffer(name)
{
    if (m_buffer.m_len != 0)
        m_buffer.Add(1, "");
}

FileToSend::FileToSend(TicketNr ticketId, eDataType dataType, u32 value, u16 blockLen, const Tools::StringUtf8 &name)
    : FileToSend(ticketId, dataType, value, blockLen, bytesOf(name))
{
}

bool FileToSend::IsFile() const
{
    return m_dataType == eDataType::FILE_ID || m_dataType == eDataType::UNDEFINED;
}

const char *FileToSend::Name() const
{
    return IsFile() && m_buffer.m_len != 0 ? reinterpret_cast<const char *>(m_buffer.m_ptr.get()) : "";
}

// ---- Sending.

Tools::MemoryBuffer FileToSend::PacketFill(u16 blockLen)
{
    if (blockLen != 0)
        m_blockLen = std::min(blockLen, m_blockLen);
    if (m_packetNr == BLOCK_NR_NEGOTIATION)
        return NegotiationFill();
    Tools::MemoryBuffer payload(BLOCK_NR_LEN + u32{m_blockLen}, nullptr);
    const i64 count = IsFinished() ? -1 : BlockRead(payload.m_ptr.get() + BLOCK_NR_LEN);
    const bool last = count < m_blockLen;
    if (count < 0 || (!last && m_packetNr + 1 == BLOCK_NR_LAST))
        return {};
    NumberToBufferMsbLsb(payload.m_ptr.get(), last ? BLOCK_NR_LAST : m_packetNr, BLOCK_NR_LEN);
    payload.SizeReduce(m_blockLen - static_cast<u32>(count));
    m_byteCount += static_cast<u64>(count);
    m_packetCount = last ? m_packetCount + 1 : m_packetNr;
    m_packetNr = last ? BLOCK_NR_LAST : m_packetNr + 1;
    m_packetMax = BlocksExpected();
    return payload;
}

Tools::MemoryBuffer FileToSend::NegotiationFill()
{
    m_tmStart.Now();
    m_byteCount = 0;
    m_packetCount = 0;
    if (!m_file.isOpen())
        FileOpen();
    m_packetMax = BlocksExpected();
    Tools::MemoryBuffer payload;
    payload.AddMsbLsb(BLOCK_NR_NEGOTIATION, BLOCK_NR_LEN);
    payload.AddMsbLsb(m_blockLen, sizeof m_blockLen);
    const bool ticketed = m_ticketId < TICKET_SPONTANEOUS;
    payload.AddMsbLsb(static_cast<u32>(ticketed ? eDataType::TICKET_ID : m_dataType), 1);
    if (ticketed)
        payload.AddMsbLsb(m_ticketId, sizeof m_ticketId);
    else
        payload.AddMsbLsb(m_dataValue, m_dataType == eDataType::FILE_ID ? sizeof(u16) : sizeof(u32));
    m_packetNr = BLOCK_NR_NEGOTIATION + 1;
    return payload;
}

// A file that does not open is sent as an empty one.
void FileToSend::FileOpen()
{
    if (IsFile())
    {
        m_file = platform::file_openForRead(Name());
        if (!m_file.isOpen() || !platform::file_size(m_file, &m_size))
        {
            m_file.close();
            m_buffer.Clear();
        }
    }
    if (!m_file.isOpen())
        m_size = m_buffer.m_len;
}

u32 FileToSend::BlocksExpected() const
{
    return static_cast<u32>(std::min<u64>(m_size / m_blockLen + 1, BLOCK_NR_LAST));
}

// At most one block; -1 when the file cannot be read on.
i64 FileToSend::BlockRead(u8 *out)
{
    if (m_file.isOpen())
        return platform::file_read(m_file, out, m_blockLen);
    return m_buffer.Extract(out, static_cast<u32>(m_byteCount), m_blockLen);
}

bool FileToSend::Rewind(u32 nr)
{
    const u32 before = nr - std::min(nr, 1u);
    m_packetNr = nr;
    m_packetCount = before;
    m_byteCount = u64{before} * m_blockLen;
    return !m_file.isOpen() || platform::file_goTo(m_file, m_byteCount);
}

std::string FileToSend::ActualBlockSendingString() const
{
    return Tools::PrintfToString("FileSend:: fileId=%u block %llu of %u, %llu bytes sended%s", m_dataValue,
                                 static_cast<unsigned long long>(m_packetCount), m_packetMax,
                                 static_cast<unsigned long long>(m_byteCount), IsFinished() ? ", last" : "");
}

bool FileToSend::Abort(bool deleteFile)
{
    FileRemove(deleteFile);
    return true;
}

// ---- Receiving.

bool FileToSend::ReceiveInit()
{
    m_file = platform::file_create(Name());
    m_tmStart.Now();
    m_byteCount = 0;
    m_packetCount = 0;
    return m_file.isOpen();
}

int FileToSend::ReceiveDataBlock(u32 blockNr, const void *data, u32 len)
{
    if (!m_file.isOpen())
        return BLOCK_ERROR_NOT_OPEN;
    const bool last = blockNr == BLOCK_NR_LAST;
    if (!last && blockNr == m_packetNr)
        return BLOCK_ACCEPTED;
    if (!last && blockNr != m_packetNr + 1)
        return BLOCK_ERROR_ORDER;
    if (!platform::file_write(m_file, data, len))
    {
        if (!platform::file_cutBack(m_file, m_byteCount))
            m_file.close(); // the block that is sent again would stand behind a part of itself
        return BLOCK_ERROR_WRITE;
    }
    if (last && !FlushAndClose())
        return BLOCK_FILE_LOST;
    m_byteCount += len;
    ++m_packetCount;
    m_packetNr = blockNr;
    if (!last)
        WriteOutBegin();
    return last ? BLOCK_COMPLETE : BLOCK_ACCEPTED;
}

// A second flush after one that failed would report nothing of what was lost.
bool FileToSend::FlushAndClose()
{
    const bool flushed = platform::file_flush(m_file);
    return m_file.close() && flushed;
}

// So that the flush at the end has little left to wait for.
void FileToSend::WriteOutBegin()
{
    const u64 waiting = m_byteCount - m_writeOutBegun;
    if (waiting < WRITE_OUT_LEN)
        return;
    platform::file_beginWriteOut(m_file, m_writeOutBegun, waiting);
    m_writeOutBegun = m_byteCount;
}

bool FileToSend::FileRemove(bool deleteFile)
{
    m_file.close();
    return deleteFile && platform::file_delete(Name());
}

} // namespace LTProtocol
