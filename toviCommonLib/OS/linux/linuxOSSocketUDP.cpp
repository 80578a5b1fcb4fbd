#include "toviCommonLib/OS/linux/linuxOSSocketUDP.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/OS/linux/linuxOSSocketShared.h"

#include <cerrno>
#include <sys/socket.h>

namespace platform
{
namespace
{

constexpr u32 READ_TIMEOUT_MSEC = 2000;

} // namespace

eSocketError internal::bindErrorUDPFromErrno(int error)
{
    switch (error)
    {
    case ENOENT:
    case EBADF:
    case EFAULT:
    case ENOTDIR:
    case EROFS:
    case ENAMETOOLONG:
    case ELOOP:
    case EADDRNOTAVAIL: console_printLine("socket_UDPbind error EBADF"); return eSocketError::unknown; // for all alike
    default: break;
    }
    const eSocketError result = addressErrorFromErrno(error);
    if (result == eSocketError::unknown)
        console_printLine("socket_UDPbind error [%d]", error);
    return result;
}

eSocketError socket_openAsUDP(sOSSocket *out)
{
    if (const eSocketError error = internal::openSocket(out, SOCK_DGRAM, 0); error != eSocketError::none)
        return error;
    socket_setReadTimeoutMSec(*out, READ_TIMEOUT_MSEC);
    return eSocketError::none;
}

eSocketError socket_UDPbind(sOSSocket &sok, int portNumber, eSocketBindMode mode, const char *ip)
{
    return internal::bindSocket(&sok, portNumber, mode, ip, internal::bindErrorUDPFromErrno);
}

u32 socket_UDPSendTo(sOSSocket &sok, const u8 *buffer, u32 nBytes, const sOSNetAddr &addrTo)
{
    const ssize_t n = sendto(internal::descriptorOf(sok), buffer, nBytes, MSG_NOSIGNAL,
                             reinterpret_cast<const sockaddr *>(&addrTo.addr), sizeof addrTo.addr);
    return n > 0 ? static_cast<u32>(n) : 0;
}

u32 socket_UDPReceiveFrom(sOSSocket &sok, u8 *buffer, u32 nMax, sOSNetAddr *out_from)
{
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const ssize_t n =
        recvfrom(internal::descriptorOf(sok), buffer, nMax, 0, reinterpret_cast<sockaddr *>(&from), &size);
    if (n < 0)
        return 0;
    out_from->addr = from;
    return static_cast<u32>(n);
}

} // namespace platform
