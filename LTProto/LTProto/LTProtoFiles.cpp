// Files of the engine, both ways.
#include "LTProto/LTProto/LTProto.h"

namespace LTProtocol
{
namespace
{

// DATABLOCK: block number (3) | data. Number 0 is a negotiation: a request has at least 5 data bytes, an answer fewer.
constexpr u32 BLOCK_NR_LEN = 3;
constexpr u32 NEGOTIATION_REQUEST_LEN_MIN = 5;

} // namespace

// No reception and no transfer can be running: requests, answers and blocks are refused with the code for it.
eReceiveResult LTProto::DataBlockReceive(const Tools::MemoryBuffer &payload)
{
    if (payload.m_len < BLOCK_NR_LEN)
        return eReceiveResult::Unknown;
    if (payload.FromMsbLsb(BLOCK_NR_LEN, 0) != 0)
        CommandSend(eCommandCode::NACK, NACK_BLOCK_REJECTED);
    else if (payload.m_len - BLOCK_NR_LEN < NEGOTIATION_REQUEST_LEN_MIN)
        CommandSend(eCommandCode::NACK, NACK_NOTHING_ASKED);
    else
        CommandSend(eCommandCode::NACK, NACK_FILE_ERROR);
    return eReceiveResult::InternalProcessed;
}

bool LTProto::FileSend(u16 fileId, u8 errCode, const Tools::MemoryBuffer &name)
{
    Trace("FileSend:: fileId=%d errCode %d name of %u bytes", fileId, errCode, name.m_len);
    Trace("Error on FileSend");
    return false;
}

} // namespace LTProtocol
