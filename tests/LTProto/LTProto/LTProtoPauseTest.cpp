// What stands still while the engine's thread is told to stop reading, and what goes on.
#include "tests/LTProto/LTProto/EngineFixture.h"

namespace
{

class PauseTest : public EngineTest
{
  protected:
    // Whether the peer is kept waiting; newcomers always are.
    bool Pause()
    {
        m_engine->ReceivePause(true);
        EXPECT_TRUE(m_device->m_newcomersPaused);
        return m_device->m_peerPaused;
    }
};

} // namespace

TEST_F(PauseTest, APacketIsNotBegunAndOneThatIsHalfHereIsReadOn)
{
    EXPECT_TRUE(Pause());
    m_engine->ReceivePause(false);
    EXPECT_FALSE(m_device->m_peerPaused);
    EXPECT_FALSE(m_device->m_newcomersPaused);
    const std::vector<u8> poll = Framed("2A 00");
    FeedBytes({poll.begin(), poll.begin() + 4});
    EXPECT_FALSE(Pause());
    FeedBytes({poll.begin() + 4, poll.end()});
    EXPECT_TRUE(Pause());
}

TEST_F(PauseTest, AFileThatComesInIsReadOnForAsLongAsItRuns)
{
    Feed("AA 00 00 00 00 10 05 00 07");
    EXPECT_FALSE(Pause());
    s_nowMSec += 10000;
    EXPECT_FALSE(Pause());
    s_nowMSec += 1;
    EXPECT_TRUE(Pause());
}

TEST_F(PauseTest, ASerialLineIsNotPolledMeanwhileAndItsSilenceDoesNotCount)
{
    Start(eComType::UART_MAIN);
    m_engine->IsConnected(true);
    FeedAck();
    Sent();
    EXPECT_TRUE(Pause());
    for (int i = 0; i < 20; ++i)
    {
        s_nowMSec += 250;
        m_engine->OnEventTimeout();
        EXPECT_FALSE(m_engine->ClientIsSilent());
    }
    EXPECT_EQ(Sent(), "");
    m_engine->ReceivePause(false);
    EXPECT_EQ(m_engine->IdleIn(), 250U);
    for (int i = 0; i < 12; ++i)
    {
        EXPECT_FALSE(m_engine->ClientIsSilent());
        s_nowMSec += 250;
        m_engine->OnEventTimeout();
        EXPECT_EQ(Sent(), FramedHex("2A 00"));
    }
    EXPECT_TRUE(m_engine->ClientIsSilent());
}
