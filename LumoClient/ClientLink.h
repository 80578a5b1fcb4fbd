// The client's end of the client link: values, requests and raw buffers over tickets.
// Used by one thread at a time. Owns its channel.
//
// What passes between client and bridge (payloads in hexadecimal, numbers most significant byte first):
//   get      REQUEST 06 id              -> DATA FF FF FF FF 80 ticket   the notice: the machine is being asked
//                                          DATA ticket type value       its answer, acknowledged by the client
//   set      DATA FF FF FF FE 06 id type value             -> ACK
//   buffer   DATA FF FF FF FE 10 F0 00 00 00 10 bytes      -> notice and answer, as for get
//   spontaneous                            DATA FF FF FF FE kind id type value, acknowledged by the client
//   file     REQUEST 05 id (2)          -> notice as for get; the file is negotiated under its ticket, see FileTransfer
//   ask      REQUEST 80 ticket          -> the notice again, or DATA FF FF FF FF 11: nothing known of that ticket
// The answer does not wait for an ACK of the notice (which needs none), so both may come in one read. Spontaneous values
// come at any moment, also before a notice or between notice and answer. After each value the bridge sends nothing more
// until an ACK, a POLLING or a REQUEST comes.
//
// On a serial line the bridge polls, and everything but a notice or an ACK waits for the client's next ACK: so each
// notice is acknowledged at once, and each poll after a pause that keeps the line quiet.
//
// A notice does not say which request it belongs to. A request that ended without its notice is therefore followed by
// the question for a ticket that cannot exist: replies come in order, so whatever came before that answer is old.
#pragma once

#include "LTProto/LTProto/Value.h"
#include "LumoClient/FileBlocks.h"
#include "LumoClient/PacketLink.h"

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace LumoClient
{

using LTProtocol::Value;

// A REQUEST without a notice is repeated after this time, which is harmless: the same ticket is sent again. While a
// ticket is open, the bridge is reminded of it as often. A `set` or a buffer is never repeated, only sent again on NACK.
constexpr u32 REPEAT_MSEC = 1000;

// The pause before a poll of the bridge is acknowledged; the bridge polls anew after 250 ms without an answer.
constexpr u32 POLL_PAUSE_MSEC = 20;

// How often the bridge on TCP is asked for a file that is on its way from the machine.
constexpr u32 FILE_POLL_MSEC = 50;

// `poll` ends when nothing came for this long.
constexpr u32 POLL_QUIET_MSEC = 200;

// Values kept until they are fetched; the oldest make room.
constexpr size_t VALUES_KEPT_MAX = 1024;

enum class eResult
{
    done,
    refused,     // NACK, or the bridge closed a fresh connection: it serves one client at a time
    unreachable, // no connection could be made, or the device cannot be opened
    linkLost,    // the connection ended, now or in an earlier call
    noAnswer,    // not in time
    badAnswer,   // of another type than was asked for, or damaged
    badArgument, // cannot be sent: too long, of a type that never travels, or an id that is reserved
    fileFailed,  // a file on this side cannot be read or written
    stopped      // by a signal
};

// A text for a person, such as "the link is lost".
const char *resultText(eResult result);

// A value that answers no request. `kind` is VARIABLE_ID or DATA_BUFFER.
struct SpontaneousValue
{
    LTProtocol::eDataType kind = LTProtocol::eDataType::UNDEFINED;
    u32 id = 0;
    Value value;
};

// A file waits for the answer that a FileTransfer gives.
using Arrival = std::variant<SpontaneousValue, FileOffer>;

class ClientLink
{
  public:
    // Talks over this open channel; an earlier one is given up.
    void attach(std::unique_ptr<ByteChannel> channel);

    // Gives up the link, if there is one.
    void detach() { m_link.reset(); }

    bool isOpen() const { return m_link && m_link->isOpen(); }
    bool lacksReply() const { return m_repliesOwed > 0; } // to anything that was sent

    // Asks for a variable. Values of other variables that arrive meanwhile are kept for `waitArrival`.
    eResult get(u32 varId, u32 timeoutMSec, Value &out);

    // done means that the bridge has the value. It hands INTEGER_POSITIVE and DATA_BUFFER values on to the machine;
    // values of other types reach the machine without their content.
    eResult set(u32 varId, const Value &value, u32 timeoutMSec);

    // Sends bytes to the machine and waits for the bytes that it answers.
    eResult exchangeBuffer(std::span<const u8> bytes, u32 timeoutMSec, Bytes &answer);

    // Lets the bridge send what it has queued, up to the first silence or to the time-out. `out` receives every value
    // kept so far; done also when there is none.
    eResult poll(u32 timeoutMSec, std::vector<SpontaneousValue> &out);

    // The oldest value kept, else the next value or file that nobody asked for; noAnswer when none comes in time. All
    // other calls refuse such files.
    eResult waitArrival(u32 timeoutMSec, Arrival &out);

    // Asks for a file. done means that the machine is being asked, and the file will come under `ticket`.
    eResult requestFile(u16 fileId, u32 timeoutMSec, LTProtocol::TicketNr &ticket);
    eResult waitFile(LTProtocol::TicketNr ticket, u32 timeoutMSec, FileOffer &out);

    // For a FileTransfer. After beginTransfer nothing sent before will be answered any more, and `packets` may be used
    // until the next call of any other; values that come meanwhile are handed to keepValue.
    eResult beginTransfer(u32 timeoutMSec);
    PacketLink &packets() { return *m_link; }
    void keepValue(const Packet &packet);

  private:
    struct Exchange;

    eResult run(Exchange &exchange, u32 timeoutMSec);
    eResult settle(u64 deadlineMSec);
    eResult await(Exchange &exchange, u64 deadlineMSec);
    void start(const Exchange &exchange);
    void actOnSilence(Exchange &exchange);
    void remind(Exchange &exchange);
    void answerPoll();

    // Each returns the result that ends the exchange, nothing as long as it goes on.
    std::optional<eResult> take(Exchange &exchange, const Packet &packet);
    std::optional<eResult> takeCommand(const Exchange &exchange, std::span<const u8> payload);
    std::optional<eResult> takeData(Exchange &exchange, std::span<const u8> payload);
    std::optional<eResult> takeNotice(Exchange &exchange, std::span<const u8> notice);
    static std::optional<eResult> takeAnswer(Exchange &exchange, std::span<const u8> answer);
    std::optional<eResult> answerIsLost(Exchange &exchange);
    bool keep(std::span<const u8> item);
    std::optional<eResult> takeBlock(Exchange &exchange, std::span<const u8> block);
    void restartReminder(const Exchange &exchange);

    std::unique_ptr<PacketLink> m_link; // null before the first connection
    std::deque<SpontaneousValue> m_values;
    u32 m_repliesOwed = 0;          // notices and ACKs that may still come for what was sent
    u64 m_remindAtMSec = 0;         // when silence has lasted too long
    std::optional<u64> m_ackAtMSec; // when the poll that waits for its ACK gets it
};

} // namespace LumoClient
