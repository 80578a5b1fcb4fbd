#include "toviCommonLib/OS/linux/linuxOSSocket.h"
#include "tests/Descriptor.h"
#include "toviCommonLib/OS/linux/linuxOSSocketShared.h"
#include "toviCommonLib/OS/linux/linuxOSSocketUDP.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <thread>

using namespace platform;

// A listener of the loopback address and a connection to it.
struct SocketTest : testing::Test
{
    // As the system holds it. Asked in the option's first form: the board's emulator cuts the answer to the newer one.
    static i64 timeoutMSec(const OSSocket &sok, int option)
    {
        long timeout[2] = {}; // seconds, microseconds
        socklen_t size = sizeof timeout;
        const int first = option == SO_RCVTIMEO ? SO_RCVTIMEO_OLD : SO_SNDTIMEO_OLD;
        getsockopt(sok.socketID, SOL_SOCKET, first, timeout, &size);
        return i64{timeout[0]} * 1000 + timeout[1] / 1000;
    }

    u16 port = 0;
    Descriptor listening = listenAnywhere(&port), near = connectTo("127.0.0.1", port);
    Descriptor far{accept(listening.get(), nullptr, nullptr)};
    OSSocket listener{0, listening.get()}, client{10000, near.get()}, server{10000, far.get()};
    char bytes[8] = "";
};

TEST_F(SocketTest, TimeoutsReachTheSystemAndZeroIsOneTick)
{
    for (const auto &[msec, least, most] : {std::tuple(0u, 1, 10), {1500u, 1500, 1500}, {0xFFFFFFFFu, 0, 0}})
    {
        EXPECT_TRUE(socket_setReadTimeoutMSec(client, msec));
        EXPECT_TRUE(socket_setWriteTimeoutMSec(client, msec));
        for (int option : {SO_RCVTIMEO, SO_SNDTIMEO})
        {
            EXPECT_TRUE(timeoutMSec(client, option) >= least) << msec;
            EXPECT_TRUE(timeoutMSec(client, option) <= most) << msec;
        }
    }
}

TEST_F(SocketTest, ReadTellsDataSilenceAndTheEndAndSetsOnlyANewTimeout)
{
    EXPECT_EQ(socket_write(server, "abc", 3), 3);
    EXPECT_EQ(socket_read(client, bytes, 2, 10000, true), 2);
    EXPECT_EQ(timeoutMSec(client, SO_RCVTIMEO), 0) << "it counted as set";
    EXPECT_EQ(socket_read(client, bytes, 8, 1500, false), 3);
    EXPECT_EQ(timeoutMSec(client, SO_RCVTIMEO), 1500);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(socket_read(client, bytes, 8, 0, false), -1);
    far.reset();
    EXPECT_EQ(socket_read(client, bytes, 8, 20000, false), 0);
    client.socketID = -1;
    EXPECT_EQ(socket_readNoWait(client, bytes, 8), 0) << "an error";
}

TEST_F(SocketTest, APeerThatReadsSlowlyDoesNotMakeAWriteLongerThanItsTimeout)
{
    const int small = SMALL_BUFFER;
    setsockopt(near.get(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    limitReceiveBuffer(far, small);
    EXPECT_TRUE(socket_setWriteTimeoutMSec(client, 200));
    const std::vector<u8> large(65535);
    std::jthread reader(
        [this](const std::stop_token &end)
        {
            pollfd pace{-1, 0, 0};
            for (std::vector<u8> read; !end.stop_requested() && far.readInto(read, 1024);)
                poll(&pace, 1, 40);
        });
    EXPECT_LT(socket_write(client, large.data(), 65535), 65535);
    near.reset();
    reader.request_stop();
}

TEST_F(SocketTest, ASignalEndsAReadAsATimeoutDoes)
{
    const auto before = std::signal(SIGALRM, [](int) {});
    const itimerval ticking{{0, 1000}, {0, 1000}}, still{}; // one tick at least meets the read
    setitimer(ITIMER_REAL, &ticking, nullptr);
    EXPECT_EQ(socket_read(client, bytes, 8, 20000, false), -1);
    setitimer(ITIMER_REAL, &still, nullptr);
    std::signal(SIGALRM, before);
}

TEST_F(SocketTest, DescriptorZeroIsNotOpenWhateverItIs)
{
    const Descriptor before(dup(0));
    EXPECT_EQ(dup2(near.get(), 0), 0);
    EXPECT_EQ(socket_write(server, "a", 1), 1);
    OSSocket zero{0, 0};
    EXPECT_EQ(socket_read(zero, bytes, 8, 1, false) + socket_write(zero, "b", 1), 0);
    EXPECT_FALSE(socket_isOpen(zero));
    EXPECT_FALSE(socket_setReadTimeoutMSec(zero, 1));
    socket_close(zero);
    EXPECT_EQ(zero.socketID, 0);
    EXPECT_EQ(dup2(before.get(), 0), 0);
}

TEST_F(SocketTest, AFiredEventEndsWaitingAndConnecting)
{
    OSEvent cancel;
    ASSERT_TRUE(event_open(&cancel));
    ASSERT_FALSE(event_wasFired(cancel, 0));
    EXPECT_EQ(socket_waitReadable(client, 1, &cancel), eSocketWait::timedOut);
    EXPECT_EQ(socket_write(server, "a", 1), 1);
    EXPECT_EQ(socket_waitReadable(client, 20000, &cancel), eSocketWait::readable);
    event_fire(cancel);
    EXPECT_TRUE(event_wait(cancel, 0)) << "the wait consumes the firing";
    EXPECT_FALSE(event_wait(cancel, 0)) << "the wait consumes the firing";
    EXPECT_TRUE(event_wasFired(cancel, 0)) << "asking does not";
    EXPECT_TRUE(event_wasFired(cancel, 0)) << "asking does not";
    EXPECT_EQ(socket_waitReadable(client, 20000, &cancel), eSocketWait::cancelled);
    OSSocket sok;
    EXPECT_EQ(socket_openAsTCPClient(&sok, "127.0.0.1", port, &cancel), eSocketError::unknown);
    EXPECT_FALSE(socket_isOpen(sok));
    EXPECT_EQ(socket_openAsTCPClient(&sok, "127.0.0.1", port), eSocketError::none);
    EXPECT_EQ(timeoutMSec(sok, SO_RCVTIMEO), 0) << "the record's default is not set";
    socket_close(sok);
    event_close(cancel);
}

TEST_F(SocketTest, TheReserveRefusesConnectionsWhenNoDescriptorIsLeft)
{
    DescriptorReserve reserve;
    const Descriptor waiting[] = {connectTo("127.0.0.1", port), connectTo("127.0.0.1", port)};
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit used{static_cast<rlim_t>(Descriptor(dup(near.get())).get()), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &used);
    OSSocket sok;
    for (const Descriptor &refused : waiting)
    {
        EXPECT_FALSE(socket_accept(listener, &sok));
        EXPECT_TRUE(reserve.refuse(listener));
        EXPECT_TRUE(refused.readExactly(1).empty());
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST(SocketOpen, FailsClosedButForAnUnknownMode)
{
    OSSocket sok;
    for (int port : {-1, 65536})
        EXPECT_EQ(socket_openAsTCPServer(&sok, port, eSocketBindMode::anyInterface, ""),
                  eSocketError::invalidParameter);
    EXPECT_EQ(socket_openAsTCPClient(&sok, "127.0.0.1", 65536), eSocketError::invalidParameter);
    for (const char *name : {"nowhere.invalid", "127.0.0.1 x"})
        EXPECT_EQ(socket_openAsTCPClient(&sok, name, 1), eSocketError::no_such_host);
    EXPECT_FALSE(socket_isOpen(sok));
    EXPECT_EQ(socket_openAsTCPServer(&sok, 0, eSocketBindMode{3}, ""), eSocketError::unsupported);
    EXPECT_TRUE(socket_isOpen(sok)) << "left to the caller to close";
    socket_close(sok);
    EXPECT_STREQ(tovi::utils::enumToString(eSocketError::unsupported), "unsupported");
    EXPECT_STREQ(tovi::utils::enumToString(eSocketError::unable_to_handshake), "unable_to_handshake");
    EXPECT_STREQ(tovi::utils::enumToString(eSocketError{16}), "invalid value");
}

TEST(SocketUDP, BringsADatagramAndItsSenderAndAnswers)
{
    const std::string ip = ownLoopback();
    OSSocket one, other;
    ASSERT_EQ(socket_openAsUDP(&one), eSocketError::none);
    ASSERT_EQ(socket_openAsUDP(&other), eSocketError::none);
    EXPECT_EQ(one.readTimeoutMSec, 2000u);
    ASSERT_EQ(socket_UDPbind(one, 8283, eSocketBindMode::aSpecifiIP, ip.c_str()), eSocketError::none);
    u8 bytes[8] = "abcdefg";
    EXPECT_EQ(socket_UDPSendTo(other, bytes, 7, sOSNetAddr{addressOf(ip, 8283)}), 7u);
    sOSNetAddr from;
    EXPECT_EQ(socket_UDPReceiveFrom(one, bytes, 3, &from), 3u) << "the rest of the datagram is lost";
    EXPECT_EQ(socket_UDPSendTo(one, bytes + 1, 2, from), 2u);
    EXPECT_EQ(socket_UDPReceiveFrom(other, bytes, 8, &from), 2u);
    EXPECT_EQ(bytes[0], 'b');
    EXPECT_EQ(ntohs(from.addr.sin_port), 8283);
    EXPECT_TRUE(socket_setReadTimeoutMSec(one, 1));
    EXPECT_EQ(socket_UDPReceiveFrom(one, bytes, 8, &from), 0);
    EXPECT_EQ(socket_UDPSendTo(other, bytes, 65508, from), 0u) << "longer than any datagram";
    EXPECT_EQ(socket_UDPbind(other, 1, eSocketBindMode{3}, ""), eSocketError::unsupported);
    EXPECT_TRUE(socket_isOpen(other));
    for (OSSocket *sok : {&one, &other}) // sending bound the second one too
        EXPECT_EQ(socket_UDPbind(*sok, 0, eSocketBindMode::anyInterface, ""), eSocketError::alreadyBound);
    EXPECT_FALSE(socket_isOpen(one));
    EXPECT_FALSE(socket_isOpen(other));
}

TEST(SocketUDP, BindPrintsALineForWhatHasNoResultOfItsOwn)
{
    testing::internal::CaptureStdout();
    for (int error : {ENOENT, EBADF, EFAULT, ENOTDIR, EROFS, ENAMETOOLONG, ELOOP, EADDRNOTAVAIL, EPERM})
        EXPECT_EQ(internal::bindErrorUDPFromErrno(error), eSocketError::unknown);
    std::string lines = "socket_UDPbind error [1]\n";
    for (int i = 0; i < 8; ++i)
        lines.insert(0, "socket_UDPbind error EBADF\n");
    EXPECT_EQ(internal::bindErrorUDPFromErrno(EADDRINUSE), eSocketError::addressInUse);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), lines);
}
