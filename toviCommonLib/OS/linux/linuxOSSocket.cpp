#include "toviCommonLib/OS/linux/linuxOSSocket.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSSocketShared.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace platform
{

using namespace internal;

namespace
{

constexpr u32 TIMEOUT_NONE = 0xFFFFFFFF;
constexpr u16 QUEUE_LENGTH_SYSTEM_MAX = 0xFFFF;
constexpr int SOCKET_BUFFER_SIZE = 65536;
constexpr int WAIT_FOR_EVER = -1;

eSocketError connectErrorFromErrno(int error)
{
    switch (error)
    {
    case EPERM: return eSocketError::addressProtected;
    case ETIMEDOUT: return eSocketError::timedOut;
    case ECONNREFUSED: return eSocketError::connRefused;
    default: return addressErrorFromErrno(error);
    }
}

eSocketError openTCP(sOSSocket *out)
{
    if (const eSocketError error = openSocket(out, SOCK_STREAM, IPPROTO_TCP); error != eSocketError::none)
        return error;
    setOption(*out, SO_RCVBUF, SOCKET_BUFFER_SIZE);
    setOption(*out, SO_SNDBUF, SOCKET_BUFFER_SIZE);
    return eSocketError::none;
}

// Waits for a connection in progress, for ever or (0) not at all; returns its error number, EINTR when `cancel` ended the
// wait, EINPROGRESS when it goes on.
int awaitConnected(const sOSSocket &sok, const sOSEvent *cancel, int timeoutMSec)
{
    pollfd sources[2] = {{descriptorOf(sok), POLLOUT, 0}, {cancel != nullptr ? cancel->evfd : -1, POLLIN, 0}};
    int n = poll(sources, 2, timeoutMSec);
    for (; n < 0; n = poll(sources, 2, timeoutMSec))
    {
        if (errno != EINTR)
            return errno;
    }
    if (n == 0)
        return EINPROGRESS;
    if (sources[1].revents != 0)
        return EINTR;
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(descriptorOf(sok), SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

void setBlocking(const sOSSocket &sok, bool on)
{
    const int flags = fcntl(descriptorOf(sok), F_GETFL);
    fcntl(descriptorOf(sok), F_SETFL, on ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

// The error number of a connection that is begun; 0 when it goes on or has come about.
int connectBegin(const sOSSocket &sok, const sockaddr_in &address)
{
    setBlocking(sok, false);
    const int result = connect(descriptorOf(sok), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    return result == 0 || errno == EINPROGRESS || errno == EINTR ? 0 : errno;
}

int connectTo(const sOSSocket &sok, const sockaddr_in &address, const sOSEvent *cancel)
{
    int error = connectBegin(sok, address);
    if (error == 0)
        error = awaitConnected(sok, cancel, WAIT_FOR_EVER);
    setBlocking(sok, true);
    return error;
}

timeval toTimeval(u32 timeoutMSec)
{
    timeval result{};
    if (timeoutMSec == TIMEOUT_NONE)
        return result;
    const u32 msec = timeoutMSec == 0 ? 1 : timeoutMSec;
    result.tv_sec = static_cast<time_t>(msec / 1000);
    result.tv_usec = static_cast<suseconds_t>(msec % 1000) * 1000;
    return result;
}

bool setTimeout(const sOSSocket &sok, int option, u32 timeoutMSec)
{
    const timeval timeout = toTimeval(timeoutMSec);
    return setsockopt(descriptorOf(sok), SOL_SOCKET, option, &timeout, sizeof timeout) == 0;
}

u64 writeTimeoutMSec(const sOSSocket &sok)
{
    timeval timeout{};
    socklen_t size = sizeof timeout;
    getsockopt(descriptorOf(sok), SOL_SOCKET, SO_SNDTIMEO, &timeout, &size);
    return static_cast<u64>(timeout.tv_sec) * 1000 + static_cast<u64>(timeout.tv_usec) / 1000;
}

int receive(const sOSSocket &sok, void *buffer, u16 nMaxBytesToRead, int flags)
{
    const ssize_t n = recv(descriptorOf(sok), buffer, nMaxBytesToRead, flags);
    if (n >= 0)
        return static_cast<int>(n);
    return errno == EAGAIN || errno == EINTR ? -1 : 0;
}

} // namespace

void socket_init(sOSSocket *out)
{
    *out = sOSSocket{};
}

void socket_close(sOSSocket &sok)
{
    if (!socket_isOpen(sok))
        return;
    close(sok.socketID);
    sok.socketID = -1;
}

bool socket_isOpen(const sOSSocket &sok)
{
    return sok.socketID > 0;
}

eSocketError socket_openAsTCPServer(sOSSocket *out, int portNumber, eSocketBindMode mode, const char *ip)
{
    eSocketError error = openTCP(out);
    if (error == eSocketError::none)
        error = bindSocket(out, portNumber, mode, ip, addressErrorFromErrno);
    if (error != eSocketError::none)
        return error;
    socket_setReadTimeoutMSec(*out, out->readTimeoutMSec);
    return eSocketError::none;
}

void socket_claimPort(const sOSSocket &sok)
{
    setOption(sok, SO_REUSEPORT, 0);
}

bool socket_listen(const sOSSocket &sok, u16 maxIncomingConnectionsQueueLength)
{
    const int length =
        maxIncomingConnectionsQueueLength == QUEUE_LENGTH_SYSTEM_MAX ? 128 : maxIncomingConnectionsQueueLength;
    return listen(descriptorOf(sok), length) == 0;
}

bool socket_accept(const sOSSocket &listener, sOSSocket *out)
{
    socket_init(out);
    do
    {
        out->socketID = accept4(descriptorOf(listener), nullptr, nullptr, SOCK_CLOEXEC);
    } while (out->socketID < 0 && errno == EINTR);
    if (!socket_isOpen(*out) || socket_setReadTimeoutMSec(*out, out->readTimeoutMSec))
        return socket_isOpen(*out);
    socket_close(*out);
    errno = ECONNABORTED; // it is gone, whatever the reason was
    return false;
}

eSocketError socket_openAsTCPClient(sOSSocket *out, const char *ip, u32 port, const sOSEvent *cancel)
{
    if (const eSocketError error = openTCP(out); error != eSocketError::none)
        return error;
    if (port > 0xFFFF)
        return closeWith(out, eSocketError::invalidParameter);
    // The look-up is a check alone: the address used is the text itself. For a plain dotted address the answer is known,
    // and glibc's look-up hangs for ever when it finds no memory.
    in_addr dotted;
    if (inet_pton(AF_INET, ip, &dotted) != 1 && gethostbyname(ip) == nullptr)
        return closeWith(out, eSocketError::no_such_host);
    const int error = connectTo(*out, makeAddress(inet_addr(ip), static_cast<int>(port)), cancel);
    return error == 0 ? eSocketError::none : closeWith(out, connectErrorFromErrno(error));
}

bool socket_connectBegin(sOSSocket *out, const char *ip, u32 port)
{
    in_addr address;
    if (openTCP(out) != eSocketError::none)
        return false;
    if (port <= 0xFFFF && inet_pton(AF_INET, ip, &address) == 1 &&
        connectBegin(*out, makeAddress(address.s_addr, static_cast<int>(port))) == 0)
        return true;
    socket_close(*out);
    return false;
}

bool socket_connectEnd(sOSSocket &sok)
{
    if (!socket_isOpen(sok))
        return false;
    const int error = awaitConnected(sok, nullptr, 0);
    if (error == 0)
        setBlocking(sok, true);
    else if (error != EINPROGRESS)
        socket_close(sok);
    return error == 0;
}

bool socket_peerHasClosed(const sOSSocket &sok)
{
    pollfd source{descriptorOf(sok), POLLRDHUP, 0};
    return poll(&source, 1, 0) > 0 && (source.revents & (POLLRDHUP | POLLHUP)) != 0;
}

bool socket_setReadTimeoutMSec(sOSSocket &sok, u32 timeoutMSec)
{
    if (!setTimeout(sok, SO_RCVTIMEO, timeoutMSec))
        return false;
    sok.readTimeoutMSec = timeoutMSec;
    return true;
}

bool socket_setWriteTimeoutMSec(sOSSocket &sok, u32 timeoutMSec)
{
    return setTimeout(sok, SO_SNDTIMEO, timeoutMSec);
}

bool socket_setNoDelay(sOSSocket &sok)
{
    const int on = 1;
    return setsockopt(descriptorOf(sok), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
}

bool socket_acknowledgeNow(sOSSocket &sok)
{
    const int on = 1;
    return setsockopt(descriptorOf(sok), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on) == 0;
}

int socket_read(sOSSocket &sok, void *buffer, u16 nMaxBytesToRead, u32 timeoutMSec, bool bPeek)
{
    if (timeoutMSec != sok.readTimeoutMSec)
        socket_setReadTimeoutMSec(sok, timeoutMSec);
    return receive(sok, buffer, nMaxBytesToRead, bPeek ? MSG_PEEK : 0);
}

int socket_readNoWait(sOSSocket &sok, void *buffer, u16 nMaxBytesToRead)
{
    for (;;)
    {
        const int n = receive(sok, buffer, nMaxBytesToRead, MSG_DONTWAIT);
        if (n >= 0 || errno != EINTR)
            return n;
    }
}

eSocketWait socket_waitReadable(const sOSSocket &sok, u32 timeoutMSec, const sOSEvent *cancel)
{
    pollfd sources[2] = {{descriptorOf(sok), POLLIN, 0}, {cancel != nullptr ? cancel->evfd : -1, POLLIN, 0}};
    const u64 start = getTimeNowMSec();
    for (u64 passed = 0;; passed = std::min<u64>(getTimeNowMSec() - start, timeoutMSec))
    {
        const u32 left = timeoutMSec == TIMEOUT_NONE ? TIMEOUT_NONE : static_cast<u32>(timeoutMSec - passed);
        const int n = poll(sources, 2, static_cast<int>(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (sources[1].revents != 0)
            return eSocketWait::cancelled;
        return n == 0 ? eSocketWait::timedOut : eSocketWait::readable;
    }
}

int socket_write(sOSSocket &sok, const void *buffer, u16 nBytes)
{
    const u8 *bytes = static_cast<const u8 *>(buffer);
    const u64 start = getTimeNowMSec();
    int done = 0;
    for (;;)
    {
        const ssize_t n = send(descriptorOf(sok), bytes + done, static_cast<size_t>(nBytes - done), MSG_NOSIGNAL);
        if (n < 0 && errno != EINTR)
            return done;
        done += n > 0 ? static_cast<int>(n) : 0;
        if (done == nBytes)
            return done;
        // A part went out, or none: a signal came or the time is over. The whole call keeps one write time-out.
        const u64 limit = writeTimeoutMSec(sok);
        if (limit != 0 && getTimeNowMSec() - start >= limit)
            return done;
    }
}

int socket_writeNoWait(sOSSocket &sok, const void *buffer, u32 nBytes)
{
    for (;;)
    {
        const ssize_t n = send(descriptorOf(sok), buffer, nBytes, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0)
            return static_cast<int>(n);
        if (errno != EINTR)
            return errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM ? 0 : -1;
    }
}

// An error that a failed call has taken away already still shows as the end of both directions.
bool socket_isBroken(const sOSSocket &sok)
{
    pollfd link{descriptorOf(sok), 0, 0};
    if (!socket_isOpen(sok) || (poll(&link, 1, 0) > 0 && (link.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0))
        return true;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(descriptorOf(sok), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0;
}

DescriptorReserve::DescriptorReserve() : m_descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)) {}

DescriptorReserve::~DescriptorReserve()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

bool DescriptorReserve::refuse(const sOSSocket &listener)
{
    if (m_descriptor >= 0)
        close(m_descriptor);
    pollfd waiting{descriptorOf(listener), POLLIN, 0};
    const bool isThere = poll(&waiting, 1, 0) > 0; // else it would be waited for
    const int refused = isThere ? accept4(descriptorOf(listener), nullptr, nullptr, SOCK_CLOEXEC) : -1;
    if (refused >= 0)
        close(refused);
    m_descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return refused >= 0;
}

} // namespace platform
