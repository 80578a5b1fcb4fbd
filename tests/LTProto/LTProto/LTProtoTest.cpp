// Roles and connection life of the engine.
#include "tests/LTProto/LTProto/EngineFixture.h"

#include "tests/Descriptor.h"

namespace
{

using RolesTest = EngineTest;

} // namespace

TEST_F(RolesTest, ASubscriberNeedsAHost)
{
    const std::string listening = std::string("@").append(ownLoopback()).append(":8283");
    for (const char *device : {"", ":8283", listening.c_str()})
        EXPECT_FALSE(LTProtocol::LTProto().Init(m_group, 1, 2, eComType::SOCKET_SUBSCRIBER, device, 0)) << device;
}

TEST_F(RolesTest, ASubscriberThatLostItsMainStationLooksForItAtLeastOnceASecond)
{
    Start(eComType::SOCKET_SUBSCRIBER);
    FeedBytes(Hex("60 00 20 66 01 02 03")); // the beginning of a packet
    m_device->m_connected = false;
    EXPECT_FALSE(m_engine->CommandSend(eCommandCode::ACK, 0));
    for (u32 attempts = 1; attempts <= 3; ++attempts)
    {
        for (const u32 msec : {0U, 250U, 250U}) // the thread's cycles
        {
            s_nowMSec += msec;
            EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::Unknown);
            Value(1); // what the machine sends meanwhile does not put it off
            EXPECT_EQ(m_device->m_attempts, attempts);
        }
        s_nowMSec += 250;
    }
    m_device->m_opens = true;
    EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::ClientConnect);
    EXPECT_EQ(Sent(), "");
    EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::Unknown);
    EXPECT_EQ(m_device->m_attempts, 4U);
    EXPECT_EQ(Feed("33 06 00 00 00 2A"), eReceiveResult::VarRequest); // nothing is left in front of it
}
