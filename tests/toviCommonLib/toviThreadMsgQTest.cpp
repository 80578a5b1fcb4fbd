#include "tests/HexBytes.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

#include <gtest/gtest.h>
#include <list>
#include <set>
#include <thread>

using namespace tovi::thread;

struct OpenQueue
{
    OpenQueue() { EXPECT_TRUE(createMsgQ(&r, &w)); }
    ~OpenQueue() { deleteMsgQ(r, w); }
    HThreadMsgR r;
    HThreadMsgW w;
};

TEST(ThreadMsgQ, KeepsOrderAndPayloadsButNoSecondPartWithoutAFirst)
{
    const OpenQueue queue;
    char payload[] = "abc";
    pushMsg(queue.w, 1, 0, payload, 3);
    payload[0] = 'z';
    pushMsg(queue.w, 2, 0, payload, 0);
    pushMsg2Buffer(queue.w, 3, 0, "de", 2, "fg", 2);
    pushMsg2Buffer(queue.w, 4, 0, nullptr, 2, "fg", 2);
    std::string all;
    for (sMsg msg; popMsg(queue.r, &msg); deleteMsg(msg))
        all += std::to_string(msg.what) + std::string(msg.buffer, msg.buffer + msg.bufferSize) + " ";
    EXPECT_EQ(all, "1abc 2 3defg 4 ");
    pushMsg(queue.w, 5, 0, "freed with its queue", 21);
}

TEST(ThreadMsgQ, SerializesMostSignificantByteFirst)
{
    std::vector<u8> payload = Hex("61 62"), bytes(12);
    sMsg msg{0x1234, 0x89ABCDEF, payload.data(), 2};
    EXPECT_EQ(serializeMsg(msg, bytes.data(), 11), 0);
    EXPECT_EQ(serializeMsg(msg, bytes.data(), 12), 12);
    EXPECT_EQ(bytes, Hex("12 34 89 AB CD EF 00 00 00 02 61 62"));
    const u8 *at = nullptr;
    EXPECT_EQ(deserializMsg(bytes.data(), &msg.what, &msg.paramU32, &msg.bufferSize, &at), 12u);
    EXPECT_EQ(msg.what, 0x1234);
    EXPECT_EQ(msg.paramU32, 0x89ABCDEF);
    EXPECT_EQ(msg.bufferSize, 2);
    EXPECT_EQ(at, &bytes[10]);
}

// Through every use of the last slot, whose handles come closest to the invalid one.
TEST(ThreadMsgQ, OnlyTheHandlesOfItsSlotAndUseReachAQueue)
{
    std::list<OpenQueue> queues(1024);
    HThreadMsgR old;
    HThreadMsgW oldW;
    EXPECT_FALSE(createMsgQ(&old, &oldW)) << "the 1025th";
    queues.remove_if([](const OpenQueue &queue) { return queue.r.uid.index() != 1023; });
    for (u32 use = 0; use <= 16; ++use)
    {
        const HThreadMsgR r = queues.front().r;
        const u32 own = r.uid.value() & 0xF3FFu;
        std::set<u32> arrived, expected = {own, own | 0x0400, own | 0x0800, own | 0x0C00};
        expected.erase(0xFFFF);
        for (u32 value = 0; value <= 0xFFFF; ++value)
            pushMsg(HThreadMsgW{tovi::UID040210(static_cast<u16>(value))}, 1, value);
        sMsg msg;
        EXPECT_FALSE(popMsg(old, &msg)) << "a stale handle";
        deleteMsgQ(old, oldW);
        while (popMsg(r, &msg))
            arrived.insert(msg.paramU32);
        EXPECT_EQ(arrived, expected);
        old = r;
        queues.pop_front();
        queues.emplace_back(); // takes the slot freed last
    }
}

TEST(ThreadMsgQ, LosesNothingWhileTwoThreadsPush)
{
    const OpenQueue queue;
    OSWaitableGrp group;
    ASSERT_TRUE(group.addMsgQ(queue.r, 1u));
    const auto pushAll = [&queue](u16 what)
    {
        for (u32 i = 0; i < 2000; ++i)
            pushMsg(queue.w, what, i, &i, sizeof i);
    };
    std::jthread one(pushAll, u16{0}), two(pushAll, u16{1});
    u32 next[2] = {};
    while (next[0] + next[1] < 4000 && group.wait(20000) == 1)
        for (sMsg msg; popMsg(queue.r, &msg); deleteMsg(msg))
            EXPECT_EQ(msg.paramU32, next[msg.what]++);
    EXPECT_EQ(next[0] + next[1], 4000u);
}
