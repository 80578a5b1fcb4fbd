#include "LumoClient/FileBlocks.h"

#include "toviCommonLib/toviByteOrder.h"

namespace LumoClient
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU16;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr size_t LENGTH_OFFSET = BLOCK_NR_LEN;
constexpr size_t GRANTED_OFFSET = LENGTH_OFFSET + sizeof(u16);
constexpr size_t ANSWER_LEN = GRANTED_OFFSET + sizeof(u16);
constexpr size_t KIND_OFFSET = LENGTH_OFFSET + sizeof(u16);
constexpr size_t ID_OFFSET = KIND_OFFSET + 1;
constexpr size_t OFFER_LEN_FILE = ID_OFFSET + sizeof(u16);
constexpr size_t OFFER_LEN_TICKET = ID_OFFSET + sizeof(TicketNr);

void appendMsbLsb(Bytes &out, u32 number, u32 len)
{
    out.resize(out.size() + len);
    NumberToBufferMsbLsb(out.data() + out.size() - len, number, len);
}

} // namespace

Bytes encodeNegotiation(u16 blockLen, u16 fileId)
{
    Bytes block;
    appendMsbLsb(block, BLOCK_NR_NEGOTIATION, BLOCK_NR_LEN);
    appendMsbLsb(block, blockLen, sizeof blockLen);
    block.push_back(static_cast<u8>(eDataType::FILE_ID));
    appendMsbLsb(block, fileId, sizeof fileId);
    return block;
}

Bytes encodeNegotiationAnswer(u16 asked, u16 granted)
{
    Bytes block;
    appendMsbLsb(block, BLOCK_NR_NEGOTIATION, BLOCK_NR_LEN);
    appendMsbLsb(block, asked, sizeof asked);
    appendMsbLsb(block, granted, sizeof granted);
    return block;
}

Bytes encodeBlock(u32 blockNr, std::span<const u8> data)
{
    Bytes block;
    block.reserve(BLOCK_NR_LEN + data.size());
    appendMsbLsb(block, blockNr, BLOCK_NR_LEN);
    block.insert(block.end(), data.begin(), data.end());
    return block;
}

std::optional<FileOffer> parseOffer(std::span<const u8> block)
{
    if (blockNumber(block) != BLOCK_NR_NEGOTIATION || block.size() < OFFER_LEN_FILE)
        return std::nullopt;
    const u32 id =
        block.size() < OFFER_LEN_TICKET ? u32{readMsbLsbU16(&block[ID_OFFSET])} : readMsbLsbU32(&block[ID_OFFSET]);
    return FileOffer{readMsbLsbU16(&block[LENGTH_OFFSET]), eDataType{block[KIND_OFFSET]}, id};
}

std::optional<u16> parseGranted(std::span<const u8> block)
{
    if (blockNumber(block) != BLOCK_NR_NEGOTIATION || block.size() != ANSWER_LEN)
        return std::nullopt;
    return readMsbLsbU16(&block[GRANTED_OFFSET]);
}

std::optional<u32> blockNumber(std::span<const u8> block)
{
    if (block.size() < BLOCK_NR_LEN)
        return std::nullopt;
    return u32{block[0]} << 16 | u32{block[1]} << 8 | block[2];
}

} // namespace LumoClient
