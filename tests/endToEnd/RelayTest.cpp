// What crosses the bridge, byte by byte.
#include "tests/endToEnd/BridgeFixture.h"

#include <atomic>
#include <thread>

namespace
{

using RelayTest = BridgeTest;

const std::string NOTICE_0 = framed("66 FF FF FF FF 80 00 00 00 00");

} // namespace

TEST_F(RelayTest, VariableRequestGoesToTheMachineAndItsValueComesBackUnderTheTicket)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    m_client->send("33 06 00 00 00 04");
    EXPECT_EQ(m_client->receive(), NOTICE_0);
    EXPECT_EQ(m_smu.receive(), "90 01 00 00 00 00 00 04 00 00 00 00 00"); // id, type 0, value 0
    m_smu.send("90 01 00 00 00 00 00 04 03 00 00 03 9D 01");
    EXPECT_EQ(m_client->receive(), framed("66 00 00 00 00 03 00 00 03 9D 01"));
    acknowledge();
    stop();
    for (const char *line :
         {"Parametri avvio programma: -server 127.0.0.1:", "Max payload lenght 50000 bytes",
          "From Client: Link status up", " M Recv:(len=11) 60 00 09 33 06 00 00 00 04", "Request var 4 received",
          "From Client: Variable request 4", "From Tovi: variable 4 (4)", "Ticket id found dataBuffer ",
          "Push packet TicketId 0 (0)", "Protocol Send (len=16): 60 "})
        EXPECT_NE(m_bridge->output().find(line), std::string::npos) << line;
}

// Each message of the first turn is one frame of the same segment, so all are handled with one record.
TEST_F(RelayTest, MachineValueThatCarriesNothingLeavesTheRecordAsItWas)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    std::vector<u8> segment = consoleFrame(Hex("90 01 00 00 00 00 00 04 01 00 00 00 19"));
    for (const char *message : {"90 01 00 00 00 00 00 05 11", "90 01 00 00 00 00 00 05 01 00", "90 01 00 00 00 00"})
    {
        const std::vector<u8> frame = consoleFrame(Hex(message));
        segment.insert(segment.end(), frame.begin(), frame.end());
    }
    m_smu.sendRaw(segment);
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(m_client->receive(), framed("66 FF FF FF FE 06 00 00 00 04 01 00 00 00 19"));
        acknowledge();
    }
}

TEST_F(RelayTest, ClientValuesReachTheMachine)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    const std::pair<const char *, const char *> cases[] = {
        {"01 00 00 00 5F", "90 01 00 00 00 00 00 0B 01 00 00 00 5F"},
        {"10 01 02 03", "90 01 00 00 00 00 00 0B 10 01 02 03"},
        {"10", "90 01 00 00 00 00 00 0B 10"},
        {"07 61", "90 01 00 00 FF FF FF FF 00 00 00 00 00"}, // of other types only that there was something
    };
    for (const auto &[value, message] : cases)
    {
        ASSERT_NO_FATAL_FAILURE(awaitFreshRecord());
        m_client->send(std::string("66 FF FF FF FE 06 00 00 00 0B ") + value);
        EXPECT_EQ(m_client->receive(), framed("2A 01"));
        EXPECT_EQ(m_smu.receive(), hexOf(Hex(message)));
    }
    EXPECT_TRUE(m_bridge->prints("Value of variable 11 not relayed: type 7 does not reach the machine"));
    stop();
    EXPECT_EQ(m_bridge->output().find("not relayed: type 1"), std::string::npos);
}

TEST_F(RelayTest, RequestFromTheMachineTravelsAsAValueWithoutOne)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    m_smu.send("90 01 00 00 05 00 00 00"); // the id least significant byte first
    EXPECT_TRUE(m_bridge->prints("From Tovi: Variable request 5"));
    m_smu.send("90 02 00 00 06 00 00 00");
    EXPECT_TRUE(m_bridge->prints("From Tovi: File request 6"));
    // The value in front of the request stays in the record that both share.
    std::vector<u8> segment = consoleFrame(Hex("90 01 00 00 00 00 00 04 01 00 00 00 19"));
    const std::vector<u8> request = consoleFrame(Hex("90 01 00 00 05 00 00 00"));
    segment.insert(segment.end(), request.begin(), request.end());
    m_smu.sendRaw(segment);
    EXPECT_EQ(m_client->receive(), framed("66 FF FF FF FE 06 00 00 00 04 01 00 00 00 19"));
    acknowledge();
    EXPECT_EQ(m_client->receive(), framed("66 FF FF FF FE 06 00 00 00 05 01 00 00 00 19"));
}

TEST_F(RelayTest, FileAnnouncedByTheMachineShowsItsUserValueAsALength)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    m_smu.send("90 02 00 07 00 00 00 09 61 2E 74 78 74");
    EXPECT_TRUE(m_bridge->prints("Rcv FILE msg from SMU with payloadLen=7\n"));
    EXPECT_TRUE(m_bridge->prints("Rcv File sended id 9 name a.txt\n"));
    EXPECT_TRUE(m_bridge->prints("From Tovi: File send 9"));
    m_smu.send("90 02 00 08 00 00 00 0A 61"); // a name of one byte counts as none
    EXPECT_TRUE(m_bridge->prints("From Tovi: File send 10"));
    EXPECT_TRUE(m_bridge->prints("Ticket not found, file delete")); // nothing is deleted: it has no name
    m_smu.send("90 02 00 00 00 00 FF FF 61 2E 74");
    EXPECT_TRUE(m_bridge->prints("Error on FileSend")); // its negotiation has no room for the id
    stop();
    EXPECT_EQ(m_bridge->output().find("sended id 10"), std::string::npos);
}

TEST_F(RelayTest, LinkStatesAlternate)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    m_client->leave();
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    ASSERT_NO_FATAL_FAILURE(connectClient());
    RawClient newcomer(m_ip, CLIENT_PORT); // turned away within the first client's minute
    EXPECT_EQ(newcomer.receive(), "");
    EXPECT_TRUE(m_bridge->prints("Now socket is DISCARDED"));
    m_client->send("33 80 00 00 00 09");
    EXPECT_EQ(m_client->receive(), framed("66 FF FF FF FF 11"));
    m_client->leave();
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
}

TEST_F(RelayTest, ClientThatStopsReadingIsReportedLost)
{
    ASSERT_NO_FATAL_FAILURE(start());
    m_client = std::make_unique<RawClient>(m_ip, CLIENT_PORT, SMALL_BUFFER);
    ASSERT_EQ(m_smu.receive(), LINK_UP);
    std::vector<u8> message = Hex("90 01 00 00 00 00 00 0A 10");
    message.resize(60000, 0x5A);
    std::atomic<bool> ended = false;
    std::jthread flood( // which finds no room either, while the write to the client waits
        [&]
        {
            while (!ended)
                m_smu.sendRaw(consoleFrame(message));
        });
    // Each ACK lets one more value out, until a write finds no room within its time-out.
    for (int i = 0; i < 8; ++i)
    {
        m_bridge->prints("Push packet");
        acknowledge();
    }
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    ended = true;
    flood.join();
    EXPECT_LT(m_bridge->peakMemoryKb(), PEAK_MEMORY_KB);
    EXPECT_TRUE(m_bridge->prints("Unable to send. Connection is close."));
    ASSERT_NO_FATAL_FAILURE(connectClient());
}

TEST_F(RelayTest, LargestPayloadsPassBothWays)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient({"-payload", "65535"}));
    std::vector<u8> message = Hex("90 01 00 00 00 00 00 0A 10");
    message.resize(65528, 0x5A); // the longest frame that a read buffer of 65535 bytes holds
    m_smu.sendRaw(consoleFrame(message));
    const std::vector<u8> packet = m_client->receiveBytes();
    EXPECT_EQ(packet.size(), 65535U);
    acknowledge();

    std::string content = "66 FF FF FF FE 06 F0 00 00 00 10";
    std::vector<u8> sent = Framed(content +
                                  []
                                  {
                                      std::string bytes;
                                      for (int i = 0; i < 65519; ++i)
                                          bytes += " 5A";
                                      return bytes;
                                  }());
    ASSERT_TRUE(m_bridge->prints("Recv:(len=7)")); // the ACK was read: nothing follows it in the same read
    m_client->sendRaw(sent);
    EXPECT_EQ(m_client->receive(), NOTICE_0);
    const std::vector<u8> relayed = m_smu.receiveBytes(); // its frame, 65539 bytes, goes out in two pieces
    EXPECT_EQ(relayed.size(), 4U + 4 + 1 + 4 + 65519);
}

TEST_F(RelayTest, FloodOfTheMachineStarvesNeitherTheClientNorTheStop)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    const std::vector<u8> frame = consoleFrame(Hex("90 01 00 00 00 00 00 04 01 00 00 00 19"));
    std::vector<u8> block;
    for (int i = 0; i < 2000; ++i)
        block.insert(block.end(), frame.begin(), frame.end());
    std::atomic<bool> ended = false;
    std::thread flood(
        [&]
        {
            while (!ended)
                m_smu.sendRaw(block);
        });
    EXPECT_TRUE(m_bridge->prints("oldest spontaneous value dropped")); // the client acknowledges nothing
    m_client->send("33 06 00 00 00 05");
    EXPECT_TRUE(m_bridge->prints("From Client: Variable request 5"));
    m_bridge->signal(SIGTERM);
    EXPECT_EQ(m_bridge->status(), 0);
    ended = true;
    flood.join();
}

TEST_F(RelayTest, FramesThatAreAlreadyThereAreHandledAtOnce)
{
    launch();
    m_smu.takeUnanswered();
    std::vector<u8> segment = consoleFrame(Hex("00 04 00 00"));
    for (const char *message : {"41", "00 01 00 07", "90 01 00 00 05 00 00 00"}) // too short, a ping, a request
    {
        const std::vector<u8> frame = consoleFrame(Hex(message));
        segment.insert(segment.end(), frame.begin(), frame.end());
    }
    m_smu.sendRaw(segment);
    EXPECT_TRUE(m_bridge->prints("Incoming msg from SMU: what=1, userValue=7, payloadlLen=0\n"));
    EXPECT_TRUE(m_bridge->prints("From Tovi: Variable request 5"));
    stop();
}

TEST_F(RelayTest, IdentifyAnswerMayArriveInPieces)
{
    launch();
    m_smu.takeUnanswered();
    const std::vector<u8> answer = consoleFrame(Hex("00 01 00 00")); // any message will do
    m_smu.sendRaw({answer.begin(), answer.begin() + 3});
    m_smu.sendRaw({answer.begin() + 3, answer.end()});
    EXPECT_TRUE(m_bridge->prints("Max payload lenght"));
    stop();
}
