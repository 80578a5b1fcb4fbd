// IProtocol: frames messages over a channel, after a handshake. Used by one thread; nothing locks.
#pragma once

#include "toviCommonLib/Protocol/IProtocolChannell.h"
#include "toviCommonLib/Protocol/ISimpleLogger.h"

namespace tovi
{

class IProtocol
{
  public:
    IProtocol(Allocator *allocator, u32 startingSizeOfWriteBuffer);
    virtual ~IProtocol() = default;
    IProtocol(const IProtocol &) = delete;
    IProtocol &operator=(const IProtocol &) = delete;

    // The logger is borrowed and may be null.
    virtual bool handshake_clientSend(IProtocolChannell *ch, ISimpleLogger *logger) = 0;

    // The client's handshake frame stands at the front of the channel's read buffer; it is consumed when valid.
    virtual bool handshake_serverAnswer(IProtocolChannell *ch, ISimpleLogger *logger) = 0;
    virtual void virt_sendCloseMessage(IProtocolChannell *ch) = 0;

    // Bytes consumed from the front of `buffer`, 0 when they do not hold a whole message yet, or a failure. The payload
    // of at most one message is appended to `out`, its length stored in `*nBytesInsertedIntoOut`.
    virtual u32 virt_decodeBuffer(IProtocolChannell *ch, const u8 *buffer, u32 nBytesInBuffer, ProtocolBuffer &out,
                                  u32 *nBytesInsertedIntoOut) = 0;

    // Writes one frame behind the cursor of `out`, which does not move; returns its length, 0 or a failure.
    virtual u32 virt_encodeBuffer(const u8 *bufferToEncode, u32 nBytesToEncode, ProtocolBuffer &out) = 0;

    // Appends the payload of one message to `out`: its length, 0 when no whole message came within the time or only
    // garbage was dropped, or a failure. Messages already received are returned without asking the channel.
    u32 read(IProtocolChannell *ch, u32 timeoutMSec, ProtocolBuffer &out);

    // Sends the bytes as one frame: what the channel's write returns (frame bytes), 0 when there is nothing to send.
    u32 write(IProtocolChannell *ch, const u8 *buffer, u16 nBytes, u32 timeoutMSec);

    // As `write`, of what the channel's writeNow takes.
    u32 writeNow(IProtocolChannell *ch, const u8 *buffer, u16 nBytes);

    // Tells the peer the end and closes the channel.
    void close(IProtocolChannell *ch);

  private:
    u32 priv_encode(const u8 *buffer, u16 nBytes);
    u32 priv_decodeReceived(IProtocolChannell *ch, ProtocolBuffer &out, u32 *nBytesInsertedIntoOut);

    ProtocolBuffer bufferW; // where an outgoing frame is built
};

} // namespace tovi
