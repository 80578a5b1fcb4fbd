#include "LumoSmuSim/BridgeLink.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

using namespace LumoSmuSim;
using enum BridgeLink::eReceived;

// The link over one end of a socket pair, the test as the bridge at the other.
class BridgeLinkTest : public testing::Test
{
  protected:
    BridgeLinkTest()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        m_bridge = ends[0];
        OSSocket accepted;
        accepted.socketID = ends[1];
        m_link = std::make_unique<BridgeLink>(accepted);
    }
    ~BridgeLinkTest() override
    {
        m_link.reset();
        close(m_bridge);
    }

    BridgeLink::eReceived Feed(const std::string &bytes)
    {
        EXPECT_EQ(send(m_bridge, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        return m_link->receive(m_message);
    }
    BridgeLink::eReceived FeedHex(const char *hex)
    {
        const std::vector<u8> bytes = Hex(hex);
        return Feed({bytes.begin(), bytes.end()});
    }
    std::string Sent()
    {
        char bytes[64];
        const ssize_t count = recv(m_bridge, bytes, sizeof bytes, MSG_DONTWAIT);
        return {bytes, static_cast<size_t>(std::max<ssize_t>(count, 0))};
    }

    int m_bridge = -1;
    std::unique_ptr<BridgeLink> m_link;
    tovi::SMUConn::sDecodedMsg m_message;
};

TEST_F(BridgeLinkTest, ShakesHandsTakesMessagesAndEndsWithTheCloseFrame)
{
    EXPECT_EQ(Feed("TOVI"), NOTHING);
    EXPECT_EQ(Feed("CONSOLE\x2A"), NOTHING);
    EXPECT_EQ(Sent(), "TOVICONSOLE\xD5");
    EXPECT_FALSE(m_link->isIdentified());

    EXPECT_EQ(FeedHex("C8 A6 FD 04 00 03"), NOTHING);
    EXPECT_EQ(FeedHex("00 00 03"), MESSAGE);
    EXPECT_EQ(m_message.what, 3);
    EXPECT_TRUE(m_link->isIdentified());
    EXPECT_TRUE(m_link->send({4, 0, {}}));
    const std::vector<u8> answer = Hex("C8 A6 FD 04 00 04 00 00 04");
    EXPECT_EQ(Sent(), std::string(answer.begin(), answer.end()));

    EXPECT_EQ(FeedHex("C8 A6 02"), LOST);
    EXPECT_FALSE(m_link->send({4, 0, {}}));
}

TEST_F(BridgeLinkTest, FindsTheMessageBehindDamagedAndTooShortOnes)
{
    Feed("TOVICONSOLE\x2A");
    EXPECT_EQ(FeedHex("01 02 C8 A6 FD 01 07 08 C8 A6 FD 02 00 03 03 C8 A6 FD 04 00 01 00 09 0A"), MESSAGE);
    EXPECT_EQ(m_message.userValue, 9);
    EXPECT_EQ(m_link->receive(m_message), NOTHING);
}

TEST_F(BridgeLinkTest, WhoDoesNotShakeHandsIsLost)
{
    EXPECT_EQ(Feed("GET / HTTP/1.1\r\n"), LOST);
}

} // namespace
