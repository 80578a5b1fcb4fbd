#include "toviCommonLib/Protocol/IProtocolChannell.h"

#include "toviCommonLib/OS/linux/linuxOS.h"

#include <algorithm>

namespace tovi
{
namespace
{

constexpr u32 FREE_SPACE_WANTED = 1024;
constexpr u32 READ_MAX = 65535;
constexpr u32 WRITE_RETRY_MSEC = 50;

} // namespace

IProtocolChannell::IProtocolChannell(Allocator *allocator, u32 startingSizeOfReadBuffer, u32 maxSize)
    : maxSizeOfReadBuffer(maxSize)
{
    bufferR.setup(allocator, std::min(startingSizeOfReadBuffer, maxSize));
    unsentTail.setup(allocator, 0);
}

u32 IProtocolChannell::read(u32 timeoutMSec)
{
    if (bufferR.getFree() < FREE_SPACE_WANTED)
        bufferR.growUpTo(std::min(bufferR.getTotalSizeAllocated() * 2, maxSizeOfReadBuffer));
    const u32 wanted = std::min(bufferR.getFree(), READ_MAX);
    if (wanted == 0)
        return 0;
    const u32 count = virt_read(bufferR.data() + bufferR.getCursor(), wanted, timeoutMSec);
    if (!isFailure(count))
        bufferR.advanceCursor(std::min(count, wanted));
    return count;
}

u32 IProtocolChannell::write(const u8 *buffer, u32 nBytes, u32 timeoutMSec)
{
    const u64 deadline = platform::getTimeNowMSec() + timeoutMSec;
    if (unsentTail.getCursor() != 0)
    {
        const u32 sent = priv_writeUntil(unsentTail.data(), unsentTail.getCursor(), deadline);
        if (isFailure(sent))
            return sent;
        unsentTail.removeFirstNByte(sent);
        if (unsentTail.getCursor() != 0)
            return 0;
    }
    const u32 sent = priv_writeUntil(buffer, nBytes, deadline);
    if (!isFailure(sent) && sent > 0 && sent < nBytes)
        unsentTail.append(buffer + sent, nBytes - sent);
    return sent;
}

u32 IProtocolChannell::writeNow(const u8 *buffer, u32 nBytes)
{
    if (const u32 left = flush(); left != 0)
        return isFailure(left) ? left : 0;
    const u32 sent = virt_writeNow(buffer, nBytes);
    if (isFailure(sent))
        return sent;
    unsentTail.append(buffer + sent, nBytes - sent);
    return nBytes;
}

u32 IProtocolChannell::flush()
{
    if (!hasTail())
        return 0;
    const u32 sent = virt_writeNow(unsentTail.data(), unsentTail.getCursor());
    if (isFailure(sent))
        return sent;
    unsentTail.removeFirstNByte(sent);
    return unsentTail.getCursor();
}

// Nothing is tried once the deadline has passed: the time asked for bounds how long the caller's loop stands still.
u32 IProtocolChannell::priv_writeUntil(const u8 *buffer, u32 nBytes, u64 deadlineMSec)
{
    u32 sent = virt_write(buffer, nBytes);
    while (!isFailure(sent) && sent < nBytes && platform::getTimeNowMSec() < deadlineMSec)
    {
        platform::sleepMSec(WRITE_RETRY_MSEC);
        const u32 more = virt_write(buffer + sent, nBytes - sent);
        if (isFailure(more))
            return more;
        sent += more;
    }
    return sent;
}

} // namespace tovi
