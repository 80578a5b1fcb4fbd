#include "toviCommonLib/Protocol/IProtocol.h"

namespace tovi
{

IProtocol::IProtocol(Allocator *allocator, u32 startingSizeOfWriteBuffer)
{
    bufferW.setup(allocator, startingSizeOfWriteBuffer);
}

// Decodes what the channel holds and drops what that consumed.
u32 IProtocol::priv_decodeReceived(IProtocolChannell *ch, ProtocolBuffer &out, u32 *nBytesInsertedIntoOut)
{
    ProtocolBuffer &received = ch->bufferR;
    const u32 consumed = virt_decodeBuffer(ch, received.data(), received.getCursor(), out, nBytesInsertedIntoOut);
    if (!isFailure(consumed))
        received.removeFirstNByte(consumed);
    return consumed;
}

u32 IProtocol::read(IProtocolChannell *ch, u32 timeoutMSec, ProtocolBuffer &out)
{
    u32 payloadLen = 0;
    u32 consumed = priv_decodeReceived(ch, out, &payloadLen);
    if (consumed != 0 && !isFailure(consumed))
        return payloadLen;

    const u32 received = ch->read(timeoutMSec);
    if (isFailure(received))
        return received;
    if (ch->bufferR.getCursor() == 0)
        return 0;
    consumed = priv_decodeReceived(ch, out, &payloadLen);
    return consumed == 0 || isFailure(consumed) ? consumed : payloadLen;
}

// The length of the frame that `bufferW` then holds, 0 for none.
u32 IProtocol::priv_encode(const u8 *buffer, u16 nBytes)
{
    if (buffer == nullptr || nBytes == 0)
        return 0;
    bufferW.reset();
    const u32 frameLen = virt_encodeBuffer(buffer, nBytes, bufferW);
    return isFailure(frameLen) ? 0 : frameLen;
}

u32 IProtocol::write(IProtocolChannell *ch, const u8 *buffer, u16 nBytes, u32 timeoutMSec)
{
    const u32 frameLen = priv_encode(buffer, nBytes);
    return frameLen != 0 ? ch->write(bufferW.data(), frameLen, timeoutMSec) : 0;
}

u32 IProtocol::writeNow(IProtocolChannell *ch, const u8 *buffer, u16 nBytes)
{
    const u32 frameLen = priv_encode(buffer, nBytes);
    return frameLen != 0 ? ch->writeNow(bufferW.data(), frameLen) : 0;
}

void IProtocol::close(IProtocolChannell *ch)
{
    virt_sendCloseMessage(ch);
    ch->virt_close();
}

} // namespace tovi
