#include "LumoClient/TcpChannel.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using LumoClient::TcpChannel;

constexpr u32 TIMEOUT_MSEC = 5000;

// A listener on a free port of the loopback address.
class TcpChannelTest : public testing::Test
{
  protected:
    TcpChannelTest()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof address;
        EXPECT_EQ(bind(m_listener, reinterpret_cast<sockaddr *>(&address), len), 0);
        EXPECT_EQ(listen(m_listener, 1), 0);
        EXPECT_EQ(getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &len), 0);
        m_port = ntohs(address.sin_port);
    }
    ~TcpChannelTest() override { close(m_listener); }

    int m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    u16 m_port = 0;
};

TEST_F(TcpChannelTest, CarriesBytesBothWaysUntilThePeerCloses)
{
    const auto channel = TcpChannel::open("localhost", m_port, TIMEOUT_MSEC);
    ASSERT_TRUE(channel);
    const int peer = accept(m_listener, nullptr, nullptr);
    std::array<u8, 8> bytes{};
    EXPECT_EQ(channel->read(bytes, 0), 0u);

    EXPECT_TRUE(channel->write(Hex("01 02 03")));
    EXPECT_EQ(recv(peer, bytes.data(), 3, MSG_WAITALL), 3);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(send(peer, "ab", 2, MSG_NOSIGNAL), 2);
    EXPECT_EQ(channel->read(bytes, TIMEOUT_MSEC), 2u);
    EXPECT_EQ(bytes[1], 'b');

    close(peer);
    EXPECT_EQ(channel->read(bytes, TIMEOUT_MSEC), std::nullopt);
}

TEST_F(TcpChannelTest, ALostPeerFailsTheWriteWithoutASignalAndNobodyAnswersThen)
{
    const auto channel = TcpChannel::open("127.0.0.1", m_port, TIMEOUT_MSEC);
    ASSERT_TRUE(channel);
    const int peer = accept(m_listener, nullptr, nullptr);
    const linger reset{.l_onoff = 1, .l_linger = 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(peer);
    EXPECT_FALSE(channel->write(Hex("01")) && channel->write(Hex("01")));

    close(std::exchange(m_listener, -1));
    EXPECT_FALSE(TcpChannel::open("127.0.0.1", m_port, TIMEOUT_MSEC));
}

} // namespace
