#include "tests/LTProto/LTProto/EngineFixture.h"

#include "LTProto/Tools/LogTracer.h"

namespace
{

using TicketsTest = EngineTest;
using LTProtocol::LTProto;
using LTProtocol::TICKET_NONE;

std::string integerValue(const std::string &idAndValue)
{
    return FramedHex("66 FF FF FF FE 06 " + idAndValue.substr(0, 11) + " 01 " + idAndValue.substr(12));
}

} // namespace

TEST_F(TicketsTest, NumbersRiseAndGivenOnesDoNotCount)
{
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, 7, TICKET_NONE), 0U);
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, 7, 77), 77U);
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_API, eDataType::VARIABLE_ID, 7, TICKET_NONE), 1U);
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_API, eDataType::VARIABLE_ID, 7), 1U);
    EXPECT_TRUE(m_engine->TicketRemove(77));
    EXPECT_FALSE(m_engine->TicketRemove(77));
}

TEST_F(TicketsTest, RefusesWhatNoTicketCanBeOpenedFor)
{
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::NONE, eDataType::VARIABLE_ID, 7, TICKET_NONE), TICKET_NONE);
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_API, eDataType::NULL_DATA, 7, TICKET_NONE), TICKET_NONE);
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_API, eDataType::FILE_ID, 0x10000, TICKET_NONE), TICKET_NONE);
    LTProtocol::Ticket ticket;
    EXPECT_FALSE(ticket.TicketSet(eTicketType::FROM_API, LTProtocol::TICKET_SPONTANEOUS));
    EXPECT_TRUE(ticket.Set(eDataType::STRING_UTF, Tools::MemoryBuffer("name"), eTicketType::FROM_API, 3));
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_API, eDataType::VARIABLE_ID, 7, TICKET_NONE), 0U);
}

TEST_F(TicketsTest, BeyondTheLastOpenTicketTheOldestThatNoTransferUsesGivesWay)
{
    const auto isOpen = [this](const std::string &ticket)
    {
        Sent();
        Feed("33 80 00 00 " + ticket);
        return Sent() == FramedHex("66 FF FF FF FF 80 00 00 " + ticket);
    };
    const auto open = [this](u32 id)
    { return m_engine->TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, id, TICKET_NONE); };
    Feed("33 05 00 09"); // ticket 0: a file that is queued
    ASSERT_TRUE(m_engine->FileSend(u16{9}, u8{0}, Tools::MemoryBuffer("/nowhere")));
    Feed("33 05 00 0A"); // ticket 1: a file that will be coming in
    for (u32 id = 2; id < LTProto::TICKETS_MAX; ++id)
        ASSERT_EQ(open(id), id);
    Feed("AA 00 00 00 00 64 80 00 00 00 01");
    EXPECT_EQ(open(0x1000), 0x1000U);
    EXPECT_FALSE(isOpen("00 02"));
    for (const char *ticket : {"00 00", "00 01", "00 03", "0F FF", "10 00"})
        EXPECT_TRUE(isOpen(ticket)) << ticket;
    EXPECT_EQ(Feed("33 06 00 01 00 00"), eReceiveResult::VarRequest); // no file comes in any more
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 10 01"));
    EXPECT_FALSE(isOpen("00 01"));
    EXPECT_EQ(m_engine->TicketEnqueue(eTicketType::FROM_API, eDataType::NULL_DATA, 7, TICKET_NONE), TICKET_NONE);
    EXPECT_TRUE(isOpen("00 03")); // what opens no ticket costs none
}

TEST_F(TicketsTest, ARequestOfTheBridgeThatGivesWayIsNoLongerRepeated)
{
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    Value(1, 0x11);
    for (u32 id = 0; id < LTProto::TICKETS_MAX; ++id)
        m_engine->TicketEnqueue(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, id, TICKET_NONE);
    Sent();
    FeedAck();
    EXPECT_EQ(Sent(), integerValue("00 00 00 01 00 00 00 11"));
}

TEST_F(TicketsTest, ARequestThatTheQueueRefusesTakesNoTicket)
{
    for (u32 i = 0; i <= LTProtocol::SendQueue::PACKETS_MAX; ++i) // the first one goes out at once
        ASSERT_TRUE(m_engine->DataEnqueue(u32{77}, eDataType::INTEGER_POSITIVE, 0, 0, {}));
    EXPECT_FALSE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_API, eDataType::VARIABLE_ID, 9), TICKET_NONE);
    FeedAck();
    EXPECT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_API, eDataType::VARIABLE_ID, 9), 0U);
}

TEST_F(TicketsTest, RequestOfTheBridgeIsRepeatedUntilItIsAnswered)
{
    const std::string request = FramedHex("33 06 00 00 00 09");
    EXPECT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    EXPECT_EQ(Sent(), request);
    FeedAck();
    EXPECT_EQ(Sent(), request);
    EXPECT_EQ(Feed("66 FF FF FF FF 01 00 00 00 07"), eReceiveResult::DataBuffer);
    EXPECT_EQ(HexText(m_payload), "00 00 00 09 01 00 00 00 07");
    Sent();
    FeedAck();
    EXPECT_EQ(Sent(), "");
}

TEST_F(TicketsTest, FullQueueDropsItsOldestSpontaneousValue)
{
    for (u32 id = 0; id <= LTProtocol::SendQueue::PACKETS_MAX; ++id) // the first one goes out at once
        ASSERT_TRUE(Value(id));
    Sent();
    ASSERT_TRUE(Value(0xAAAA));
    FeedAck();
    EXPECT_EQ(Sent(), integerValue("00 00 00 02 00 00 00 00")); // 1 made room

    Tools::LogTracer tracer;
    tracer.Init(10);
    m_engine->LogTracer(&tracer);
    testing::internal::CaptureStdout();
    for (u32 id = 0; id < 4; ++id) // there was room for one
        Value(id);
    s_nowMSec += 1000;
    Value(4);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("dropped, 4 times\n"), std::string::npos) << "once a second";
}

TEST_F(TicketsTest, QueueIsBoundedInBytesAndKeepsAnswers)
{
    const Tools::MemoryBuffer mebibyteSixteenth(65000, nullptr);
    Value(0); // goes out; all others wait
    for (u32 i = 0; i < 64; ++i)
        ASSERT_TRUE(m_engine->DataEnqueue(u32{1}, eDataType::DATA_BUFFER, 0, 0, mebibyteSixteenth));
    EXPECT_FALSE(m_engine->DataEnqueue(u32{1}, eDataType::DATA_BUFFER, 0, 0, mebibyteSixteenth));
    EXPECT_TRUE(Value(5));
    FeedAck(); // what leaves makes room
    EXPECT_TRUE(m_engine->DataEnqueue(u32{1}, eDataType::DATA_BUFFER, 0, 0, mebibyteSixteenth));
    m_engine->ClientDisconnect(); // so does what is dropped
    EXPECT_TRUE(m_engine->DataEnqueue(u32{1}, eDataType::DATA_BUFFER, 0, 0, mebibyteSixteenth));
}

TEST_F(TicketsTest, PacketThatIsTooLongIsRefusedWhereItWouldBeQueued)
{
    const Tools::MemoryBuffer longest(LTProtocol::PACKET_PAYLOAD_MAX - 10,
                                      nullptr); // ticket, kind, id and type in front
    EXPECT_TRUE(m_engine->DataEnqueue(eDataType::VARIABLE_ID, 1, eDataType::DATA_BUFFER, 0, 0, longest));
    EXPECT_EQ(m_device->m_sent.back().size(), 65535U);
    FeedAck();
    Sent();
    EXPECT_FALSE(m_engine->DataEnqueue(eDataType::VARIABLE_ID, 1, eDataType::DATA_BUFFER, 0, 0, longest + "x"));
    EXPECT_FALSE(m_engine->RequestSend(Tools::MemoryBuffer(LTProtocol::PACKET_PAYLOAD_MAX + 1, nullptr)));
    EXPECT_TRUE(Value(2));
    EXPECT_EQ(Sent(), integerValue("00 00 00 02 00 00 00 00"));
}

TEST_F(TicketsTest, AClientLeavesNothingToTheNextOneButTheNumbers)
{
    const std::string notice1 = FramedHex("66 FF FF FF FF 80 00 00 00 01");
    const std::function<void()> ways[] = {
        [] {}, // it is replaced
        [this]
        {
            m_device->m_connected = false;
            EXPECT_FALSE(m_engine->CommandSend(eCommandCode::ACK, 0));
        },
        [this]
        {
            m_device->m_connected = false;
            m_device->m_resultWithoutBytes = tovi::ComDevice::RECEIVE_PEER_CLOSED;
            EXPECT_EQ(m_engine->OnReceive(m_payload), eReceiveResult::ClientDisconnect);
        },
        [this]
        {
            m_device->m_serverResult = 0; // its successor could not be taken on
            m_device->m_connectedByServer = false;
            EXPECT_EQ(m_engine->OnReceiveServer(), eReceiveResult::InternalProcessed);
        },
    };
    for (const auto &lose : ways)
    {
        Start(eComType::SOCKET_MAIN);
        Feed("33 06 00 00 00 2A");
        Value(1);
        Value(2);
        FeedBytes(Hex("60 00 20 66 01 02 03")); // the beginning of a packet
        lose();
        m_device->m_serverResult = tovi::ComDevice::SERVER_CLIENT_TAKEN;
        m_device->m_connectedByServer = true;
        EXPECT_EQ(m_engine->OnReceiveServer(), eReceiveResult::ClientConnect);
        Sent();
        FeedAck();
        Feed("2A 02 00 02");
        EXPECT_EQ(Sent(), "");
        Feed("33 06 00 00 00 2A");
        m_device->m_serverResult = 0; // a newcomer that is turned away changes nothing
        EXPECT_EQ(m_engine->OnReceiveServer(), eReceiveResult::InternalProcessed);
        Feed("33 06 00 00 00 2A");
        EXPECT_EQ(Sent(), notice1 + "\n" + notice1);
    }
}

TEST_F(TicketsTest, PacketWithoutPayloadThrowsOne)
{
    try
    {
        LTProtocol::PacketToSend(0, LTProtocol::eCommandType::DATA, Tools::MemoryBuffer());
        FAIL();
    }
    catch (int error)
    {
        EXPECT_EQ(error, 1);
    }
}
