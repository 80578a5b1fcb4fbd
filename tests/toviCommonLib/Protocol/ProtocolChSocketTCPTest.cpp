#include "toviCommonLib/Protocol/ProtocolChSocketTCP.h"

#include "tests/Descriptor.h"

#include <gtest/gtest.h>

using namespace tovi;

// A channel to a peer that takes little at a time.
struct ChannelTest : testing::Test
{
    ChannelTest()
    {
        limitReceiveBuffer(listening, SMALL_BUFFER);
        Descriptor near = connectTo("127.0.0.1", port);
        peer = Descriptor(accept(listening.get(), nullptr, nullptr));
        OSSocket sok{10000, dup(near.get())};
        platform::socket_setWriteTimeoutMSec(sok, 1);
        channel.setSocket(sok);
    }
    std::vector<u8> fillLink()
    {
        std::vector<u8> all;
        for (const std::vector<u8> part(50000, 'f'); !channel.hasTail();)
        {
            EXPECT_EQ(channel.writeNow(part.data(), 50000), 50000u);
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
    // With bytes unread, so that it is a reset.
    void reset()
    {
        peer.reset();
        pollfd link{channel.getSocket().socketID, POLLIN, 0};
        poll(&link, 1, PATIENCE_MSEC);
    }
    u32 write(const char *text) { return channel.write(reinterpret_cast<const u8 *>(text), 3, 0); }

    u16 port = 0;
    Descriptor listening = listenAnywhere(&port), peer;
    ProtocolChSocketTCP channel{memory_getSysHeapAllocator(), 64, 65535};
};

TEST_F(ChannelTest, WhatDoesNotGoAtOnceIsTheTailAndNothingOvertakesIt)
{
    std::vector<u8> all = fillLink(), found;
    const auto take = [&](const char *text, u32 taken) { all.insert(all.end(), text, text + taken); };
    take("one", write("one")); // nothing, unless the system has made room meanwhile
    take("two", channel.writeNow(reinterpret_cast<const u8 *>("two"), 3));
    while (channel.hasTail() && peer.readInto(found))
        EXPECT_FALSE(isFailure(channel.flush()));
    take("new", write("new"));
    while (found.size() < all.size() && peer.readInto(found))
    {
    }
    EXPECT_TRUE(found == all);
    EXPECT_EQ(found.back(), 'w');
}

TEST_F(ChannelTest, ADeadLinkIsToldFromAFullOne)
{
    fillLink();
    EXPECT_FALSE(isFailure(channel.virt_write(reinterpret_cast<const u8 *>("new"), 3)));
    reset();
    EXPECT_EQ(channel.flush(), RES_CHANNEL_CLOSED); // takes the error away
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(write("new"), RES_CHANNEL_CLOSED);
}

TEST_F(ChannelTest, AResetBehindAnAnswerIsSeenByTheFirstWrite)
{
    write("new");
    reset();
    EXPECT_EQ(write("new"), RES_CHANNEL_CLOSED);
}
