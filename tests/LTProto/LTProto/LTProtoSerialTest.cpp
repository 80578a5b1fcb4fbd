// Idle time and loss of the line, at times that the test sets.
#include "tests/LTProto/LTProto/EngineFixture.h"

namespace
{

class SerialTest : public EngineTest
{
  protected:
    // The idle step, `msec` later, when it is due exactly then.
    eReceiveResult IdleStepAfter(u32 msec)
    {
        EXPECT_EQ(m_engine->IdleIn(), msec);
        s_nowMSec += msec;
        EXPECT_EQ(m_engine->IdleIn(), 0U);
        return m_engine->OnEventTimeout();
    }

    const std::string m_polling = FramedHex("2A 00");
    const std::string m_ack = FramedHex("2A 01");
};

} // namespace

TEST_F(SerialTest, AMainStationAlonePolls)
{
    for (eComType comType : {eComType::SOCKET_MAIN, eComType::SOCKET_SUBSCRIBER, eComType::UART_SUBSCRIBER})
    {
        Start(comType);
        EXPECT_EQ(IdleStepAfter(250), eReceiveResult::Unknown);
        EXPECT_EQ(Sent(), "");
    }
    Start(eComType::UART_MAIN);
    EXPECT_EQ(IdleStepAfter(1000), eReceiveResult::ClientDisconnect);
    m_engine->IsConnected(true);
    EXPECT_EQ(IdleStepAfter(250), eReceiveResult::ClientDisconnect);
    EXPECT_EQ(Sent(), m_polling + "\n" + m_polling);
}

TEST_F(SerialTest, NoPollOvertakesAPacketThatStillLeaves)
{
    Start(eComType::UART_MAIN);
    m_engine->IsConnected(true);
    s_nowMSec += 200;
    m_device->m_sendingMSec = 435;
    Value(1);
    FeedAck();
    const std::string value = Sent();
    m_device->m_sendingMSec = 10; // slower than expected
    EXPECT_EQ(IdleStepAfter(435 + 250), eReceiveResult::Unknown);
    EXPECT_EQ(Sent(), "");
    m_device->m_sendingMSec = 0;
    Feed("2A 02 00 02");
    EXPECT_EQ(Sent(), value);
    EXPECT_EQ(IdleStepAfter(250), eReceiveResult::ClientDisconnect);
    EXPECT_EQ(Sent(), m_polling);
}

TEST_F(SerialTest, AClientIsSilentAfterThreeSecondsOfPollsAlone)
{
    Start(eComType::UART_MAIN);
    m_engine->IsConnected(true);
    FeedAck();
    for (int i = 0; i < 12; ++i)
    {
        EXPECT_FALSE(m_engine->ClientIsSilent());
        IdleStepAfter(250);
    }
    EXPECT_TRUE(m_engine->ClientIsSilent());
    FeedBytes({0});
    EXPECT_FALSE(m_engine->ClientIsSilent());
}

TEST_F(SerialTest, BytesThatComeSinglyAreForgottenAtTheIdleStep)
{
    for (eComType comType : {eComType::UART_MAIN, eComType::UART_SUBSCRIBER})
    {
        Start(comType, 1000);
        // The first three bytes land at one place, so the length is that of an earlier packet's rest, or none.
        for (const char *dribble : {"60", "60 00", "60 01 00 66 01", "00 00"})
        {
            for (u8 byte : Hex(dribble))
                FeedBytes({byte});
            IdleStepAfter(m_engine->WaitingTimeout());
            Sent();
            FeedAck();
            EXPECT_EQ(Sent(), comType == eComType::UART_MAIN ? m_polling : m_ack) << dribble;
        }
        FeedBytes(Hex("60 00 20 66 01")); // a packet that stops half way
        IdleStepAfter(m_engine->WaitingTimeout());
        Sent();
        FeedAck();
        EXPECT_EQ(Sent(), comType == eComType::UART_MAIN ? m_polling : m_ack);
    }
}

TEST_F(SerialTest, ALineThatIsLostIsTriedAgainEverySecond)
{
    for (eComType comType : {eComType::UART_MAIN, eComType::UART_SUBSCRIBER})
    {
        Start(comType);
        m_device->m_resultWithoutBytes = tovi::ComDevice::RECEIVE_PEER_CLOSED;
        m_device->m_connected = false;
        EXPECT_EQ(m_engine->OnReceive(m_payload), eReceiveResult::ClientDisconnect);
        for (bool opens : {false, false, true})
        {
            EXPECT_FALSE(m_engine->DeviceHasPeer());
            m_device->m_opens = opens;
            IdleStepAfter(1000);
        }
        EXPECT_TRUE(m_engine->DeviceHasPeer());
        EXPECT_EQ(Sent(), comType == eComType::UART_MAIN ? m_polling : "");
    }
}
