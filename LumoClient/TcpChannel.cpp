#include "LumoClient/TcpChannel.h"

#include <cerrno>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumoClient
{

namespace
{

constexpr u32 WRITE_TIMEOUT_MSEC = 5000;
constexpr int NO_SOCKET = -1;

bool connectBy(int socket, const addrinfo &address, u64 deadlineMSec)
{
    if (connect(socket, address.ai_addr, address.ai_addrlen) == 0)
        return true;
    if ((errno != EINPROGRESS && errno != EINTR) || !waitUntilReady(socket, POLLOUT, deadlineMSec))
        return false;
    int error = 0;
    socklen_t errorLen = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &errorLen) == 0 && error == 0;
}

std::unique_ptr<TcpChannel> openOne(const addrinfo &address, u64 deadlineMSec)
{
    const int socketId = socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socketId < 0)
        return nullptr;
    auto channel = std::make_unique<TcpChannel>(socketId);
    const int on = 1;
    setsockopt(socketId, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // a packet waits for no other
    if (!connectBy(socketId, address, deadlineMSec))
        return nullptr;
    return channel;
}

} // namespace

std::unique_ptr<TcpChannel> TcpChannel::open(const std::string &host, u16 port, u32 timeoutMSec)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        return nullptr;

    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    const u64 deadlineMSec = steadyMSec() + timeoutMSec;
    for (const addrinfo *address = addresses.get(); address != nullptr; address = address->ai_next)
        if (auto channel = openOne(*address, deadlineMSec))
            return channel;
    return nullptr;
}

std::optional<size_t> TcpChannel::read(std::span<u8> into, u32 timeoutMSec)
{
    if (m_socket == NO_SOCKET)
        return std::nullopt;
    const u64 deadlineMSec = steadyMSec() + timeoutMSec;
    while (waitUntilReady(m_socket, POLLIN, deadlineMSec))
    {
        const ssize_t count = recv(m_socket, into.data(), into.size(), 0);
        if (count > 0)
            return static_cast<size_t>(count);
        if (count == 0 || (errno != EAGAIN && errno != EINTR))
            return std::nullopt;
    }
    return 0;
}

bool TcpChannel::write(std::span<const u8> bytes)
{
    if (m_socket == NO_SOCKET)
        return false;
    const u64 deadlineMSec = steadyMSec() + WRITE_TIMEOUT_MSEC;
    while (!bytes.empty())
    {
        const ssize_t count = send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count >= 0)
            bytes = bytes.subspan(static_cast<size_t>(count));
        else if (errno == EAGAIN && !waitUntilReady(m_socket, POLLOUT, deadlineMSec))
            return false;
        else if (errno != EAGAIN && errno != EINTR)
            return false;
    }
    return true;
}

void TcpChannel::close()
{
    if (m_socket != NO_SOCKET)
        ::close(m_socket);
    m_socket = NO_SOCKET;
}

void TcpChannel::reset()
{
    const linger atOnce{1, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
}

u64 TcpChannel::nowMSec() const
{
    return steadyMSec();
}

} // namespace LumoClient
