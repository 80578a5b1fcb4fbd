// A descriptor with an owner, and reads from it that end when bytes come, at the latest after a patience that only a
// broken program uses up.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

constexpr int PATIENCE_MSEC = 20000;

class Descriptor
{
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    int get() const { return m_fd; }
    void reset()
    {
        if (m_fd >= 0)
            close(m_fd);
        m_fd = -1;
    }

    void write(const std::vector<u8> &bytes) const
    {
        for (size_t done = 0; done < bytes.size();)
        {
            pollfd room{m_fd, POLLOUT, 0};
            const ssize_t n = ::write(m_fd, bytes.data() + done, bytes.size() - done);
            if (n > 0)
                done += static_cast<size_t>(n);
            else if (n == 0 || errno != EAGAIN || poll(&room, 1, PATIENCE_MSEC) != 1)
                return;
        }
    }

    // Appends what one read gives; false at the end, on an error, or when patience is over.
    bool readInto(std::vector<u8> &out, size_t most = 65536) const
    {
        pollfd source{m_fd, POLLIN, 0};
        if (poll(&source, 1, PATIENCE_MSEC) != 1)
            return false;
        const size_t before = out.size();
        out.resize(before + most);
        const ssize_t n = ::read(m_fd, out.data() + before, most);
        out.resize(before + static_cast<size_t>(n > 0 ? n : 0));
        return n > 0;
    }

    // Exactly `count` bytes; fewer when the peer ended.
    std::vector<u8> readExactly(size_t count) const
    {
        std::vector<u8> bytes;
        while (bytes.size() < count && readInto(bytes, count - bytes.size()))
        {
        }
        return bytes;
    }

  private:
    int m_fd = -1;
};

// A loopback address of this process's own: every port is free on it.
inline std::string ownLoopback()
{
    const int pid = getpid();
    return "127." + std::to_string(1 + pid / 62500 % 250) + "." + std::to_string(1 + pid / 250 % 250) + "." +
           std::to_string(1 + pid % 250);
}

inline sockaddr_in addressOf(const std::string &ip, u16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(ip.c_str());
    address.sin_port = htons(port);
    return address;
}

constexpr int SMALL_BUFFER = 4096;

inline void limitReceiveBuffer(const Descriptor &socket, int bytes)
{
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

// A connected socket, or none; with a receive buffer of the system's size for 0.
inline Descriptor connectTo(const std::string &ip, u16 port, int receiveBuffer = 0)
{
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (receiveBuffer != 0)
        limitReceiveBuffer(socket, receiveBuffer);
    const sockaddr_in address = addressOf(ip, port);
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        socket.reset();
    return socket;
}

// A listening socket on any free port of the address, or on the one wanted if that is free.
inline Descriptor listenAnywhere(u16 *port, const std::string &ip = "127.0.0.1", u16 wanted = 0)
{
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = addressOf(ip, wanted);
    socklen_t size = sizeof address;
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // connections of a run before may be around
    bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    listen(socket.get(), 5);
    getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &size);
    *port = ntohs(address.sin_port);
    return socket;
}
