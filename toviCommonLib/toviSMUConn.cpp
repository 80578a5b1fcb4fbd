#include "toviCommonLib/toviSMUConn.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSSocketPeer.h"
#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviSocket.h"

#include <cstring>

namespace tovi
{
namespace
{

constexpr u32 READ_BUFFER_START = 8192;
constexpr u32 READ_BUFFER_MAX = 65535;
constexpr u32 WRITE_BUFFER_START = 8192;
constexpr u32 SOCKET_WRITE_TIMEOUT_MSEC = 200;
constexpr u32 PING_TIMEOUT_MSEC = 200;
constexpr u32 ATTEMPT_PAUSE_MSEC = 500;
constexpr u32 IDENTIFY_WRITE_TIMEOUT_MSEC = 2000;
constexpr u32 IDENTIFY_ANSWER_TIMEOUT_MSEC = 5000;
constexpr u32 IDENTIFY_ANSWER_BUFFER = 128;
constexpr u32 MESSAGE_LEN_MAX = 0xFFFF;

void writeHeader(u8 *dst, u16 what, u16 userValue)
{
    utils::writeMsbLsbU16(dst, what);
    utils::writeMsbLsbU16(dst + 2, userValue);
}

// Length of a whole message, or 0 when it fits neither the destination nor a length of 16 bits.
u16 messageLen(u64 payloadLen, u32 dstSize)
{
    const u64 len = payloadLen + smu::MESSAGE_HEADER_LEN;
    return len > dstSize || len > MESSAGE_LEN_MAX ? u16{0} : static_cast<u16>(len);
}

} // namespace

SMUConn::SMUConn() : localAllocator(memory_getSysHeapAllocator()) {}

SMUConn::~SMUConn()
{
    disconnect();
}

eSocketError SMUConn::connect(const sOSNetAddr &address, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32,
                              u8 nAttempts)
{
    return connect(netaddr_toDottedText(address).c_str(), netaddr_port(address), identCode, opt1, opt2, opt3, opt32,
                   nAttempts);
}

eSocketError SMUConn::connect(const char *address, u32 port, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32,
                              u8 nAttempts)
{
    disconnect();
    for (u32 triesLeft = nAttempts != 0 ? nAttempts : 1;; --triesLeft)
    {
        const eSocketError error = priv_connectOnce(address, port, {identCode, opt1, opt2, opt3, opt32});
        if (error == eSocketError::none)
            return error;
        bool cancelled = false; // each failed try is followed by the pause, the last one too
        if (cancelEvent != nullptr)
            cancelled = platform::event_wasFired(*cancelEvent, ATTEMPT_PAUSE_MSEC);
        else
            platform::sleepMSec(ATTEMPT_PAUSE_MSEC);
        if (triesLeft == 1 || cancelled)
            return error;
    }
}

eSocketError SMUConn::connect(const OSSocket &connected, u32 identCode, u8 opt1, u8 opt2, u8 opt3, u32 opt32)
{
    disconnect();
    return priv_begin(connected, {identCode, opt1, opt2, opt3, opt32});
}

eSocketError SMUConn::priv_connectOnce(const char *address, u32 port, const sIdentity &identity)
{
    OSSocket sok;
    if (const eSocketError error = platform::socket_openAsTCPClient(&sok, address, port, cancelEvent);
        error != eSocketError::none)
        return error;
    platform::socket_setWriteTimeoutMSec(sok, SOCKET_WRITE_TIMEOUT_MSEC);
    platform::socket_setNoDelay(sok);
    return priv_begin(sok, identity);
}

// On a connected socket, which is owned from here on.
eSocketError SMUConn::priv_begin(const OSSocket &sok, const sIdentity &identity)
{
    channel = allocatorNew<ProtocolChSocketTCP>(*localAllocator, localAllocator, READ_BUFFER_START, READ_BUFFER_MAX);
    channel->setSocket(sok);
    platform::socket_watchPeer(sok);
    channel->setCancelEvent(cancelEvent);
    proto = allocatorNew<ProtocolConsole>(*localAllocator, localAllocator, WRITE_BUFFER_START);
    if (!proto->handshake_clientSend(channel.get(), nullptr))
    {
        channel->virt_close();
        priv_free();
        return eSocketError::unable_to_handshake;
    }
    const eSocketError error = priv_identify(identity);
    if (error != eSocketError::none)
        disconnect();
    return error;
}

eSocketError SMUConn::priv_identify(const sIdentity &identity)
{
    u8 payload[smu::IDENTIFY_PAYLOAD_LEN];
    utils::writeMsbLsbU32(payload, identity.identCode);
    payload[4] = identity.opt1;
    payload[5] = identity.opt2;
    payload[6] = identity.opt3;
    utils::writeMsbLsbU32(payload + 7, identity.opt32);

    u8 message[32];
    const u16 len = encodeMsg(WHAT_IDENTIFY, 0, payload, sizeof payload, message, sizeof message);
    const u32 written = write(message, len, IDENTIFY_WRITE_TIMEOUT_MSEC);
    if (written < len || isFailure(written))
        return eSocketError::timedOut;
    return priv_waitIdentifyAnswer() ? eSocketError::none : eSocketError::connRefused;
}

// The kind of the answer is not examined, and it may arrive in pieces.
bool SMUConn::priv_waitIdentifyAnswer()
{
    ProtocolBuffer answer;
    answer.setup(memory_getScrapAllocator2(), IDENTIFY_ANSWER_BUFFER);
    const u64 start = platform::getTimeNowMSec();
    for (u64 passed = 0; passed < IDENTIFY_ANSWER_TIMEOUT_MSEC; passed = platform::getTimeNowMSec() - start)
    {
        const u32 len = read(static_cast<u32>(IDENTIFY_ANSWER_TIMEOUT_MSEC - passed), answer);
        sDecodedMsg decoded;
        if (len != 0)
            return !isFailure(len) && decodeMsg(answer, &decoded);
    }
    return false;
}

void SMUConn::disconnect()
{
    if (!proto)
        return;
    if (channel->virt_isOpen())
        proto->close(channel.get());
    priv_free();
}

void SMUConn::priv_free()
{
    proto.reset();
    channel.reset();
}

u32 SMUConn::read(u32 timeoutMSec, ProtocolBuffer &out)
{
    out.reset();
    return proto ? proto->read(channel.get(), timeoutMSec, out) : RES_CHANNEL_CLOSED;
}

u32 SMUConn::write(const u8 *bytes, u16 length, u32 timeoutMSec)
{
    return proto ? proto->write(channel.get(), bytes, length, timeoutMSec) : RES_CHANNEL_CLOSED;
}

u32 SMUConn::writeNow(const u8 *bytes, u16 length)
{
    return proto ? proto->writeNow(channel.get(), bytes, length) : RES_CHANNEL_CLOSED;
}

u32 SMUConn::flush()
{
    return channel ? channel->flush() : RES_CHANNEL_CLOSED;
}

void SMUConn::acknowledgeNow()
{
    if (channel)
        channel->acknowledgeNow();
}

void SMUConn::sendPing(u16 userValue)
{
    u8 message[smu::MESSAGE_HEADER_LEN];
    const u16 len = encodeMsg(WHAT_PING, userValue, nullptr, 0, message, sizeof message);
    write(message, len, PING_TIMEOUT_MSEC);
}

u16 SMUConn::encodeMsg(u16 what, u16 userValue, const void *payload, u32 payloadLen, u8 *dst, u32 dstSize)
{
    return encodeMsg(what, userValue, payload, payloadLen, nullptr, 0, dst, dstSize);
}

u16 SMUConn::encodeMsg(u16 what, u16 userValue, const void *part1, u32 len1, const void *part2, u32 len2, u8 *dst,
                       u32 dstSize)
{
    const u32 used1 = part1 != nullptr ? len1 : 0;
    const u32 used2 = part2 != nullptr ? len2 : 0;
    const u16 len = messageLen(static_cast<u64>(used1) + used2, dstSize);
    if (len == 0)
        return 0;
    writeHeader(dst, what, userValue);
    u8 *payload = dst + smu::MESSAGE_HEADER_LEN;
    if (used1 != 0)
        std::memcpy(payload, part1, used1);
    if (used2 != 0)
        std::memcpy(payload + used1, part2, used2);
    return len;
}

u16 SMUConn::encodeMsgInPlace(u16 what, u16 userValue, u8 *buffer, u32 payloadLen, u32 bufferSize)
{
    const u16 len = messageLen(payloadLen, bufferSize);
    if (len == 0)
        return 0;
    std::memmove(buffer + smu::MESSAGE_HEADER_LEN, buffer, payloadLen);
    writeHeader(buffer, what, userValue);
    return len;
}

bool SMUConn::decodeMsg(const u8 *bytes, u32 length, sDecodedMsg *out)
{
    if (length < smu::MESSAGE_HEADER_LEN)
        return false;
    out->what = utils::readMsbLsbU16(bytes);
    out->userValue = utils::readMsbLsbU16(bytes + 2);
    out->payloadLen = length - smu::MESSAGE_HEADER_LEN;
    out->payload = out->payloadLen != 0 ? bytes + smu::MESSAGE_HEADER_LEN : nullptr;
    return true;
}

bool SMUConn::decodeMsg(const ProtocolBuffer &buffer, sDecodedMsg *out)
{
    return decodeMsg(buffer.data(), buffer.getCursor(), out);
}

} // namespace tovi
