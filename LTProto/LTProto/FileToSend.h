// LTProtocol::FileToSend: one file on its way over the client link, out of the bridge or into it.
//
// DATABLOCK payload: block number (3, most significant byte first) | data
//   0              negotiation, see PacketFill and the engine's DataBlockReceiveNegotiation
//   1, 2, 3 ...    data blocks of the granted length
//   0xFFFFFF       the last block: what is left, which may be nothing
#pragma once

#include "LTProto/LTProto/WireFormat.h"
#include "LTProto/Tools/DateTime.h"
#include "LTProto/Tools/MemoryBuffer.h"
#include "LTProto/Tools/StringUtf8.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <string>

namespace LTProtocol
{

constexpr u32 BLOCK_NR_LEN = 3;
constexpr u32 BLOCK_NR_NEGOTIATION = 0;
constexpr u32 BLOCK_NR_LAST = 0xFFFFFF;
constexpr u16 BLOCK_LEN_MAX = PACKET_PAYLOAD_MAX - BLOCK_NR_LEN; // 65526

class FileToSend
{
  public:
    // Results of ReceiveDataBlock; the others are error codes of a NACK.
    static constexpr int BLOCK_ACCEPTED = 0;
    static constexpr int BLOCK_ERROR_NOT_OPEN = 1;
    static constexpr int BLOCK_ERROR_WRITE = NACK_FILE_ERROR;
    static constexpr int BLOCK_ERROR_ORDER = NACK_BLOCK_REJECTED;
    static constexpr int BLOCK_COMPLETE = -1;
    static constexpr int BLOCK_FILE_LOST = -2; // what was acknowledged may not be on the disk: it cannot go on

    platform::FileDescriptor m_file; // not open when the data is held in memory
    u32 m_fileNum = 0;               // that names the local file of a reception
    TicketNr m_ticketId;             // the client's, or TICKET_SPONTANEOUS
    eDataType m_dataType;            // FILE_ID, TICKET_ID, DATA_BUFFER, or UNDEFINED
    u32 m_dataValue;                 // file id
    u32 m_packetNr = 0;              // sending: the next block; receiving: the last one written
    u32 m_packetMax = 0;             // blocks that are expected in all
    u64 m_size = 0;                  // bytes that are to be sent, as they were at the start
    u16 m_blockLen;                  // bytes per block
    Tools::MemoryBuffer m_buffer;    // full name and a zero byte, or the data itself
    Tools::DateTime m_tmStart{false};
    u64 m_byteCount = 0;
    u64 m_packetCount = 0;
    u64 m_writeOutBegun = 0; // receiving: bytes that are on their way to the disk

    // FILE_ID is kept for values below 65535, TICKET_ID and DATA_BUFFER as they are; all else is UNDEFINED. `blockLen` is
    // brought into 1 to BLOCK_LEN_MAX. `name` is the full name of the file, empty for none.
    FileToSend(TicketNr ticketId, eDataType dataType, u32 value, u16 blockLen, const Tools::MemoryBuffer &name);
    FileToSend(TicketNr ticketId, eDataType dataType, u32 value, u16 blockLen, const Tools::StringUtf8 &name);

    // ---- Sending.

    // The next payload; empty when the transfer must be given up, because the file cannot be read on or has more blocks
    // than can be numbered. A `blockLen` other than 0 replaces the block length, but never by a larger one.
    //   negotiation: 0 (3) | block length (2) | 0x80 ticket (4), or 05 file id (2), or type value (4)
    Tools::MemoryBuffer PacketFill(u16 blockLen);
    std::string ActualBlockSendingString() const;
    bool IsFinished() const { return m_packetNr == BLOCK_NR_LAST; }

    // Whether the next payload will be the last block, by the size that the file had at the start.
    bool LastFollows() const { return !IsFinished() && m_byteCount + m_blockLen > m_size; }

    // Makes the block `nr` the next one again, 0 for the negotiation; false when the file cannot be read from there.
    bool Rewind(u32 nr);

    // Closes the file and deletes it when asked; true.
    bool Abort(bool deleteFile);

    // ---- Receiving.

    // Creates the file `m_buffer` names; false when it cannot be had.
    bool ReceiveInit();

    // Writes a block in its turn; one that came before is accepted and not written again. After a failed write the file
    // holds what it held before. With BLOCK_COMPLETE it is closed, and all of it is on the disk.
    int ReceiveDataBlock(u32 blockNr, const void *data, u32 len);

    // Closes the file and deletes it when asked; true when it was deleted.
    bool FileRemove(bool deleteFile);

    // The full name; "" when the data is held in memory.
    const char *Name() const;

  private:
    void FileOpen();
    Tools::MemoryBuffer NegotiationFill();
    i64 BlockRead(u8 *out);
    u32 BlocksExpected() const;
    bool IsFile() const;
    bool FlushAndClose();
    void WriteOutBegin();
};

} // namespace LTProtocol
