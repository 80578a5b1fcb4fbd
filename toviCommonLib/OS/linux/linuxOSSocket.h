// IPv4 TCP sockets as free functions over a plain record; linuxOSSocketUDP.h has the datagrams. A socket is used by one
// thread at a time; nothing is logged. A record that is not open, descriptor 0 included, gives what an error gives.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"
#include "toviCommonLib/toviEnums.h"

#include <netinet/in.h>

struct sOSSocket
{
    u32 readTimeoutMSec = 10000; // receive time-out currently set on the socket
    int socketID = -1;           // descriptor; every value below 1 counts as not open
};
using OSSocket = sOSSocket;

// One IPv4 address and port.
struct sOSNetAddr
{
    sockaddr_in addr{};
};

namespace platform
{

void socket_init(sOSSocket *out);
void socket_close(sOSSocket &sok);
bool socket_isOpen(const sOSSocket &sok);

// Opens and binds; `ip` is dotted text, read for `aSpecifiIP` alone. What is no address, and a port outside 0 to 65535,
// are an invalidParameter. On any error but `unsupported` the socket is closed.
eSocketError socket_openAsTCPServer(sOSSocket *out, int portNumber, eSocketBindMode mode, const char *ip);

// Of a bound server, before it listens: nobody else may listen on the port from then on, and if somebody does already,
// socket_listen fails.
void socket_claimPort(const sOSSocket &sok);

// A queue length of 65535 means the system maximum, 128.
bool socket_listen(const sOSSocket &sok, u16 maxIncomingConnectionsQueueLength);

// Takes a waiting connection with a read time-out of 10000 ms. False when there is none or no descriptor is left.
bool socket_accept(const sOSSocket &listener, sOSSocket *out);

// Connects to the dotted address `ip`, for as long as the kernel tries. When `cancel` (borrowed, may be null) was ever
// fired, or is while it waits, the connection is given up with `unknown`. On any error the socket is closed.
eSocketError socket_openAsTCPClient(sOSSocket *out, const char *ip, u32 port, const sOSEvent *cancel = nullptr);

// Begins a connection to the dotted address `ip` and returns at once; false, with the socket closed, when that fails.
bool socket_connectBegin(sOSSocket *out, const char *ip, u32 port);

// Whether the connection begun has come about; the socket then waits in its calls as any other. One that was refused is
// closed. Never waits.
bool socket_connectEnd(sOSSocket &sok);

// Whether the peer closed or reset the connection; bytes that it sent before may still be there to be read. Never waits.
bool socket_peerHasClosed(const sOSSocket &sok);

// 0xFFFFFFFF: no time-out. 0 is raised to 1 ms: a time-out of 0 never means polling.
bool socket_setReadTimeoutMSec(sOSSocket &sok, u32 timeoutMSec);
bool socket_setWriteTimeoutMSec(sOSSocket &sok, u32 timeoutMSec);

// Sends small writes at once instead of gathering them.
bool socket_setNoDelay(sOSSocket &sok);

// Tells the peer's system at once that what was received has come, instead of after the usual 40 ms. Counts for what came up
// to now; worth a call where no answer carries the word.
bool socket_acknowledgeNow(sOSSocket &sok);

// Bytes read; 0 when the peer closed or on an error; -1 when nothing came before the time-out or before a signal. With
// `bPeek` the bytes stay in the socket. The time-out is set on the socket when it differs from the one set before.
int socket_read(sOSSocket &sok, void *buffer, u16 nMaxBytesToRead, u32 timeoutMSec, bool bPeek);

// As `socket_read`, of bytes that are already there: it never waits and sets no time-out.
int socket_readNoWait(sOSSocket &sok, void *buffer, u16 nMaxBytesToRead);

enum class eSocketWait : u8
{
    readable, // bytes, or the peer closed
    timedOut,
    cancelled
};

// Waits for something to read, or for `cancel` (borrowed, may be null) to have been fired, which wins.
eSocketWait socket_waitReadable(const sOSSocket &sok, u32 timeoutMSec, const sOSEvent *cancel);

// Bytes handed to the system, fewer than asked for when the write time-out passed; 0 on an error. Which of both it was,
// socket_isBroken tells.
int socket_write(sOSSocket &sok, const void *buffer, u16 nBytes);

// Bytes that the system took at once, 0 when it has no room, -1 on an error; it never waits.
int socket_writeNoWait(sOSSocket &sok, const void *buffer, u32 nBytes);

// Whether nothing can be written any more: the connection was reset or given up, or is not open.
bool socket_isBroken(const sOSSocket &sok);

// A descriptor held back so that a waiting connection can still be refused when the process has none left; without it
// a level-triggered listener would stay ready for ever.
class DescriptorReserve
{
  public:
    DescriptorReserve();
    ~DescriptorReserve();
    DescriptorReserve(const DescriptorReserve &) = delete;
    DescriptorReserve &operator=(const DescriptorReserve &) = delete;

    // Takes the waiting connection of `listener` and closes it at once. False when even that was not possible.
    bool refuse(const sOSSocket &listener);

  private:
    int m_descriptor;
};

} // namespace platform
