#include "LumoClient/FileTransfer.h"

#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>

namespace LumoClient
{

using namespace LTProtocol;

namespace
{

constexpr u32 SLICE_MSEC = 200; // a signal ends a transfer within this time
constexpr u32 BLOCK_RESERVE_MSEC = 2000;
constexpr u32 LATE_REPLY_MSEC = 500;

// The bridge forgets the client of a serial line, and the file that came from it, after 3 s of silence.
constexpr u32 FORGOTTEN_MSEC = 2500;

bool isCommand(const Packet &packet, eCommandCode code)
{
    return packet.type == eCommandType::CMD && !packet.payload.empty() && packet.payload[0] == static_cast<u8>(code);
}

// The error code of a NACK; nothing for any other packet.
std::optional<u16> nackCode(const Packet &packet)
{
    if (!isCommand(packet, eCommandCode::NACK) || packet.payload.size() != 1 + sizeof(u16))
        return std::nullopt;
    return tovi::utils::readMsbLsbU16(&packet.payload[1]);
}

std::string nackText(u16 code)
{
    const auto meaning = [code]() -> const char *
    {
        switch (code)
        {
        case 1: return "no file is open for the block";
        case NACK_CRC: return "length or checksum wrong, each time it was sent";
        case NACK_FILE_ERROR: return "the file cannot be opened or written, or its id is refused";
        case NACK_BLOCK_REJECTED: return "no reception is running, or the block is out of order";
        case NACK_NOTHING_ASKED: return "it has nothing to send";
        default: return "of unknown meaning";
        }
    };
    return "the bridge answered NACK " + std::to_string(code) + ": " + meaning();
}

// While it lives, damaged packets are not asked for again.
class KeepQuiet
{
  public:
    explicit KeepQuiet(PacketLink &packets) : m_packets(packets) { m_packets.setAsksAgain(false); }
    ~KeepQuiet() { m_packets.setAsksAgain(true); }
    KeepQuiet(const KeepQuiet &) = delete;
    KeepQuiet &operator=(const KeepQuiet &) = delete;

  private:
    PacketLink &m_packets;
};

} // namespace

struct FileTransfer::Reception
{
    FileOffer offer;
    u16 granted = 0;
    u32 timeoutMSec = 0; // for a block
    TargetFile target = {};
    tovi::MD5 md5 = {};
    u32 blockNr = BLOCK_NR_NEGOTIATION; // the last one taken
    u32 nackCount = 0;                  // since then
    u32 readyCount = 0;                 // replies since the last block or poll: each may have drawn a block
    bool isPolled = false;              // since the last block, or since the last NACK for one
    bool isUnsure = false;              // blocks may have passed unnoticed: the next number will tell
    u64 replyAtMSec = 0;                // when the last reply is repeated
    u64 giveUpAtMSec = 0;
    TransferResult result = {};
};

// The next packet before `untilMSec`.
eResult FileTransfer::next(u64 untilMSec, Packet &out)
{
    PacketLink &packets = m_link.packets();
    do
    {
        if (m_stop != 0)
            return eResult::stopped;
        if (std::optional<Packet> packet = packets.receive(std::min(untilMSec, packets.nowMSec() + SLICE_MSEC)))
        {
            out = std::move(*packet);
            return eResult::done;
        }
        if (!packets.isOpen())
            return packets.hasHeard() ? eResult::linkLost : eResult::refused;
    } while (packets.nowMSec() < untilMSec);
    return eResult::noAnswer;
}

u16 FileTransfer::blockLen() const
{
    if (m_settings.blockLen != 0)
        return std::min(m_settings.blockLen, BLOCK_LEN_MAX);
    return m_link.packets().isPolled() ? BLOCK_LEN_UART : BLOCK_LEN_TCP;
}

u32 FileTransfer::blockTimeoutMSec(size_t len) const
{
    return std::max(m_settings.timeoutMSec, m_link.packets().lineMSec(len) + BLOCK_RESERVE_MSEC);
}

// ---- To the bridge.

TransferResult FileTransfer::upload(u16 fileId, SourceFile &file, ProgressBar &bar)
{
    TransferResult out;
    out.result = m_link.beginTransfer(m_settings.timeoutMSec);
    if (out.result != eResult::done)
        return out;
    PacketLink &packets = m_link.packets();
    const KeepQuiet quiet(packets);
    u16 granted = 0;
    out.result = negotiate(fileId, granted, out);
    if (out.result == eResult::done)
        out.result = sendBlocks(file, granted, bar, out);
    if (out.result != eResult::done && packets.isOpen())
        packets.sendCommand(eCommandCode::POLLING); // ends the reception, if one is running
    return out;
}

eResult FileTransfer::negotiate(u16 fileId, u16 &granted, TransferResult &out)
{
    const u16 asked = blockLen();
    Packet reply;
    bool mayHaveArrived = false;
    const eResult result = exchange(encodeNegotiation(asked, fileId), reply, mayHaveArrived);
    if (result != eResult::done)
        return result;
    if (const std::optional<u16> code = nackCode(reply))
    {
        out.text = nackText(*code);
        return eResult::refused;
    }
    granted = std::min(asked, *parseGranted(reply.payload));
    return granted != 0 ? eResult::done : eResult::badAnswer;
}

// `out.size` counts what the bridge acknowledged. A block that is not full is the last.
eResult FileTransfer::sendBlocks(SourceFile &file, u16 granted, ProgressBar &bar, TransferResult &out)
{
    if (file.size() / granted + 1 >= BLOCK_NR_LAST)
    {
        out.text = "the file is too long for blocks of " + std::to_string(granted) + " bytes";
        return eResult::badArgument;
    }
    tovi::MD5 md5;
    Bytes data(granted);
    bool isLast = false;
    for (u32 blockNr = 1; !isLast; ++blockNr)
    {
        bar.show(out.size, m_link.packets().nowMSec());
        const i64 count = file.read(data);
        if (count < 0)
            return eResult::fileFailed;
        isLast = count < granted;
        const u64 size = out.size + static_cast<u64>(count);
        if (size > file.size() || (isLast && (size < file.size() || file.hasChanged())))
        {
            out.text = "the file changed while it was sent; the bridge drops it";
            return eResult::fileFailed;
        }
        const std::span<const u8> read = std::span(data).first(static_cast<size_t>(count));
        Packet reply;
        bool mayHaveArrived = false;
        const eResult result = exchange(encodeBlock(isLast ? BLOCK_NR_LAST : blockNr, read), reply, mayHaveArrived);
        if (result != eResult::done)
            return result;
        const std::optional<u16> code = nackCode(reply);
        if (code && isLast && mayHaveArrived && *code == NACK_BLOCK_REJECTED)
            out.text = "the ACK of the last block is missing; the bridge refused its repetition, so it had most likely "
                       "taken the first";
        else if (code)
        {
            out.text = nackText(*code);
            return eResult::refused;
        }
        md5.update(read.data(), static_cast<u32>(read.size()));
        out.size = size;
    }
    out.digest = md5.finish();
    return eResult::done;
}

// Sends a block until the bridge answers: `reply` is a NACK, else an ACK or the answer to a negotiation. With
// `mayHaveArrived` the reply may be that to a repetition of what had arrived.
eResult FileTransfer::exchange(const Bytes &block, Packet &reply, bool &mayHaveArrived)
{
    const bool isNegotiation = blockNumber(block) == BLOCK_NR_NEGOTIATION;
    const PacketLink &packets = m_link.packets();
    const u32 timeoutMSec = blockTimeoutMSec(block.size());
    const u64 beganAtMSec = packets.nowMSec();
    const u64 giveUpAtMSec = beganAtMSec + u64{timeoutMSec} * (REPEAT_MAX + 1);
    eResult result = eResult::noAnswer;
    u32 sentCount = 0;
    for (; result == eResult::noAnswer && packets.nowMSec() < giveUpAtMSec; ++sentCount)
    {
        m_link.packets().send(eCommandType::DATABLOCK, block);
        result = awaitReply(isNegotiation, timeoutMSec, reply);
    }
    mayHaveArrived = sentCount > 1 && (!packets.isPolled() || packets.nowMSec() < beganAtMSec + FORGOTTEN_MSEC);
    // Each copy draws a reply; one that comes late must not be taken for the next block's.
    Packet late;
    for (u32 i = 1; i < sentCount && result == eResult::done; ++i)
        if (awaitReply(isNegotiation, LATE_REPLY_MSEC, late) != eResult::done)
            break;
    return result;
}

// noAnswer also when the bridge polls, since it has nothing to answer then: the block or its reply was lost.
eResult FileTransfer::awaitReply(bool isNegotiation, u32 timeoutMSec, Packet &reply)
{
    const PacketLink &packets = m_link.packets();
    const u64 untilMSec = packets.nowMSec() + timeoutMSec;
    while (true)
    {
        const eResult result = next(untilMSec, reply);
        if (result != eResult::done || nackCode(reply))
            return result;
        if (isCommand(reply, eCommandCode::POLLING) && packets.isPolled() && !packets.pollMayCross())
            return eResult::noAnswer;
        const bool isAnswer = reply.type == eCommandType::DATABLOCK && parseGranted(reply.payload);
        if (isNegotiation ? isAnswer : isCommand(reply, eCommandCode::ACK))
            return result;
        if (reply.type == eCommandType::DATA)
            m_link.keepValue(reply);
    }
}

// ---- From the bridge.

TransferResult FileTransfer::download(u16 fileId, const std::string &path, ProgressBar &bar)
{
    TransferResult out;
    TicketNr ticket = TICKET_NONE;
    FileOffer offer;
    out.result = m_link.requestFile(fileId, m_settings.timeoutMSec, ticket);
    if (out.result == eResult::done)
        out.result = waitOffer(ticket, offer);
    return out.result == eResult::done ? receive(offer, path, bar) : out;
}

eResult FileTransfer::waitOffer(TicketNr ticket, FileOffer &offer)
{
    const u64 untilMSec = m_link.packets().nowMSec() + m_settings.timeoutMSec;
    while (m_stop == 0)
    {
        const u64 nowMSec = m_link.packets().nowMSec();
        const u32 sliceMSec = static_cast<u32>(std::min<u64>(SLICE_MSEC, untilMSec - std::min(untilMSec, nowMSec)));
        const eResult result = m_link.waitFile(ticket, sliceMSec, offer);
        if (result != eResult::noAnswer || m_link.packets().nowMSec() >= untilMSec)
            return result;
    }
    return eResult::stopped;
}

TransferResult FileTransfer::receive(const FileOffer &offer, const std::string &path, ProgressBar &bar)
{
    Reception reception{offer, std::min(offer.blockLen, blockLen())};
    reception.timeoutMSec = blockTimeoutMSec(reception.granted);
    TransferResult &out = reception.result;
    if (reception.granted == 0)
        out.result = eResult::badAnswer;
    else if (!path.empty() && !reception.target.create(path))
    {
        out.result = eResult::fileFailed;
        out.text = path + " cannot be created";
    }
    else
        out.result = receiveBlocks(reception, bar);

    if (out.result == eResult::fileFailed || out.result == eResult::stopped)
        refuse(out.result == eResult::fileFailed, reception.granted);
    if (out.result != eResult::done)
        return out;
    if (out.size == 0 && offer.kind == eDataType::TICKET_ID)
    {
        out.result = eResult::refused;
        out.text = "the machine has no such file, or it is empty";
    }
    else if (!reception.target.complete())
        out.result = eResult::fileFailed;
    out.digest = reception.md5.finish();
    return out;
}

eResult FileTransfer::receiveBlocks(Reception &reception, ProgressBar &bar)
{
    PacketLink &packets = m_link.packets();
    reply(reception);
    progressed(reception);
    while (true)
    {
        Packet packet;
        bar.show(reception.result.size, packets.nowMSec());
        const eResult result = next(std::min(reception.replyAtMSec, reception.giveUpAtMSec), packet);
        if (result == eResult::done)
        {
            if (const std::optional<eResult> end = take(reception, packet))
                return *end;
            continue;
        }
        const u64 nowMSec = packets.nowMSec();
        const u64 quietAtMSec = packets.heardAtMSec() + POLL_PAUSE_MSEC;
        if (result != eResult::noAnswer || nowMSec >= reception.giveUpAtMSec)
            return result;
        if (nowMSec >= quietAtMSec)
            reply(reception);
        reception.replyAtMSec = nowMSec >= quietAtMSec ? nowMSec + reception.timeoutMSec : quietAtMSec;
    }
}

void FileTransfer::progressed(Reception &reception) const
{
    const u64 nowMSec = m_link.packets().nowMSec();
    reception.replyAtMSec = nowMSec + reception.timeoutMSec;
    reception.giveUpAtMSec = nowMSec + u64{reception.timeoutMSec} * (REPEAT_MAX + 1);
    reception.nackCount = 0;
}

// Makes the bridge send the first block, or the next one.
void FileTransfer::reply(Reception &reception)
{
    ++reception.readyCount;
    if (reception.blockNr != BLOCK_NR_NEGOTIATION)
        m_link.packets().sendCommand(eCommandCode::ACK);
    else
        m_link.packets().send(eCommandType::DATABLOCK,
                              encodeNegotiationAnswer(reception.offer.blockLen, reception.granted));
}

// The result that ends the reception, nothing as long as it goes on.
std::optional<eResult> FileTransfer::take(Reception &reception, const Packet &packet)
{
    if (packet.type == eCommandType::DATABLOCK)
        return takeBlock(reception, packet.payload);
    if (packet.type == eCommandType::DATA)
        m_link.keepValue(packet);
    else if (isCommand(packet, eCommandCode::POLLING) && !m_link.packets().pollMayCross())
        takePoll(reception, m_link.packets().nowMSec());

    const std::optional<u16> code = nackCode(packet);
    // A POLLING that crossed the negotiation drew the first block; the answer to the negotiation then came too late.
    const bool isLateAnswer = code == NACK_NOTHING_ASKED && reception.blockNr != BLOCK_NR_NEGOTIATION;
    if (!code || isLateAnswer)
        return std::nullopt;
    reception.result.text = nackText(*code);
    return eResult::refused;
}

// Either the last reply was lost or the block that it drew.
void FileTransfer::takePoll(Reception &reception, u64 nowMSec)
{
    reception.isUnsure = reception.isUnsure || reception.isPolled || reception.readyCount > 1;
    reception.isPolled = true;
    reception.readyCount = 0;
    reception.replyAtMSec = std::min(reception.replyAtMSec, nowMSec + POLL_PAUSE_MSEC);
}

// NACK 4, and the reason if that does not help. What comes then is what was missing, or the same again.
std::optional<eResult> FileTransfer::rejectBlock(Reception &reception, const std::string &why)
{
    reception.result.text = why;
    reception.isUnsure = reception.readyCount > 1;
    reception.isPolled = false;
    reception.readyCount = 0;
    m_link.packets().sendNack(NACK_BLOCK_REJECTED);
    return ++reception.nackCount > RESEND_MAX ? std::optional(eResult::badAnswer) : std::nullopt;
}

std::optional<eResult> FileTransfer::takeBlock(Reception &reception, std::span<const u8> block)
{
    const std::optional<u32> blockNr = blockNumber(block);
    if (!blockNr)
        return std::nullopt;
    const bool isLast = *blockNr == BLOCK_NR_LAST;
    const bool isRepetition = *blockNr == reception.blockNr;
    const u32 expected = reception.blockNr + 1;
    if (!isLast && !isRepetition && *blockNr != expected)
        return rejectBlock(reception,
                           "block " + std::to_string(*blockNr) + " came in place of block " + std::to_string(expected));
    // The last block has no number. The bridge repeats it for a NACK 4 when none is missing before it. On TCP nothing is
    // lost.
    const bool mayHaveMissed = m_link.packets().isPolled() && (reception.isUnsure || reception.readyCount > 1);
    if (isLast && mayHaveMissed)
        return rejectBlock(reception, "the line was disturbed before the last block: blocks may be missing");
    reception.isUnsure = reception.readyCount > 1 || (reception.isUnsure && !reception.isPolled && !isRepetition);
    reception.isPolled = false;
    reception.readyCount = 0;
    if (isRepetition)
    {
        reply(reception);
        return std::nullopt;
    }
    const std::span<const u8> data = block.subspan(BLOCK_NR_LEN);
    if (!reception.target.write(data))
        return eResult::fileFailed;
    reception.md5.update(data.data(), static_cast<u32>(data.size()));
    reception.result.size += data.size();
    reception.result.text.clear();
    reception.blockNr = *blockNr;
    reply(reception);
    progressed(reception);
    return *blockNr == BLOCK_NR_LAST ? std::optional(eResult::done) : std::nullopt;
}

// The bridge sends its block again for each NACK, and drops the file when its resends are used up. `isHere`: a block has
// come that is not answered yet; otherwise one is on its way.
void FileTransfer::refuse(bool isHere, u16 len)
{
    PacketLink &packets = m_link.packets();
    for (u32 nacks = 0; nacks <= RESEND_MAX; ++nacks)
    {
        const u64 untilMSec = packets.nowMSec() + packets.lineMSec(len) + LATE_REPLY_MSEC;
        std::optional<Packet> packet;
        while (!isHere && (packet = packets.receive(untilMSec)))
            isHere = packet->type == eCommandType::DATABLOCK;
        if (!isHere)
            return;
        packets.sendNack(NACK_FILE_ERROR);
        isHere = false;
    }
}

} // namespace LumoClient
