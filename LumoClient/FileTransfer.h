// Files over the client link, both ways; the blocks are drawn in FileBlocks.h. Used by one thread at a time.
//
// To the bridge: negotiation, answer; then each block and its ACK. Every packet of the client that is no block, an ACK or
// a POLLING too, ends the reception in the bridge. So polls stay unanswered, damaged packets are not asked for again, and a
// block whose answer does not come before a poll or in time is sent once more: the bridge takes a repetition for what it is.
//
// From the bridge: a request and its ticket, negotiation, answer; then each block and its ACK. A ready signal too many
// would bring the next block before its turn, so a poll is answered only once the line is quiet, and not at all when it
// crossed the last reply. Behind one poll the bridge sends what may be lost before the last block again; behind two it
// may take us for slow: then NACK 4 for the last block asks whether one is missing before it.
#pragma once

#include "LumoClient/ClientLink.h"
#include "LumoClient/LocalFile.h"
#include "LumoClient/ProgressBar.h"
#include "tools/Faults/Journal.h"
#include "toviCommonLib/tovimd5.h"

#include <csignal>

namespace LumoClient
{

constexpr u16 BLOCK_LEN_TCP = 50000;
constexpr u16 BLOCK_LEN_UART = 5000;
constexpr u16 FILE_ID_MAX = 65534;

// How often a block, or the answer to one, is sent again when nothing came in time.
constexpr u32 REPEAT_MAX = 3;

struct TransferSettings
{
    u16 blockLen = 0;       // asked for and granted at most; 0: what suits the link
    u32 timeoutMSec = 3000; // for each answer; for one to a block at least what it needs on the line and 2 s
    const LumoFaults::Journal *journal = nullptr; // where `Commands.h` notes begin and end; borrowed
};

struct TransferResult
{
    eResult result = eResult::done;
    std::string text; // why it failed, or what is to be known of a success; empty when `result` says all
    u64 size = 0;
    tovi::MD5::Digest digest{};
};

class FileTransfer
{
  public:
    // Both are borrowed. A signal handler may set `stop`, which ends a transfer.
    FileTransfer(ClientLink &link, const TransferSettings &settings, const volatile std::sig_atomic_t &stop)
        : m_link(link), m_settings(settings), m_stop(stop)
    {
    }

    TransferResult upload(u16 fileId, SourceFile &file, ProgressBar &bar);

    // Asks for a file and waits for the machine to have it. refused also for an empty file: so looks one that the machine
    // does not have.
    TransferResult download(u16 fileId, const std::string &path, ProgressBar &bar);

    // Takes the file that was offered. It is complete under `path` when the result is done; an empty path throws it away.
    TransferResult receive(const FileOffer &offer, const std::string &path, ProgressBar &bar);

  private:
    struct Reception;

    eResult next(u64 untilMSec, Packet &out);
    u16 blockLen() const;
    u32 blockTimeoutMSec(size_t len) const;

    eResult negotiate(u16 fileId, u16 &granted, TransferResult &out);
    eResult sendBlocks(SourceFile &file, u16 granted, ProgressBar &bar, TransferResult &out);
    eResult exchange(const Bytes &block, Packet &reply, bool &mayHaveArrived);
    eResult awaitReply(bool isNegotiation, u32 timeoutMSec, Packet &reply);

    eResult waitOffer(LTProtocol::TicketNr ticket, FileOffer &offer);
    eResult receiveBlocks(Reception &reception, ProgressBar &bar);
    std::optional<eResult> take(Reception &reception, const Packet &packet);
    static void takePoll(Reception &reception, u64 nowMSec);
    std::optional<eResult> takeBlock(Reception &reception, std::span<const u8> block);
    std::optional<eResult> rejectBlock(Reception &reception, const std::string &why);
    void reply(Reception &reception);
    void progressed(Reception &reception) const;
    void refuse(bool isHere, u16 len);

    ClientLink &m_link;
    TransferSettings m_settings;
    const volatile std::sig_atomic_t &m_stop;
};

} // namespace LumoClient
