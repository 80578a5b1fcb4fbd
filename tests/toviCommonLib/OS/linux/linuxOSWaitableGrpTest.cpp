#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

TEST(WaitableGrp, ASecondAddFailsAndWhatAHandlerRemovesIsGoneFromTheBatch)
{
    OSEvent one, other;
    ASSERT_TRUE(platform::event_open(&one));
    ASSERT_TRUE(platform::event_open(&other));
    OSWaitableGrp group;
    EXPECT_TRUE(group.addEvent(one, 1u));
    EXPECT_TRUE(group.addEvent(other, 2u));
    EXPECT_FALSE(group.addEvent(one, 4u));
    EXPECT_EQ(group.wait(1), 0);
    platform::event_fire(one);
    platform::event_fire(other);
    ASSERT_EQ(group.wait(0), 2);
    EXPECT_EQ(group.getEventUserParamAsU32(0) + group.getEventUserParamAsU32(1), 3u);
    group.removeEvent(*group.getEventSrcAsOSEvent(0)); // the group's own copy
    EXPECT_EQ(group.getEventOrigin(1), OSWaitableGrp::eEventOrigin::osevent);
    EXPECT_EQ(group.getEventOrigin(0), OSWaitableGrp::eEventOrigin::deleted);
    EXPECT_EQ(group.getEventUserParamAsU32(0), 0);
    EXPECT_EQ(group.getEventSrcAsOSEvent(0), nullptr);
    platform::event_close(one);
    platform::event_close(other);
}

TEST(WaitableGrp, OneDrainSilencesAQueueAndAnyHandleRemovesIt)
{
    HThreadMsgR r;
    HThreadMsgW w;
    OSWaitableGrp group;
    ASSERT_TRUE(tovi::thread::createMsgQ(&r, &w));
    ASSERT_TRUE(group.addMsgQ(r, 3u));
    tovi::thread::pushMsg(w, 1, 1);
    tovi::thread::pushMsg(w, 1, 2);
    EXPECT_EQ(group.wait(0), 1);
    tovi::thread::sMsg msg;
    EXPECT_TRUE(tovi::thread::popMsg(r, &msg));
    EXPECT_TRUE(tovi::thread::popMsg(r, &msg));
    EXPECT_EQ(group.wait(0), 0);
    OSEvent event;
    EXPECT_TRUE(tovi::thread::getMsgQEvent(r, &event)) << "a pop resets nothing";
    EXPECT_TRUE(platform::event_wasFired(event, 0)) << "a pop resets nothing";
    tovi::thread::pushMsg(w, 1, 3);
    group.removeMsgQ(HThreadMsgR{w.uid});
    EXPECT_EQ(group.wait(0), 0);
    tovi::thread::deleteMsgQ(r, w);
}

struct WaitableGrpSocket : testing::Test
{
    WaitableGrpSocket()
    {
        int pair[2] = {};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
        peer.socketID = pair[0];
        sok.socketID = pair[1];
        EXPECT_TRUE(group.addSocket(sok, this));
    }
    ~WaitableGrpSocket() override
    {
        platform::socket_close(peer);
        platform::socket_close(sok);
    }
    OSSocket peer, sok;
    OSWaitableGrp group;
};

TEST_F(WaitableGrpSocket, ReportsAPeerThatLeft)
{
    EXPECT_EQ(group.wait(0), 0);
    platform::socket_close(peer);
    EXPECT_EQ(group.wait(0), 1);
    EXPECT_EQ(group.getEventUserParamAsPtr(0), this);
    EXPECT_TRUE(group.getEventIsEnd(0));
}

TEST_F(WaitableGrpSocket, IsWaitedForTheWayThatIsAskedForAndItsEndInAnyCase)
{
    platform::socket_write(peer, "a", 1);
    const std::tuple<bool, bool, u8> cases[] = {
        {true, false, 1}, {false, false, 0}, {false, true, 1}, {true, false, 1}};
    for (const auto &[reading, writing, ready] : cases)
    {
        EXPECT_TRUE(group.setSocketInterest(sok, reading, writing));
        EXPECT_EQ(group.wait(0), ready) << reading << writing;
        if (ready != 0)
        {
            EXPECT_FALSE(group.getEventIsEnd(0));
        }
    }
    EXPECT_TRUE(group.setSocketInterest(sok, false, false));
    platform::socket_close(peer);
    EXPECT_EQ(group.wait(0), 1);
    EXPECT_TRUE(group.getEventIsEnd(0));
    EXPECT_FALSE(group.setSocketInterest(peer, true, true)) << "unknown";
}
