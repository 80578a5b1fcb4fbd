// Both neighbours of the bridge as raw bytes: the machine and the client. Nothing of the bridge's own code is used.
#pragma once

#include "tests/Descriptor.h"
#include "tests/WirePacket.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <netinet/tcp.h>

inline std::string hexOf(const std::vector<u8> &bytes)
{
    std::string text;
    char pair[4];
    for (u8 byte : bytes)
    {
        std::snprintf(pair, sizeof pair, "%02x", byte);
        text += text.empty() ? "" : " ";
        text += pair;
    }
    return text;
}

// Two writes without an answer between them do not wait for each other.
inline void sendAtOnce(const Descriptor &link)
{
    const int on = 1;
    setsockopt(link.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// The machine control unit: the server end of the machine link.
class RawSmu
{
  public:
    // On any free port, or on `port` if that is free.
    explicit RawSmu(const std::string &ip = "127.0.0.1", u16 port = 0) : m_listener(listenAnywhere(&m_port, ip, port))
    {
    }
    u16 port() const { return m_port; }

    // Lets little stand unread on the link; to be called before the bridge comes.
    void receiveLittle() { limitReceiveBuffer(m_listener, SMALL_BUFFER); }

    // Takes the connection of the bridge alone.
    void takeConnection()
    {
        pollfd source{m_listener.get(), POLLIN, 0};
        ASSERT_EQ(poll(&source, 1, PATIENCE_MSEC), 1) << "no bridge came";
        m_link = Descriptor(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        sendAtOnce(m_link);
    }

    // Takes the bridge, shakes hands and checks its IDENTIFY; does not answer it.
    void takeUnanswered()
    {
        ASSERT_NO_FATAL_FAILURE(takeConnection());
        std::vector<u8> greeting = m_link.readExactly(12);
        ASSERT_EQ(std::string(greeting.begin(), greeting.end() - 1), "TOVICONSOLE");
        greeting.back() = static_cast<u8>(255 - greeting.back());
        m_link.write(greeting);
        ASSERT_EQ(receive(), "00 03 00 00 5e 17 c0 da 01 00 00 00 00 00 00");
    }
    void take()
    {
        takeUnanswered();
        send("00 04 00 00");
    }

    void send(const std::string &message) { sendRaw(consoleFrame(Hex(message))); }
    void sendRaw(const std::vector<u8> &bytes) { m_link.write(bytes); }
    void leave() { m_link.reset(); }
    const Descriptor &link() const { return m_link; }

    // The next message of the bridge, the frame itself when it is the close frame; empty at the end.
    std::string receive() { return hexOf(receiveBytes()); }
    std::vector<u8> receiveBytes()
    {
        const std::vector<u8> mark = m_link.readExactly(3);
        if (mark.size() < 3 || mark[0] != 0xC8 || mark[1] != 0xA6 || mark[2] < 0xFD)
            return mark;
        const size_t width = mark[2] == 0xFD ? 1 : 2;
        size_t n = 0;
        for (u8 byte : m_link.readExactly(width))
            n = n << 8 | byte;
        const std::vector<u8> message = m_link.readExactly(n);
        const std::vector<u8> checksum = m_link.readExactly(width);
        const std::vector<u8> expected = consoleFrame(message);
        EXPECT_EQ(checksum, std::vector<u8>(expected.end() - static_cast<std::ptrdiff_t>(width), expected.end()));
        return message;
    }

  private:
    u16 m_port = 0;
    Descriptor m_listener;
    Descriptor m_link;
};

// The external client.
class RawClient
{
  public:
    RawClient(const std::string &ip, u16 port, int receiveBuffer = 0) : m_link(connectTo(ip, port, receiveBuffer)) {}
    explicit RawClient(Descriptor link) : m_link(std::move(link)) {}

    void send(const std::string &content) { sendRaw(Framed(content)); }
    void sendRaw(const std::vector<u8> &bytes) { m_link.write(bytes); }
    void leave() { m_link.reset(); }

    // The next whole packet; empty when the bridge closed the connection.
    std::vector<u8> receiveBytes()
    {
        std::vector<u8> packet = m_link.readExactly(3);
        if (packet.size() < 3)
            return {};
        const std::vector<u8> rest = m_link.readExactly(static_cast<size_t>(packet[1] << 8 | packet[2]) - 1);
        packet.insert(packet.end(), rest.begin(), rest.end());
        return packet;
    }
    std::string receive() { return hexOf(receiveBytes()); }
    const Descriptor &link() const { return m_link; }

  private:
    Descriptor m_link;
};

// A packet of the client link as `receive` shows it.
inline std::string framed(const std::string &content)
{
    return hexOf(Framed(content));
}
