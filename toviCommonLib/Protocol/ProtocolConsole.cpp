#include "toviCommonLib/Protocol/ProtocolConsole.h"

#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviUtils.h"

#include <cstring>

namespace tovi
{
namespace
{

constexpr u32 MARK_LEN = 3;                      // both magic codes and the kind
constexpr u32 SHORT_OVERHEAD = MARK_LEN + 1 + 1; // length and checksum of one byte each
constexpr u32 LONG_OVERHEAD = MARK_LEN + 2 + 2;  // length and checksum of two bytes each
constexpr u32 SHORT_PAYLOAD_MAX = 255;
constexpr u32 ENCODE_RESERVE = 10;
constexpr u32 CLOSE_TIMEOUT_MSEC = 1000;

// What stands at a position that begins with the first magic code.
enum class eFrame : u8
{
    whole,
    incomplete,
    none,
    close
};

struct sFrame
{
    eFrame state;
    const u8 *payload = nullptr;
    u32 payloadLen = 0;
    u32 frameLen = 0;
};

sFrame shortFrameAt(const u8 *p, u32 n)
{
    if (n < MARK_LEN + 1)
        return {eFrame::incomplete};
    const u32 len = p[MARK_LEN];
    if (len == 0)
        return {eFrame::none};
    if (n < len + SHORT_OVERHEAD)
        return {eFrame::incomplete};
    const u8 *payload = p + MARK_LEN + 1;
    if (payload[len] != utils::simpleChecksum8_calc(payload, len))
        return {eFrame::none};
    return {eFrame::whole, payload, len, len + SHORT_OVERHEAD};
}

sFrame longFrameAt(const u8 *p, u32 n)
{
    if (n < MARK_LEN + 2)
        return {eFrame::incomplete};
    const u32 len = utils::readMsbLsbU16(p + MARK_LEN);
    if (len == 0 || len > ProtocolConsole::MESSAGE_LEN_MAX)
        return {eFrame::none};
    if (n < len + LONG_OVERHEAD)
        return {eFrame::incomplete};
    const u8 *payload = p + MARK_LEN + 2;
    if (utils::readMsbLsbU16(payload + len) != utils::simpleChecksum16_calc(payload, len))
        return {eFrame::none};
    return {eFrame::whole, payload, len, len + LONG_OVERHEAD};
}

sFrame frameAt(const u8 *p, u32 n)
{
    if (n < MARK_LEN)
        return {eFrame::incomplete};
    if (p[1] != ProtocolConsole::MAGIC_CODE_2)
        return {eFrame::none};
    switch (static_cast<ProtocolConsole::eOpcode>(p[2]))
    {
    case ProtocolConsole::eOpcode::internal_simpleMsg: return shortFrameAt(p, n);
    case ProtocolConsole::eOpcode::internal_extendedMsg: return longFrameAt(p, n);
    case ProtocolConsole::eOpcode::close: return {eFrame::close};
    default: return {eFrame::none};
    }
}

void writeMark(u8 *dst, ProtocolConsole::eOpcode kind)
{
    dst[0] = ProtocolConsole::MAGIC_CODE_1;
    dst[1] = ProtocolConsole::MAGIC_CODE_2;
    dst[2] = static_cast<u8>(kind);
}

u32 encodeShort(const u8 *payload, u32 n, u8 *dst, u32 dstSize)
{
    if (dstSize < n + SHORT_OVERHEAD)
        return RES_PROTOCOL_WRITEBUFFER_TOOSMALL;
    writeMark(dst, ProtocolConsole::eOpcode::internal_simpleMsg);
    dst[MARK_LEN] = static_cast<u8>(n);
    std::memcpy(dst + MARK_LEN + 1, payload, n);
    dst[MARK_LEN + 1 + n] = utils::simpleChecksum8_calc(payload, n);
    return n + SHORT_OVERHEAD;
}

u32 encodeLong(const u8 *payload, u32 n, u8 *dst, u32 dstSize)
{
    if (dstSize < n + LONG_OVERHEAD)
        return RES_PROTOCOL_WRITEBUFFER_TOOSMALL;
    writeMark(dst, ProtocolConsole::eOpcode::internal_extendedMsg);
    utils::writeMsbLsbU16(dst + MARK_LEN, static_cast<u16>(n));
    std::memcpy(dst + MARK_LEN + 2, payload, n);
    utils::writeMsbLsbU16(dst + MARK_LEN + 2 + n, utils::simpleChecksum16_calc(payload, n));
    return n + LONG_OVERHEAD;
}

} // namespace

void ProtocolConsole::virt_sendCloseMessage(IProtocolChannell *ch)
{
    u8 frame[MARK_LEN];
    const u32 len = priv_encodeAMessage(eOpcode::close, nullptr, 0, frame, sizeof frame);
    ch->write(frame, len, CLOSE_TIMEOUT_MSEC);
}

// Returns the bytes consumed; those in front of an incomplete frame are garbage and count as consumed.
u32 ProtocolConsole::priv_decodeOneMessage(const u8 *buffer, u32 n, sDecodeResult *out)
{
    *out = sDecodeResult{};
    u32 i = 0;
    while (i < n)
    {
        const void *mark = std::memchr(buffer + i, MAGIC_CODE_1, n - i);
        if (mark == nullptr)
            return n;
        i = static_cast<u32>(static_cast<const u8 *>(mark) - buffer);
        const sFrame frame = frameAt(buffer + i, n - i);
        switch (frame.state)
        {
        case eFrame::whole:
            *out = {eOpcode::msg, frame.payload, static_cast<u16>(frame.payloadLen)};
            return i + frame.frameLen;
        case eFrame::incomplete: return i;
        case eFrame::close: out->what = eOpcode::close; return RES_PROTOCOL_CLOSED;
        case eFrame::none: ++i; break;
        }
    }
    return n;
}

u32 ProtocolConsole::virt_decodeBuffer(IProtocolChannell *ch, const u8 *buffer, u32 nBytesInBuffer, ProtocolBuffer &out,
                                       u32 *nBytesInsertedIntoOut)
{
    *nBytesInsertedIntoOut = 0;
    sDecodeResult message;
    const u32 consumed = priv_decodeOneMessage(buffer, nBytesInBuffer, &message);
    if (consumed == 0 || isFailure(consumed))
        return consumed;
    switch (message.what)
    {
    case eOpcode::none: return consumed;
    case eOpcode::msg:
        if (!out.append(message.payload, message.payloadLen))
            return RES_ERROR;
        *nBytesInsertedIntoOut = message.payloadLen;
        return consumed;
    default: virt_sendCloseMessage(ch); return RES_PROTOCOL_CLOSED;
    }
}

u32 ProtocolConsole::virt_encodeBuffer(const u8 *bufferToEncode, u32 nBytesToEncode, ProtocolBuffer &out)
{
    const u32 needed = nBytesToEncode + ENCODE_RESERVE;
    if (out.getFree() < needed && !out.growIncremental(needed - out.getFree()))
        return RES_PROTOCOL_WRITEBUFFER_TOOSMALL;
    return priv_encodeAMessage(eOpcode::msg, bufferToEncode, nBytesToEncode, out.data() + out.getCursor(),
                               out.getFree());
}

u32 ProtocolConsole::priv_encodeAMessage(eOpcode what, const u8 *payload, u32 n, u8 *dst, u32 dstSize)
{
    if (dstSize < MARK_LEN)
        return 0;
    switch (what)
    {
    case eOpcode::close: writeMark(dst, eOpcode::close); return MARK_LEN;
    case eOpcode::msg:
        if (n == 0)
            return 0;
        return n <= SHORT_PAYLOAD_MAX ? encodeShort(payload, n, dst, dstSize) : encodeLong(payload, n, dst, dstSize);
    case eOpcode::internal_simpleMsg: return n <= SHORT_PAYLOAD_MAX ? encodeShort(payload, n, dst, dstSize) : 0;
    case eOpcode::internal_extendedMsg: return n > 0 ? encodeLong(payload, n, dst, dstSize) : 0;
    case eOpcode::none: break;
    }
    return 0;
}

} // namespace tovi
