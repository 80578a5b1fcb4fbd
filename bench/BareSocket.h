// Sockets of the bare programs.
#pragma once

#include "tests/Descriptor.h"

#include <netinet/tcp.h>
#include <span>
#include <stdexcept>

namespace LumoBench
{

inline void setNoDelay(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// The first client that connects to an address.
inline Descriptor takeOne(const std::string &ip, u16 port)
{
    const Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in address = addressOf(ip, port);
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener.get(), 1) != 0)
        throw std::runtime_error("no address to listen on");
    Descriptor client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    setNoDelay(client.get());
    return client;
}

inline void sendAll(int socket, std::span<const u8> bytes)
{
    if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("a peer does not take what is sent");
}

} // namespace LumoBench
