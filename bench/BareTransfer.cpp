#include "bench/BareTransfer.h"

#include "LTProto/ComDevice/Crc16.h"
#include "LTProto/LTProto/FileToSend.h"
#include "LTProto/Tools/Hex.h"
#include "bench/BareSocket.h"
#include "bench/Packets.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>

namespace LumoBench
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU16;

namespace
{

constexpr size_t TYPE_OFFSET = 3;
constexpr size_t BLOCK_OFFSET = PACKET_HEADER_LEN;
constexpr size_t DATA_OFFSET = BLOCK_OFFSET + BLOCK_NR_LEN;
constexpr size_t NEGOTIATION_LEN_MIN = 5;
constexpr u32 GRANTED_OFFSET = DATA_OFFSET + 2;
constexpr u32 BLOCK_LEN_ASKED = 50000;
constexpr size_t FLUSH_LEN = 1024 * 1024;

struct sTransfer
{
    Descriptor client;
    Descriptor file;
    std::string received;
    std::string source;
    Bytes in = Bytes(PACKET_LEN_MAX);
    Bytes out;
    size_t writtenLen = 0; // of what is received
    size_t flushBegunLen = 0;
    size_t blockLen = 0;
    u32 blockNr = 0; // the next that is sent, 0: none
};

u32 blockNrOf(const u8 *bytes)
{
    return u32{bytes[0]} << 16 | readMsbLsbU16(bytes + 1);
}

// The length of the next packet, up to its checksum; 0 at the end.
size_t readPacket(sTransfer &transfer)
{
    size_t held = 0;
    size_t wanted = PACKET_HEADER_LEN;
    while (held < wanted)
    {
        const ssize_t n = recv(transfer.client.get(), &transfer.in[held], transfer.in.size() - held, 0);
        if (n <= 0)
            return 0;
        held += static_cast<size_t>(n);
        if (held >= PACKET_HEADER_LEN)
            wanted = size_t{readMsbLsbU16(&transfer.in[1])} + PACKET_CRC_LEN;
    }
    const size_t crcAt = wanted - PACKET_CRC_LEN;
    if (tovi::Crc16(transfer.in.data(), static_cast<u32>(crcAt)) != readMsbLsbU16(&transfer.in[crcAt]))
        throw std::runtime_error("a damaged packet");
    return crcAt;
}

void answer(sTransfer &transfer, eCommandType type, const Bytes &payload)
{
    makePacket(transfer.out, type, payload);
    sendAll(transfer.client.get(), transfer.out);
}

// ---- To the bare program.

void beginReception(sTransfer &transfer)
{
    transfer.file = Descriptor(open(transfer.received.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    transfer.writtenLen = 0;
    transfer.flushBegunLen = 0;
    const u16 asked = readMsbLsbU16(&transfer.in[DATA_OFFSET]);
    Bytes payload(BLOCK_NR_LEN);
    addNumber(payload, asked, 2);
    addNumber(payload, std::min<u32>(asked, BLOCK_LEN_ASKED), 2);
    answer(transfer, eCommandType::DATABLOCK, payload);
}

// The disk is kept busy on the way, and has all before the last block is acknowledged.
void beginFlush(sTransfer &transfer)
{
    const size_t waiting = transfer.writtenLen - transfer.flushBegunLen;
    if (waiting < FLUSH_LEN)
        return;
    sync_file_range(transfer.file.get(), static_cast<off64_t>(transfer.flushBegunLen), static_cast<off64_t>(waiting),
                    SYNC_FILE_RANGE_WRITE);
    transfer.flushBegunLen = transfer.writtenLen;
}

void endFlush(sTransfer &transfer)
{
    const std::string folder = transfer.received.substr(0, transfer.received.rfind('/') + 1);
    const Descriptor entries(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fdatasync(transfer.file.get()) != 0 || fsync(entries.get()) != 0)
        throw std::runtime_error("the file cannot be flushed");
    transfer.file = Descriptor();
}

void takeBlock(sTransfer &transfer, size_t crcAt)
{
    const size_t len = crcAt - DATA_OFFSET;
    if (write(transfer.file.get(), &transfer.in[DATA_OFFSET], len) != static_cast<ssize_t>(len))
        throw std::runtime_error("the file cannot be written");
    transfer.writtenLen += len;
    if (blockNrOf(&transfer.in[BLOCK_OFFSET]) == BLOCK_NR_LAST)
        endFlush(transfer);
    else
        beginFlush(transfer);
    answer(transfer, eCommandType::CMD, {ACK_BYTE});
}

// ---- From it.

void offerFile(sTransfer &transfer)
{
    transfer.file = Descriptor(open(transfer.source.c_str(), O_RDONLY | O_CLOEXEC));
    transfer.blockNr = 1;
    Bytes payload(BLOCK_NR_LEN);
    addNumber(payload, BLOCK_LEN_ASKED, 2);
    payload.push_back(static_cast<u8>(eDataType::FILE_ID));
    addNumber(payload, 1, 2);
    answer(transfer, eCommandType::DATABLOCK, payload);
}

void sendBlock(sTransfer &transfer)
{
    if (transfer.blockNr == 0)
        return;
    transfer.out.resize(DATA_OFFSET + transfer.blockLen);
    const ssize_t n = read(transfer.file.get(), &transfer.out[DATA_OFFSET], transfer.blockLen);
    if (n < 0)
        throw std::runtime_error("the file cannot be read");
    const bool isLast = static_cast<size_t>(n) < transfer.blockLen;
    const u32 crcAt = static_cast<u32>(DATA_OFFSET) + static_cast<u32>(n);
    transfer.out.resize(crcAt);
    transfer.out[0] = PACKET_START_MARK;
    tovi::utils::writeMsbLsbU16(&transfer.out[1], static_cast<u16>(crcAt));
    transfer.out[TYPE_OFFSET] = static_cast<u8>(eCommandType::DATABLOCK);
    NumberToBufferMsbLsb(&transfer.out[BLOCK_OFFSET], isLast ? BLOCK_NR_LAST : transfer.blockNr, BLOCK_NR_LEN);
    addNumber(transfer.out, tovi::Crc16(transfer.out.data(), crcAt), PACKET_CRC_LEN);
    sendAll(transfer.client.get(), transfer.out);
    const std::string text = Tools::ToHex(transfer.out.data(), static_cast<u32>(transfer.out.size()), ' ') + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    transfer.blockNr = isLast ? 0 : transfer.blockNr + 1;
}

void handle(sTransfer &transfer, size_t crcAt)
{
    if (static_cast<eCommandType>(transfer.in[TYPE_OFFSET]) == eCommandType::CMD)
    {
        if (transfer.in[BLOCK_OFFSET] == POLLING_BYTE)
            offerFile(transfer);
        else
            sendBlock(transfer);
    }
    else if (blockNrOf(&transfer.in[BLOCK_OFFSET]) != BLOCK_NR_NEGOTIATION)
        takeBlock(transfer, crcAt);
    else if (crcAt - DATA_OFFSET >= NEGOTIATION_LEN_MIN)
        beginReception(transfer);
    else
    {
        transfer.blockLen = readMsbLsbU16(&transfer.in[GRANTED_OFFSET]);
        sendBlock(transfer);
    }
}

} // namespace

void runBareTransfer(const std::string &clientIp, u16 clientPort, const std::string &received,
                     const std::string &source)
{
    sTransfer transfer;
    transfer.client = takeOne(clientIp, clientPort);
    transfer.received = received;
    transfer.source = source;
    while (const size_t crcAt = readPacket(transfer))
        handle(transfer, crcAt);
}

} // namespace LumoBench
