// The main thread's loop between a raw machine and the two queues.
#include "LumoBridge/MachineSide.h"

#include "tests/LumoBridge/GreetedMachine.h"
#include "tests/LumoBridge/TestQueue.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"

#include <netinet/tcp.h>

using namespace LT_Proto;

class MachineSideTest : public testing::Test
{
  protected:
    MachineSideTest() { EXPECT_TRUE(platform::termination_trap()); }
    ~MachineSideTest() override
    {
        end();
        if (m_loop.joinable())
            m_loop.join();
    }

    // The loop, until the test ends it.
    void start()
    {
        m_side.emplace(m_tracer, m_machine.conn, MachineSide::sFromClient{m_fromClient.read, m_fromClient.load},
                       MachineSide::sToClient{m_toClient.write, m_toClient.load});
        ASSERT_TRUE(m_side->isReady());
        m_loop = std::jthread(
            [this]
            {
                m_side->run();
                m_side->finish();
            });
    }
    void end() const { platform::event_fire(platform::termination_event()); }
    void fromClient(eMqMessage what, u32 param, const std::vector<u8> &bytes = {})
    {
        m_fromClient.load.Push(m_fromClient.write, what, param, bytes.data(), static_cast<u32>(bytes.size()));
    }

    Tools::LogTracer m_tracer;
    GreetedMachine m_machine;
    TestQueue m_fromClient, m_toClient;
    std::optional<MachineSide> m_side;
    std::jthread m_loop;
};

// All stand in the queue before the loop begins, so one turn takes them.
TEST_F(MachineSideTest, EachMessageOfATurnIsAsIfItStoodAlone)
{
    const std::tuple<eMqMessage, u32, const char *, const char *> cases[] = {
        {eMqMessage::LINK_STATE, 1, "", "90 00 00 00 00 00 80 00 01"},
        {eMqMessage::VARIABLE_DATA, 12, "00", "90 01 00 00 ff ff ff ff 00 00 00 00 00"},
        {eMqMessage::VARIABLE_DATA, 11, "06 0b 00 00 00 01 5f 00 00 00 00", "90 01 00 00 00 00 00 0b 01 00 00 00 5f"},
        {eMqMessage::VARIABLE_DATA, 10, "06 0a 00 00 00 04 d2 04 00 00 02",
         "90 01 00 00 00 00 00 0a 04 00 00 04 d2 02"},
        {eMqMessage::VARIABLE_REQ, 4, "", "90 01 00 00 00 00 00 04 00 00 00 00 00"},
        {eMqMessage::FILE_DATA, 7, "61 2e", "90 02 00 00 00 00 00 07 61 2e"},
        {eMqMessage::FILE_REQ, 8, "", "90 02 00 00 00 00 00 08"},
        {eMqMessage::DATABUFFER_RAW, 9, "ca fe", "90 01 00 00 00 00 00 09 10 ca fe"},
        {eMqMessage::VARIABLE_REQ, 5, "", "90 01 00 00 00 00 00 05 00 00 00 00 00"},
        {eMqMessage::COMMAND, 107, "", nullptr},
        {eMqMessage::LINK_STATE, 0, "", "90 00 00 00 00 00 80 00 00"},
    };
    for (const auto &[what, param, bytes, message] : cases)
        fromClient(what, param, Hex(bytes));
    start();
    for (const auto &[what, param, bytes, message] : cases)
    {
        if (message != nullptr)
        {
            EXPECT_EQ(m_machine.smu.receive(), message);
        }
    }
}

// A machine that gathers its small messages until the last one was acknowledged.
TEST_F(MachineSideTest, AcknowledgesAtOnceWhatNeedsNoAnswer)
{
    start();
    int acknowledgesAtOnce = 0;
    socklen_t size = sizeof acknowledgesAtOnce;
    for (int i = 0; i < 10; ++i) // so that the system takes the link for one of question and answer
    {
        fromClient(eMqMessage::FILE_REQ, 1);
        EXPECT_EQ(m_machine.smu.receive(), "90 02 00 00 00 00 00 01");
        m_machine.smu.send("90 01 00 00 00 00 00 04 01 00 00 00 19");
        m_toClient.next();
    }
    end();
    m_loop.join();
    getsockopt(m_machine.conn.getSocket().socketID, IPPROTO_TCP, TCP_QUICKACK, &acknowledgesAtOnce, &size);
    EXPECT_EQ(acknowledgesAtOnce, 1);
}

// Nobody takes from the client's queue: the machine has to wait, and all of it comes when there is room again.
TEST_F(MachineSideTest, AMachineThatFloodsWaitsForTheClientsQueue)
{
    start();
    constexpr u8 MESSAGES = 250; // some 15 MB, more than the system keeps for it
    std::vector<u8> message = Hex("90 01 00 00 00 00 00 0A 10");
    message.resize(60000);
    std::jthread flood(
        [&]
        {
            for (u8 i = 0; i < MESSAGES; ++i)
            {
                message.back() = i;
                m_machine.smu.sendRaw(consoleFrame(message));
            }
        });
    pollfd room{m_machine.smu.link().get(), POLLOUT, 0};
    while (poll(&room, 1, 200) == 1)
        std::this_thread::yield();
    for (u8 i = 0; i < MESSAGES; ++i)
    {
        tovi::thread::sMsg msg;
        while (!m_toClient.load.Pop(m_toClient.read, &msg))
            ASSERT_NE(m_toClient.group.wait(PATIENCE_MSEC), 0);
        ASSERT_EQ(msg.buffer[msg.bufferSize - 1], i);
        tovi::thread::deleteMsg(msg);
    }
}

// A machine that is stuck in a write of its own takes what the client was acknowledged once its bytes are read.
TEST_F(MachineSideTest, TheEndReadsAMachineThatIsStuckInItsOwnWrite)
{
    constexpr size_t LARGE = 50000, COUNT = 20; // more than the link holds
    for (size_t i = 0; i < COUNT; ++i)
        fromClient(eMqMessage::DATABUFFER_RAW, 9, std::vector<u8>(LARGE));
    end();
    std::jthread machine(
        [this]
        {
            m_machine.smu.sendRaw(std::vector<u8>(8 << 20U, 0x55));
            for (size_t i = 0; i < COUNT; ++i)
                ASSERT_EQ(m_machine.smu.receiveBytes().size(), 9 + LARGE) << i;
        });
    start();
}
