#include "toviCommonLib/Protocol/ProtocolChSocketTCP.h"

#include "toviCommonLib/OS/linux/linuxOSSocketPeer.h"

#include <algorithm>

namespace tovi
{
namespace
{
constexpr u32 SOCKET_CALL_MAX = 0xFFFF; // a socket call takes a length of 16 bits
}

ProtocolChSocketTCP::ProtocolChSocketTCP(Allocator *allocator, u32 startingSize, u32 maxSize)
    : IProtocolChannell(allocator, startingSize, maxSize)
{
    platform::socket_init(&sok);
}

ProtocolChSocketTCP::~ProtocolChSocketTCP()
{
    platform::socket_close(sok);
}

bool ProtocolChSocketTCP::virt_isOpen() const
{
    return platform::socket_isOpen(sok);
}

void ProtocolChSocketTCP::virt_close()
{
    platform::socket_close(sok);
}

bool ProtocolChSocketTCP::peerIsGone() const
{
    return platform::socket_peerIsGone(sok);
}

u32 ProtocolChSocketTCP::virt_read(u8 *buffer, u32 maxBytes, u32 timeoutMSec)
{
    if (timeoutMSec != 0)
    {
        switch (platform::socket_waitReadable(sok, timeoutMSec, cancelEvent))
        {
        case platform::eSocketWait::readable: break;
        case platform::eSocketWait::timedOut: return 0;
        case platform::eSocketWait::cancelled: return RES_ERROR;
        }
    }
    const int n = platform::socket_readNoWait(sok, buffer, static_cast<u16>(std::min(maxBytes, SOCKET_CALL_MAX)));
    if (n == 0)
        return RES_CHANNEL_CLOSED;
    return n < 0 ? 0 : static_cast<u32>(n);
}

u32 ProtocolChSocketTCP::virt_write(const u8 *buffer, u32 nBytes)
{
    u32 sent = 0;
    while (sent < nBytes)
    {
        const u16 piece = static_cast<u16>(std::min(nBytes - sent, SOCKET_CALL_MAX));
        const int n = platform::socket_write(sok, buffer + sent, piece);
        sent += static_cast<u32>(n);
        if (n < piece)
            return platform::socket_isBroken(sok) ? RES_CHANNEL_CLOSED : sent; // a full link, or a dead one
    }
    return sent;
}

u32 ProtocolChSocketTCP::virt_writeNow(const u8 *buffer, u32 nBytes)
{
    const int n = platform::socket_writeNoWait(sok, buffer, nBytes);
    return n < 0 ? RES_CHANNEL_CLOSED : static_cast<u32>(n);
}

} // namespace tovi
