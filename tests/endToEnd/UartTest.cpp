// The bridge on a serial line, as its main station: the client at the far end speaks raw bytes.
#include "tests/endToEnd/UartFixture.h"

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <thread>

namespace
{

// A raw buffer whose packet is so many bytes long.
std::string largeValue(size_t packetLen)
{
    std::string bytes = "10";
    for (size_t i = 16; i < packetLen; ++i)
        bytes += " 5A";
    return bytes;
}

} // namespace

TEST_F(UartTest, StartTellsTheLineAndTheDefaultPayload)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    stop();
    EXPECT_NE(m_bridge->output().find("Init on UART Main device " + device() + " ret=true"), std::string::npos);
    EXPECT_NE(m_bridge->output().find("Max payload lenght 5000 bytes"), std::string::npos);
}

TEST_F(UartTest, SilentClientIsReportedOnceAndItsNextByteBringsItBack)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    m_client->send("AA 00 00 00 00 10 05 00 07"); // a file, of which no more comes
    std::string granted = m_client->receive();
    while (granted == POLLING)
        granted = m_client->receive();
    EXPECT_EQ(granted, framed("AA 00 00 00 00 10 00 10"));
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(m_smu.receive(), LINK_DOWN);
        const std::filesystem::directory_iterator received(m_bridge->folder() + "/BridgeTemp");
        EXPECT_EQ(std::distance(received, {}), 1) << "the index alone";
        EXPECT_EQ(m_client->receive(), POLLING); // they have gone out all the while
        m_client->sendRaw({0x00});
        EXPECT_EQ(m_smu.receive(), LINK_UP);
    }
    stop();
}

TEST_F(UartTest, PollsGoOutWhileTheMachineTalks)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    std::atomic<bool> ended = false;
    std::thread talk(
        [&]
        {
            while (!ended)
            {
                m_smu.send("90 01 00 00 00 00 00 04 01 00 00 00 19");
                pollfd nothing{-1, 0, 0};
                poll(&nothing, 1, 20); // the pace of the machine, far below the time that brings a poll
            }
        });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m_client->receive(), POLLING);
    ended = true;
    talk.join();
}

TEST_F(UartTest, LineThatHangsUpIsOpenedAgain)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    const char *times = std::getenv("LUMO_TEST_HANGUPS");
    for (int i = times != nullptr ? std::atoi(times) : 3; i > 0; --i)
    {
        unplug();
        ASSERT_EQ(m_smu.receive(), LINK_DOWN);
        plugIn();
        ASSERT_NO_FATAL_FAILURE(answerPoll());
    }
    stop();
}

TEST_F(UartTest, LongPacketsPassAtLineSpeedBothWays)
{
    LumoSmuSim::PtyCable cable(11520);
    ASSERT_NO_FATAL_FAILURE(startOn(cable.deviceA()));
    m_client = std::make_unique<RawClient>(Descriptor(open(cable.deviceB().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)));
    ASSERT_NO_FATAL_FAILURE(answerPoll());
    const std::string value = largeValue(5009);
    EXPECT_EQ(valueAt(value), framed("66 FF FF FF FE 06 00 00 00 0A " + value));
    m_client->send("66 FF FF FF FE 06 00 00 00 0B " + value);
    EXPECT_EQ(receiveBeyondPolls(), framed(ACK));
    EXPECT_EQ(m_smu.receive(), hexOf(Hex("90 01 00 00 00 00 00 0B " + value)));
}

// While the machine does not read, the client waits for its ACK: no poll comes between, and it does not count as silent.
TEST_F(UartTest, DeafMachineMakesTheClientWaitForItsAck)
{
    m_smu.receiveLittle();
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    const std::vector<u8> value = Framed("66 FF FF FF FE 06 00 00 00 0B " + largeValue(4000));
    const auto isAnswered = [this]
    {
        pollfd answer{m_client->link().get(), POLLIN, 0};
        return poll(&answer, 1, 1000) == 1;
    };
    constexpr int MOST = 2000;
    int acknowledged = 0;
    for (m_client->sendRaw(value); acknowledged < MOST && isAnswered(); m_client->sendRaw(value), ++acknowledged)
        ASSERT_EQ(receiveBeyondPolls(), framed(ACK));
    EXPECT_LT(acknowledged, MOST);
    for (int i = 0; i <= acknowledged; ++i)
        ASSERT_EQ(m_smu.receiveBytes().size(), 9U + 4000 - 16) << i;
    EXPECT_EQ(m_client->receive(), framed(ACK));
    EXPECT_EQ(m_client->receive(), POLLING);
}
