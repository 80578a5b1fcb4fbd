// The socket device between real sockets, at times that the test sets.
#include "LTProto/ComDevice/ComDevSocket.h"

#include "tests/Descriptor.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

class ComDevSocketTest : public testing::Test
{
  protected:
    static constexpr u32 PEER = 7, SERVER = 9; // ids in the group
    static inline double s_now = 1000000;      // seconds

    ComDevSocketTest()
    {
        m_tracer.Init(m_folder.path("trace").c_str(), false, 0, false);
        EXPECT_TRUE(m_device.Set(("@" + m_ip).c_str(), 0));
        EXPECT_TRUE(m_device.WaitableGroup(m_group, PEER, SERVER));
    }
    u32 Ready() { return m_group.wait(PATIENCE_MSEC) == 1 ? m_group.getEventUserParamAsU32(0) : 0; }
    Descriptor Answered(Descriptor client, int answer = 1)
    {
        EXPECT_EQ(Ready(), SERVER);
        EXPECT_EQ(m_device.ReceiveServer(), answer);
        return client;
    }
    void ExpectTalk(tovi::ComDevSocket &device, const Descriptor &peer)
    {
        u8 bytes[3] = {};
        peer.write({1, 2});
        EXPECT_EQ(Ready(), PEER);
        EXPECT_EQ(device.Receive(3, bytes), 2);
        EXPECT_TRUE(device.Send(3, bytes));
        EXPECT_EQ(peer.readExactly(3), std::vector<u8>({1, 2, 0}));
    }
    bool Ended(const Descriptor &p) { return p.readExactly(1).empty() && !recv(p.get(), &m_byte, 1, MSG_DONTWAIT); }
    bool Traced(const std::string &last) const { return m_folder.read("trace").ends_with(" - " + last + "\n"); }

    u8 m_byte = 0;
    const std::string m_ip = ownLoopback();
    TempFolder m_folder;
    Tools::LogTracer m_tracer;
    OSWaitableGrp m_group;
    tovi::ComDevSocket m_device{&m_tracer, [] { return Tools::DateTime(s_now); }};
};

TEST_F(ComDevSocketTest, ClientIsSafeForAMinute)
{
    // 10, 60 and 61 s after the client came, 60 s after the one that replaced it, and before it: the clock was set back.
    const std::pair<double, bool> newcomers[] = {{10, false}, {50, false}, {1, true}, {60, false}, {-61, true}};
    Descriptor client = Answered(connectTo(m_ip, 8283));
    for (const auto &[later, replaces] : newcomers)
    {
        SCOPED_TRACE(s_now += later);
        Descriptor other = Answered(connectTo(m_ip, 8283), replaces ? 1 : 0);
        EXPECT_TRUE(Traced(replaces ? "New socket connection. Previous is REPLACED." : "Now socket is DISCARDED"));
        if (replaces)
            std::swap(client, other);
        EXPECT_TRUE(Ended(other));
        ExpectTalk(m_device, client);
    }
}

TEST_F(ComDevSocketTest, PeerThatClosedMakesRoomAtOnce)
{
    Answered(connectTo(m_ip, 8283)).reset();
    EXPECT_EQ(Ready(), PEER);
    EXPECT_EQ(m_device.Receive(65536, &m_byte), -3);
    EXPECT_TRUE(Traced("ComDevSocket::Receive(size_t size 65536l)"));
    EXPECT_EQ(m_device.Receive(65535, &m_byte), -2);
    EXPECT_EQ(m_device.Receive(1, &m_byte), 0);
    EXPECT_FALSE(m_device.Send(1, &m_byte));
    EXPECT_FALSE(m_device.Close());
    const Descriptor next = Answered(connectTo(m_ip, 8283));
    EXPECT_TRUE(Traced("New socket connection. Previous is CLOSED."));
    ExpectTalk(m_device, next);
}

TEST_F(ComDevSocketTest, ClientThatClosedIsNotInTheWayWhateverItLeftUnread)
{
    const std::pair<const char *, bool> ends[] = {{"closed", false}, {"reset", true}};
    for (const auto &[name, resets] : ends)
        for (const std::vector<u8> &unread : {std::vector<u8>{}, std::vector<u8>{1, 2, 3}})
        {
            SCOPED_TRACE(name + std::to_string(unread.size()));
            Descriptor client = connectTo(m_ip, 8283);
            EXPECT_EQ(m_device.ReceiveServer(), 1);
            client.write(unread);
            EXPECT_FALSE(m_device.PeerHasClosed());
            const linger atOnce{1, 0};
            if (resets)
                setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            client.reset();
            EXPECT_TRUE(m_device.PeerHasClosed());
            const Descriptor next = connectTo(m_ip, 8283);
            EXPECT_EQ(m_device.ReceiveServer(), 1);
            EXPECT_TRUE(Traced("New socket connection. Previous is CLOSED."));
            ExpectTalk(m_device, next);
            m_device.Close();
        }
}

TEST_F(ComDevSocketTest, ASecondSetClosesTheFirstAndTurnsTheRole)
{
    const Descriptor client = Answered(connectTo(m_ip, 8283));
    u16 port = 0;
    Descriptor station = listenAnywhere(&port);
    ASSERT_TRUE(m_device.Set("127.0.0.1", port));
    EXPECT_TRUE(Ended(client));
    EXPECT_EQ(connectTo(m_ip, 8283).get(), -1); // nobody listens
    EXPECT_EQ(m_device.ReceiveServer(), -1);
    const Descriptor accepted(accept(station.get(), nullptr, nullptr));
    ASSERT_TRUE(m_device.Set(("@" + m_ip).c_str(), 0));
    EXPECT_TRUE(Ended(accepted));
    ASSERT_TRUE(m_device.WaitableGroup(m_group, PEER, SERVER));
    ExpectTalk(m_device, Answered(connectTo(m_ip, 8283)));
    m_device.Close();
    EXPECT_FALSE(m_device.Reconnect(true)); // it is a server now
}

TEST_F(ComDevSocketTest, AClientConnectsAgainToWhereItWas)
{
    u16 port = 0;
    Descriptor station = listenAnywhere(&port);
    ASSERT_TRUE(m_device.Set("127.0.0.1", port));
    ASSERT_TRUE(m_device.WaitableGroup(m_group, PEER, SERVER));
    for (int i = 0; i < 2; ++i)
    {
        Descriptor accepted(accept(station.get(), nullptr, nullptr));
        EXPECT_TRUE(m_device.Reconnect(true)); // it is connected: nothing is to be done
        ExpectTalk(m_device, accepted);
        accepted.reset();
        EXPECT_EQ(Ready(), PEER);
        EXPECT_EQ(m_device.Receive(1, &m_byte), -2);
        EXPECT_FALSE(m_device.Reconnect(false)); // no attempt is begun
        if (i == 0)
            m_device.Reconnect(true);
    }
    station.reset();
    EXPECT_FALSE(m_device.Reconnect(true)); // refused
    EXPECT_FALSE(m_device.IsConnected());
}

TEST_F(ComDevSocketTest, AddressesAndPortsHaveBounds)
{
    const auto set = [](const std::string &to, int port) { return tovi::ComDevSocket(nullptr).Set(to.c_str(), port); };
    EXPECT_TRUE(set("@" + m_ip, 65535));
    EXPECT_TRUE(set("", 10000 + getpid() % 20000));
    EXPECT_FALSE(set("@" + std::string(25, '0') + "177" + m_ip.substr(3), 0));
    EXPECT_FALSE(set("@10.0.0.300", 0));
    for (const std::string &channel : {std::string(), std::string("127.0.0.1"), "@" + m_ip})
    {
        EXPECT_FALSE(set(channel, -1)) << channel;
        EXPECT_FALSE(set(channel, 65536)) << channel;
    }
}

TEST_F(ComDevSocketTest, WithoutADescriptorNewcomersAreRefusedAtOnce)
{
    const Descriptor client = Answered(connectTo(m_ip, 8283));
    Descriptor newcomers[] = {connectTo(m_ip, 8283), connectTo(m_ip, 8283)};
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit usedUp{static_cast<rlim_t>(Descriptor(dup(STDOUT_FILENO)).get()), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &usedUp);
    for (Descriptor &newcomer : newcomers)
        EXPECT_TRUE(Ended(newcomer = Answered(std::move(newcomer), -1)));
    EXPECT_EQ(m_group.wait(0), 0);
    ExpectTalk(m_device, client);
    setrlimit(RLIMIT_NOFILE, &before);
}
