// A machine that does not read: nothing is lost that the client was told has come, nothing grows, and the end waits for it.
#include "tests/endToEnd/BridgeFixture.h"

#include <csignal>

namespace
{

const std::string ACKNOWLEDGED = framed("2A 01");

class DeafMachineTest : public BridgeTest
{
  protected:
    void startDeaf()
    {
        m_smu.receiveLittle();
        ASSERT_NO_FATAL_FAILURE(startWithClient());
    }

    // Sends a packet, gets `answer`, and notes what the machine is to find.
    void say(const std::string &content, const std::string &answer, const std::string &atMachine)
    {
        m_client->send(content);
        ASSERT_EQ(m_client->receive(), answer);
        m_expected.push_back(atMachine);
    }

    // Enough to fill the machine's connection, so that a write stops half way.
    void fillLink()
    {
        for (int i = 0; i < LARGE_VALUES; ++i)
            ASSERT_NO_FATAL_FAILURE(say(LARGE_VALUE, ACKNOWLEDGED, LARGE_MESSAGE));
    }

    // A file of the three bytes 41 42 43; the machine is to find its name.
    void upload()
    {
        for (const auto &[packet, answer] :
             {std::pair("AA 00 00 00 00 10 05 00 07", "AA 00 00 00 00 10 00 10"), {"AA FF FF FF 41 42 43", "2A 01"}})
        {
            m_client->send(packet);
            ASSERT_EQ(m_client->receive(), framed(answer));
        }
        ASSERT_TRUE(m_bridge->prints("File id 7 receive complete"));
        m_expected.push_back("90 02 00 00 00 00 00 07 "); // and the name
    }

    void leave()
    {
        m_client->leave();
        ASSERT_TRUE(m_bridge->prints("Client disconnected on receive"));
        m_expected.push_back(LINK_DOWN);
    }

    void machineFindsAll()
    {
        for (const std::string &expected : m_expected)
        {
            const std::string found = m_smu.receive();
            ASSERT_EQ(expected.back() == ' ' ? found.substr(0, expected.size()) : found, expected);
        }
    }

    static std::string repeated(const std::string &head, int count)
    {
        std::string text = head;
        for (int i = 0; i < count; ++i)
            text += " 5a";
        return text;
    }

    static constexpr int LARGE_VALUES = 12;
    const std::string LARGE_VALUE = repeated("66 FF FF FF FE 06 00 00 00 0B 10", 49000);
    const std::string LARGE_MESSAGE = repeated("90 01 00 00 00 00 00 0b 10", 49000);
    std::vector<std::string> m_expected;
};

} // namespace

TEST_F(DeafMachineTest, FindsAllInOrderWhenItReadsAgainAndNothingOfOneMessageInAnother)
{
    ASSERT_NO_FATAL_FAILURE(startDeaf());
    ASSERT_NO_FATAL_FAILURE(fillLink());
    const std::string noticeHead = "66 FF FF FF FF 80 00 00 00 ";
    const std::string text = "66 FF FF FF FE 06 00 00 00 0C 07 61",
                      emptyRecord = "90 01 00 00 ff ff ff ff 00 00 00 00 00";
    say("66 FF FF FF FE 06 00 00 00 0C 01 00 00 00 07", ACKNOWLEDGED, "90 01 00 00 00 00 00 0c 01 00 00 00 07");
    say("33 06 00 00 00 04", framed(noticeHead + "00"), "90 01 00 00 00 00 00 04 00 00 00 00 00");
    say(text, ACKNOWLEDGED, emptyRecord);
    ASSERT_NO_FATAL_FAILURE(upload());
    say("33 05 00 08", framed(noticeHead + "01"), "90 02 00 00 00 00 00 08");
    for (int i = 0; i < 2; ++i)
    {
        ASSERT_NO_FATAL_FAILURE(leave());
        m_client = std::make_unique<RawClient>(m_ip, CLIENT_PORT);
        m_expected.push_back(LINK_UP);
        say(text, ACKNOWLEDGED, emptyRecord);
    }
    ASSERT_NO_FATAL_FAILURE(leave());
    ASSERT_TRUE(m_bridge->prints("The machine takes no messages"));
    machineFindsAll();
    EXPECT_TRUE(m_bridge->prints("The machine takes messages again"));
    stop();
    const std::string all = m_bridge->output();
    EXPECT_EQ(all.find("The machine takes no"), all.rfind("The machine takes no"));
}

TEST_F(DeafMachineTest, MakesTheClientWaitForItsAckAndItsEndIsSeenAllTheSame)
{
    ASSERT_NO_FATAL_FAILURE(startDeaf());
    const std::vector<u8> value = Framed(LARGE_VALUE);
    constexpr int MOST = 400;
    int acknowledged = 0;
    const auto isAnswered = [this]
    {
        pollfd answer{m_client->link().get(), POLLIN, 0};
        return poll(&answer, 1, 1000) == 1;
    };
    for (m_client->sendRaw(value); acknowledged < MOST && isAnswered(); m_client->sendRaw(value), ++acknowledged)
        ASSERT_EQ(m_client->receive(), ACKNOWLEDGED);
    EXPECT_LT(acknowledged, MOST);
    EXPECT_LT(m_bridge->peakMemoryKb(), PEAK_MEMORY_KB);
    m_expected.assign(static_cast<size_t>(acknowledged) + 1, LARGE_MESSAGE); // the last one was on its way
    ASSERT_NO_FATAL_FAILURE(leave());
    machineFindsAll();
}

TEST_F(DeafMachineTest, GetsAllBeforeTheEndWhenItReadsInTime)
{
    for (int how : {0, SIGTERM, SIGINT, SIGHUP})
    {
        SCOPED_TRACE(how);
        m_expected.clear();
        ASSERT_NO_FATAL_FAILURE(startDeaf());
        ASSERT_NO_FATAL_FAILURE(fillLink());
        if (how == 0)
            m_bridge->type("x");
        else
            m_bridge->signal(how);
        ASSERT_TRUE(m_bridge->prints("Program exit"));
        m_expected.push_back("c8 a6 02");
        machineFindsAll();
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_EQ(m_bridge->output().find("were not sent"), std::string::npos);
    }
}

TEST_F(DeafMachineTest, LeavesANumberWhenItReadsNoMore)
{
    for (const char *how : {"silent", "ends it", "resets"})
    {
        SCOPED_TRACE(how);
        ASSERT_NO_FATAL_FAILURE(startDeaf());
        ASSERT_NO_FATAL_FAILURE(fillLink());
        m_bridge->signal(SIGTERM);
        ASSERT_TRUE(m_bridge->prints("Program exit"));
        if (*how == 'e')
            m_smu.send("00 05 00 00");
        else if (*how == 'r')
            m_smu.leave(); // with bytes unread
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_NE(m_bridge->output().find(" messages of the client were not sent to the machine\n"), std::string::npos);
    }
}

TEST_F(DeafMachineTest, IsMissedAtOnceWhenItResetsTheLink)
{
    ASSERT_NO_FATAL_FAILURE(startDeaf());
    ASSERT_NO_FATAL_FAILURE(fillLink());
    m_smu.leave();
    EXPECT_EQ(m_bridge->status(), 0);
}
