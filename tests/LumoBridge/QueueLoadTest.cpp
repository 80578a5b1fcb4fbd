// The marks of a queue, and who wakes whom.
#include "tests/LumoBridge/TestQueue.h"

#include <gtest/gtest.h>
#include <thread>

using namespace LT_Proto;

struct QueueLoadTest : testing::Test
{
    void push(u32 size)
    {
        const std::vector<u8> bytes(size);
        queue.load.Push(queue.write, eMqMessage::VARIABLE_DATA, 0, bytes.data(), size);
    }
    bool pop()
    {
        tovi::thread::sMsg msg;
        const bool popped = queue.load.Pop(queue.read, &msg);
        tovi::thread::deleteMsg(msg);
        return popped;
    }
    bool roomWasTold() { return platform::event_wait(queue.load.RoomEvent(), 0); }

    TestQueue queue;
};

TEST_F(QueueLoadTest, StopsAboveOneMarkAndGoesOnAtTheOther)
{
    constexpr u32 QUARTER = 256 * 1024 - 256; // a message's own bytes make it whole
    for (int i = 0; i < 4; ++i)
        push(QUARTER);
    EXPECT_FALSE(queue.load.MustStop()) << "1 MiB is not above the mark";
    push(0);
    EXPECT_TRUE(queue.load.MustStop());
    pop();
    EXPECT_TRUE(queue.load.MustStop()) << "still above the lower mark";
    EXPECT_FALSE(roomWasTold());
    pop();
    EXPECT_TRUE(queue.load.MustStop()) << "by the empty message";
    pop();
    EXPECT_TRUE(roomWasTold());
    EXPECT_FALSE(queue.load.MustStop());
    pop();
    EXPECT_FALSE(roomWasTold()) << "once is enough";
}

// Whatever the threads do at the same moment, a producer that stops is woken.
TEST_F(QueueLoadTest, NoStopOutlivesItsReason)
{
    constexpr int MESSAGES = 20000;
    std::jthread consumer(
        [this]
        {
            for (int popped = 0; popped < MESSAGES;)
                popped += pop() ? 1 : 0;
        });
    for (int i = 0; i < MESSAGES; ++i)
    {
        while (queue.load.MustStop())
            ASSERT_TRUE(platform::event_wait(queue.load.RoomEvent(), PATIENCE_MSEC));
        push(10000);
    }
}
