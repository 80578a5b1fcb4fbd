#include "LumoClient/TcpChannel.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

#include <array>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using LumoClient::TcpChannel;

constexpr u32 TIMEOUT_MSEC = 5000;

TEST(TcpChannel, CarriesBytesBothWaysUntilThePeerIsGone)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), len), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &len), 0);
    const u16 port = ntohs(address.sin_port);

    const auto channel = TcpChannel::open("127.0.0.1", port, TIMEOUT_MSEC);
    ASSERT_TRUE(channel);
    const int peer = accept(listener, nullptr, nullptr);
    std::array<u8, 8> bytes{};
    EXPECT_EQ(channel->read(bytes, 0), 0u);
    EXPECT_TRUE(channel->write(Hex("01 02 03")));
    EXPECT_EQ(recv(peer, bytes.data(), 3, MSG_WAITALL), 3);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(send(peer, "ab", 2, MSG_NOSIGNAL), 2);
    EXPECT_EQ(channel->read(bytes, TIMEOUT_MSEC), 2u);
    EXPECT_EQ(bytes[1], 'b');

    const linger reset{.l_onoff = 1, .l_linger = 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(peer);
    EXPECT_EQ(channel->read(bytes, TIMEOUT_MSEC), std::nullopt);
    EXPECT_FALSE(channel->write(Hex("01")));
    close(listener);
    EXPECT_FALSE(TcpChannel::open("127.0.0.1", port, TIMEOUT_MSEC));
}

} // namespace
