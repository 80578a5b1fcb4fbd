// IPv4 datagram sockets, on the records of linuxOSSocket.h. A socket is used by one thread at a time.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSSocket.h"

namespace platform
{

// With a read time-out of 2000 ms.
eSocketError socket_openAsUDP(sOSSocket *out);

// Binds as `socket_openAsTCPServer` does and closes the socket on the same errors. Prints a line for an error number
// that has no result of its own.
eSocketError socket_UDPbind(sOSSocket &sok, int portNumber, eSocketBindMode mode, const char *ip);

// Sends one datagram. Bytes handed to the system; 0 on an error.
u32 socket_UDPSendTo(sOSSocket &sok, const u8 *buffer, u32 nBytes, const sOSNetAddr &addrTo);

// Takes one datagram, cut to `nMax` bytes, and its sender. Bytes taken; 0, with `*out_from` unchanged, on an error and
// when none came before the time-out.
u32 socket_UDPReceiveFrom(sOSSocket &sok, u8 *buffer, u32 nMax, sOSNetAddr *out_from);

} // namespace platform
