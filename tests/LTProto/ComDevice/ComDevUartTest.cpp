#include "LTProto/ComDevice/ComDevUart.h"

#include "LumoSmuSim/PtyCable.h"
#include "tests/Descriptor.h"

#include <gtest/gtest.h>

namespace
{

constexpr u32 PEER = 7;

} // namespace

TEST(ComDevUart, OpensItsLastDeviceAgain)
{
    LumoSmuSim::PtyPort pty;
    Descriptor farEnd(pty.takeFarEnd());
    tovi::ComDevUart device(nullptr);
    OSWaitableGrp group;
    EXPECT_FALSE(device.Set(nullptr, 115200)); // none yet
    EXPECT_FALSE(device.Set(pty.device().c_str(), 9600));
    EXPECT_FALSE(device.IsConnected());
    EXPECT_FALSE(device.Close());
    EXPECT_FALSE(device.WaitableGroupRelink());
    EXPECT_FALSE(device.Set("/dev/null", 115200)); // opens half way
    EXPECT_FALSE(device.IsConnected());
    ASSERT_TRUE(device.Set(pty.device().c_str(), 115200));
    ASSERT_TRUE(device.WaitableGroup(group, PEER, 0));
    EXPECT_EQ(device.WaitingTimeout(), 250U);
    EXPECT_TRUE(device.Close());
    EXPECT_TRUE(device.Set("", 4000000));
    EXPECT_TRUE(device.WaitableGroupRelink());
    farEnd.write({1, 2, 3});
    ASSERT_EQ(group.wait(PATIENCE_MSEC), 1);
    ASSERT_EQ(group.getEventUserParamAsU32(0), PEER);
    u8 bytes[4] = {};
    EXPECT_EQ(device.Receive(0, bytes), 0); // no lost line
    EXPECT_EQ(device.Receive(4, bytes), 3);
    EXPECT_EQ(device.Receive(4, bytes), 0);
    EXPECT_TRUE(device.Send(3, bytes));
    EXPECT_EQ(farEnd.readExactly(3), std::vector<u8>({1, 2, 3}));
    farEnd.reset();
    EXPECT_EQ(device.Receive(4, bytes), tovi::ComDevice::RECEIVE_PEER_CLOSED);
    EXPECT_FALSE(device.IsConnected());
    EXPECT_EQ(group.wait(0), 0);
    EXPECT_EQ(device.Receive(4, bytes), 0);
    EXPECT_FALSE(device.Send(3, bytes));
}

TEST(ComDevUart, CountsTheTimeThatBytesNeedOnTheLine)
{
    LumoSmuSim::PtyPort pty;
    tovi::ComDevUart device(nullptr);
    ASSERT_TRUE(device.Set(pty.device().c_str(), 115200));
    EXPECT_EQ(device.SendingMSec(), 0U);
    std::vector<u8> bytes(5009);
    ASSERT_TRUE(device.Send(5009, bytes.data()));
    EXPECT_TRUE(device.SendingMSec() > 0);
    EXPECT_TRUE(device.SendingMSec() <= 435);
    EXPECT_TRUE(device.Close());
    EXPECT_EQ(device.SendingMSec(), 0);
    EXPECT_TRUE(device.Set("", 115200));
    // nothing leaves a lost line
    testing::internal::CaptureStdout();
    EXPECT_FALSE(device.Send(30000, std::vector<u8>(30000).data()));
    EXPECT_TRUE(testing::internal::GetCapturedStdout().starts_with("ERR UartSend len 30000 sended "));
}
