// What the socket files share: opening, local addresses, and error numbers as results. For the platform layer alone.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSSocket.h"

namespace platform::internal
{

// What a system call is given. A record whose descriptor is below 1 is not open, descriptor 0 included: the system
// refuses the -1.
inline int descriptorOf(const sOSSocket &sok)
{
    return socket_isOpen(sok) ? sok.socketID : -1;
}

void setOption(const sOSSocket &sok, int option, int value);

// Sets the record's defaults, opens the socket and lets its address be used again at once.
eSocketError openSocket(sOSSocket *out, int type, int protocol);

sockaddr_in makeAddress(in_addr_t address, int port);

// Binds to the interface of `mode`; `ip` is dotted text, read for `aSpecifiIP` alone. What is no address, and a port
// outside 0 to 65535, are an invalidParameter. `errorFromErrno` tells what the system refused. On any error but
// `unsupported` the socket is closed.
eSocketError bindSocket(sOSSocket *sok, int portNumber, eSocketBindMode mode, const char *ip,
                        eSocketError (*errorFromErrno)(int error));

// The errors that every bind and connect has in common; `unknown` for any other number.
eSocketError addressErrorFromErrno(int error);

// The same for a datagram socket, which prints a line for an unknown one.
eSocketError bindErrorUDPFromErrno(int error);

eSocketError closeWith(sOSSocket *sok, eSocketError error);

} // namespace platform::internal
