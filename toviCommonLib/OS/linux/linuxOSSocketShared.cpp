#include "toviCommonLib/OS/linux/linuxOSSocketShared.h"

#include <arpa/inet.h>
#include <cerrno>
#include <sys/socket.h>

namespace platform::internal
{
namespace
{

eSocketError openErrorFromErrno(int error)
{
    switch (error)
    {
    case ENOMEM:
    case ENOBUFS: return eSocketError::noMem;
    case EACCES: return eSocketError::denied;
    case EINVAL:
    case EPROTONOSUPPORT:
    case EAFNOSUPPORT: return eSocketError::unsupported;
    case ENFILE:
    case EMFILE: return eSocketError::tooMany;
    default: return eSocketError::unknown;
    }
}

} // namespace

void setOption(const sOSSocket &sok, int option, int value)
{
    setsockopt(descriptorOf(sok), SOL_SOCKET, option, &value, sizeof value);
}

eSocketError openSocket(sOSSocket *out, int type, int protocol)
{
    socket_init(out);
    out->socketID = socket(AF_INET, type | SOCK_CLOEXEC, protocol);
    if (out->socketID < 0)
        return openErrorFromErrno(errno);
    setOption(*out, SO_REUSEADDR, 1);
    setOption(*out, SO_REUSEPORT, 1);
    return eSocketError::none;
}

sockaddr_in makeAddress(in_addr_t address, int port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = address;
    result.sin_port = htons(static_cast<u16>(port));
    return result;
}

eSocketError bindSocket(sOSSocket *sok, int portNumber, eSocketBindMode mode, const char *ip,
                        eSocketError (*errorFromErrno)(int error))
{
    if (portNumber < 0 || portNumber > 0xFFFF)
        return closeWith(sok, eSocketError::invalidParameter);

    in_addr_t address = INADDR_NONE;
    switch (mode)
    {
    case eSocketBindMode::anyInterface: address = htonl(INADDR_ANY); break;
    case eSocketBindMode::loopbackInterface: address = htonl(INADDR_LOOPBACK); break;
    case eSocketBindMode::aSpecifiIP: address = inet_addr(ip); break;
    default: return eSocketError::unsupported; // the socket stays open for the caller to close
    }
    // What is no address reads as the broadcast address, which the system would bind although nobody can connect to it.
    if (address == INADDR_NONE)
        return closeWith(sok, eSocketError::invalidParameter);
    const sockaddr_in local = makeAddress(address, portNumber);
    if (bind(descriptorOf(*sok), reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0)
        return closeWith(sok, errorFromErrno(errno));
    return eSocketError::none;
}

eSocketError addressErrorFromErrno(int error)
{
    switch (error)
    {
    case ENOMEM: return eSocketError::noMem;
    case EACCES: return eSocketError::addressProtected;
    case EINVAL: return eSocketError::alreadyBound;
    case ENOTSOCK: return eSocketError::invalidDescriptor;
    case EADDRINUSE: return eSocketError::addressInUse;
    default: return eSocketError::unknown;
    }
}

eSocketError closeWith(sOSSocket *sok, eSocketError error)
{
    socket_close(*sok);
    return error;
}

} // namespace platform::internal
