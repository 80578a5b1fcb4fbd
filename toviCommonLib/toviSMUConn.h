// SMUConn: the client end of the link to the machine control unit (the SMU). Used by one thread; nothing locks.
// It does not reconnect by itself and keeps no timers.
#pragma once

#include "toviCommonLib/Protocol/ProtocolChSocketTCP.h"
#include "toviCommonLib/Protocol/ProtocolConsole.h"
#include "toviCommonLib/toviSMUMessageKinds.h"

namespace tovi
{

class SMUConn
{
  public:
    static constexpr u16 WHAT_PING = smu::WHAT_PING;
    static constexpr u16 WHAT_PONG = smu::WHAT_PONG;
    static constexpr u16 WHAT_IDENTIFY = smu::WHAT_IDENTIFY;
    static constexpr u16 WHAT_IDENTIFY_ANSW = smu::WHAT_IDENTIFY_ANSW;
    static constexpr u16 WHAT_DIE = smu::WHAT_DIE;

    // A view into a received buffer, valid while that is unchanged.
    struct sDecodedMsg
    {
        u16 what = 0;
        u16 userValue = 0;
        const u8 *payload = nullptr; // null without payload
        u32 payloadLen = 0;
    };

    SMUConn();
    ~SMUConn();
    SMUConn(const SMUConn &) = delete;
    SMUConn &operator=(const SMUConn &) = delete;

    // Every wait of `connect` ends early, and its attempts with it, once `event` was fired. Borrowed; null for none.
    void setCancelEvent(const sOSEvent *event) { cancelEvent = event; }

    // Connects to a dotted address, shakes hands and identifies itself; `nAttempts` tries (0: one), 500 ms apart.
    // `none` on success; `unable_to_handshake`, `timedOut` (IDENTIFY not sent), `connRefused` (not answered within 5 s)
    // or the socket's own error of the last try.
    eSocketError connect(const char *address, u32 port, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32,
                         u8 nAttempts);
    eSocketError connect(const sOSNetAddr &address, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32, u8 nAttempts);

    // As above, once, on a connected socket; it is owned from here on.
    eSocketError connect(const OSSocket &connected, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32);

    // Tells the SMU the end and frees the link; safe when not connected.
    void disconnect();

    // Replaces `out` by one message: its byte count, 0 when none came within the time (0: without waiting), or a
    // failure code above 0xF0000000.
    u32 read(u32 timeoutMSec, ProtocolBuffer &out);

    // Sends one message: bytes of its frame that went out, or a failure code.
    u32 write(const u8 *bytes, u16 length, u32 timeoutMSec);

    // As `write`, without waiting: what does not go at once is kept and goes out by `flush`; until then nothing more is taken
    // and the result is 0. `flush` gives the bytes left, or a failure code.
    u32 writeNow(const u8 *bytes, u16 length);
    u32 flush();
    bool hasTail() const { return channel && channel->hasTail(); }

    // Tells the SMU's system that what was received has come: a peer that gathers its small messages waits for that word.
    void acknowledgeNow();

    // The connected socket, for a waitable group; only while connected.
    const OSSocket &getSocket() const { return channel->getSocket(); }

    // True when the SMU vanished without a word; false when not connected.
    bool peerIsGone() const { return channel && channel->peerIsGone(); }

    void sendPing(u16 userValue);

    // Length of the message written to `dst`, or 0 when it does not fit `dstSize`. A missing part is skipped.
    static u16 encodeMsg(u16 what, u16 userValue, const void *payload, u32 payloadLen, u8 *dst, u32 dstSize);
    static u16 encodeMsg(u16 what, u16 userValue, const void *part1, u32 len1, const void *part2, u32 len2, u8 *dst,
                         u32 dstSize);

    // As above for a payload that stands at the start of `buffer`: it moves up to make room for the header.
    static u16 encodeMsgInPlace(u16 what, u16 userValue, u8 *buffer, u32 payloadLen, u32 bufferSize);

    // False when there are fewer than 4 bytes.
    static bool decodeMsg(const u8 *bytes, u32 length, sDecodedMsg *out);
    static bool decodeMsg(const ProtocolBuffer &buffer, sDecodedMsg *out);

  private:
    struct sIdentity
    {
        u32 identCode;
        u8 opt1, opt2, opt3;
        u32 opt32;
    };

    eSocketError priv_connectOnce(const char *address, u32 port, const sIdentity &identity);
    eSocketError priv_begin(const OSSocket &sok, const sIdentity &identity);
    eSocketError priv_identify(const sIdentity &identity);
    bool priv_waitIdentifyAnswer();
    void priv_free();

    Allocator *localAllocator;
    const sOSEvent *cancelEvent = nullptr;
    AllocatorPtr<ProtocolChSocketTCP> channel; // none when disconnected
    AllocatorPtr<ProtocolConsole> proto;
};

} // namespace tovi
