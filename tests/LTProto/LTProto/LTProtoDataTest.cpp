#include "tests/LTProto/LTProto/EngineFixture.h"

#include "LTProto/Tools/LogTracer.h"

namespace
{

using DataTest = EngineTest;
using LTProtocol::TICKET_NONE;

} // namespace

TEST_F(DataTest, ValuesOfEveryTypeAsAnswerAndSpontaneously)
{
    const Tools::MemoryBuffer text("abc");
    struct Case
    {
        eDataType dataType;
        const char *value; // as on the wire, type first; empty for what does not travel
    };
    const Case cases[] = {
        {eDataType::INTEGER_POSITIVE, "01 00 01 E2 40"},
        {eDataType::INTEGER_NEGATIVE, "02 00 01 E2 40"},
        {eDataType::DECIMAL_POSITIVE, "03 00 01 E2 40 02"},
        {eDataType::DECIMAL_NEGATIVE, "04 00 01 E2 40 02"},
        {eDataType::VARIABLE_ID, "06 00 01 E2 40"},
        {eDataType::TICKET_ID, "80 00 01 E2 40"},
        {eDataType::STRING_UTF, "07 61 62 63"},
        {eDataType::DATA_BUFFER, "10 61 62 63"},
        {eDataType::FILE_ID, ""},
        {eDataType::NULL_DATA, ""},
        {eDataType::UNDEFINED, ""},
        {eDataType::INTERNAL_COMMAND, ""},
    };
    for (const auto &[dataType, value] : cases)
    {
        SCOPED_TRACE(static_cast<int>(dataType));
        Start(eComType::SOCKET_MAIN);
        const bool travels = *value != '\0';
        EXPECT_EQ(m_engine->DataEnqueue(3, dataType, 123456, 2, text), travels);
        EXPECT_EQ(Sent(), travels ? FramedHex(std::string("66 00 00 00 03 ") + value) : "");
        FeedAck();
        EXPECT_EQ(m_engine->DataEnqueue(eDataType::VARIABLE_ID, 9, dataType, 123456, 2, text), travels);
        EXPECT_EQ(Sent(), travels ? FramedHex(std::string("66 FF FF FF FE 06 00 00 00 09 ") + value) : "");
    }
}

TEST_F(DataTest, OpenRequestIsAnsweredUnderItsTicketOnce)
{
    Feed("33 06 00 00 00 2A");
    Sent();
    Tools::MemoryBuffer none;
    EXPECT_TRUE(m_engine->DataEnqueueOnTicket(eDataType::VARIABLE_ID, 42, eDataType::INTEGER_POSITIVE, 7, 0, none));
    EXPECT_EQ(Sent(), FramedHex("66 00 00 00 00 01 00 00 00 07")); // at once, without an ACK of the notice
    FeedAck();
    EXPECT_TRUE(m_engine->DataEnqueueOnTicket(eDataType::VARIABLE_ID, 42, eDataType::INTEGER_POSITIVE, 8, 0, none));
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FE 06 00 00 00 2A 01 00 00 00 08"));
}

TEST_F(DataTest, RepeatedVariableRequestGetsItsTicketAndIsForwardedAgain)
{
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(Feed("33 06 00 00 00 2A"), eReceiveResult::VarRequest);
        EXPECT_EQ(HexText(m_payload), "00 00 00 2a");
        EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 00 00"));
    }
}

TEST_F(DataTest, RepeatedFileRequestGetsItsTicketAndIsNotForwarded)
{
    EXPECT_EQ(Feed("33 05 01 02"), eReceiveResult::FileRequest);
    EXPECT_EQ(HexText(m_payload), "01 02");
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(Feed("33 05 01 02"), eReceiveResult::Unknown);
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 00 00"));
}

TEST_F(DataTest, TicketRequestTellsWhetherTheTicketIsOpen)
{
    Feed("33 06 00 00 00 2A");
    Sent();
    EXPECT_EQ(Feed("33 80 00 00 00 00"), eReceiveResult::InternalProcessed);
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(Feed("33 80 00 00 00 01"), eReceiveResult::InternalProcessed);
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 11"));
}

TEST_F(DataTest, ClientValues)
{
    struct Case
    {
        const char *name;
        const char *content;
        eReceiveResult result;
        const char *payload;
        const char *answer;
    };
    const Case cases[] = {
        {"variable", "66 FF FF FF FE 06 00 00 00 05 01 00 00 00 09", eReceiveResult::DataBuffer,
         "00 00 00 05 01 00 00 00 09", "2A 01"},
        {"buffer", "66 00 00 00 00 10 00 00 00 05 10 AA BB", eReceiveResult::DataBuffer, "00 00 00 05 10 aa bb",
         "2A 01"},
        {"without a data type", "66 FF FF FF FE 06 00 00 00 05", eReceiveResult::DataBuffer, "00 00 00 05 00", "2A 01"},
        {"ticket", "66 FF FF FF FE 80 00 00 00 05 01 00 00 00 09", eReceiveResult::Unknown, nullptr, "2A 01"},
        {"another kind", "66 FF FF FF FE 07 00 00 00 05 07 41", eReceiveResult::Unknown, nullptr, "2A 01"},
        {"answer to nothing", "66 FF FF FF FF 01 00 00 00 07", eReceiveResult::Unknown, nullptr, "2A 01"},
    };
    for (const Case &c : cases)
    {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Feed(c.content), c.result);
        EXPECT_EQ(Sent(), FramedHex(c.answer));
        if (c.payload != nullptr)
        {
            EXPECT_EQ(HexText(m_payload), c.payload);
        }
    }
}

TEST_F(DataTest, FileValueOpensATicketNumberedWithTheFileId)
{
    EXPECT_EQ(Feed("66 FF FF FF FE 05 00 00 00 63 00"), eReceiveResult::Unknown);
    EXPECT_EQ(Sent(), FramedHex("2A 01"));
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::FILE_ID, 0x63), 0x63U);
}

TEST_F(DataTest, TicketedBufferGoesOutAndComesBackUnderItsOwnNumber)
{
    Feed("33 06 00 00 00 2A"); // takes ticket 0
    for (const char *kind : {"06", "10"})
    {
        SCOPED_TRACE(kind);
        Sent();
        const std::string ticket = *kind == '0' ? "00 00 00 01" : "00 00 00 02";
        EXPECT_EQ(Feed(std::string("66 FF FF FF FE ") + kind + " F0 00 00 00 10 CA FE"), eReceiveResult::DataBuffer);
        EXPECT_EQ(HexText(m_payload), "f0 00 00 00 10 " + ticket + " ca fe");
        EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 " + ticket)); // instead of an ACK

        Tools::MemoryBuffer answer;
        for (u8 byte : Hex(ticket + " BE EF"))
            answer.Add(1, &byte);
        EXPECT_TRUE(
            m_engine->DataEnqueueOnTicket(eDataType::VARIABLE_ID, 0xF0000000, eDataType::DATA_BUFFER, 0, 0, answer));
        EXPECT_EQ(Sent(), FramedHex("66 " + ticket + " 10 BE EF"));
        FeedAck();
    }
}

TEST_F(DataTest, TicketedBufferOfAnUnknownTicketIsSpontaneousWithoutItsNumber)
{
    Tools::MemoryBuffer answer(6, "\0\0\0\x09\xBE\xEF");
    EXPECT_TRUE(
        m_engine->DataEnqueueOnTicket(eDataType::VARIABLE_ID, 0xF0000000, eDataType::DATA_BUFFER, 0, 0, answer));
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FE 06 F0 00 00 00 10 BE EF"));
    FeedAck();
    Tools::MemoryBuffer shorter(2, "\xBE\xEF");
    EXPECT_TRUE(
        m_engine->DataEnqueueOnTicket(eDataType::VARIABLE_ID, 0xF0000000, eDataType::DATA_BUFFER, 0, 0, shorter));
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FE 06 F0 00 00 00 10 BE EF"));
}

TEST_F(DataTest, AnswerThatNamesATicketTurnsTheRequestIntoThatTicket)
{
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::TICKET_ID, 0x55)); // the latest: the answer is to this one
    Sent();
    // The head of the queue, the variable's request, goes with the answer: nothing is left that could match.
    EXPECT_EQ(Feed("66 FF FF FF FF 80 00 00 00 07"), eReceiveResult::Unknown);
    EXPECT_EQ(Sent(), FramedHex("2A 02 00 06"));

    Start(eComType::SOCKET_MAIN);
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 8));
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::VARIABLE_ID, 9));
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::TICKET_ID, 0x55));
    Sent();
    EXPECT_EQ(Feed("66 FF FF FF FF 80 00 00 00 07"), eReceiveResult::InternalProcessed);
    EXPECT_EQ(Sent(), FramedHex("2A 01"));
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, 9), 0x55U);
}

TEST_F(DataTest, NewClientFindsNothingOfItsPredecessor)
{
    Feed("33 06 00 00 00 2A");
    Value(1);
    Value(2);
    FeedBytes(Hex("60 00 20 66 01 02 03")); // the beginning of a packet
    Sent();
    EXPECT_EQ(m_engine->OnReceiveServer(), eReceiveResult::ClientConnect);
    FeedAck();
    EXPECT_EQ(Sent(), "");
    EXPECT_EQ(m_engine->TicketSearch(eTicketType::FROM_PROTOCOL, eDataType::VARIABLE_ID, 42), TICKET_NONE);
    m_device->m_serverResult = 0;
    EXPECT_EQ(m_engine->OnReceiveServer(), eReceiveResult::InternalProcessed);
}

TEST_F(DataTest, ClosedPeerEndsTheConnection)
{
    Value(1);
    Value(2);
    m_device->m_resultWithoutBytes = tovi::ComDevice::RECEIVE_PEER_CLOSED;
    EXPECT_EQ(m_engine->OnReceive(m_payload), eReceiveResult::ClientDisconnect);
    Sent();
    FeedAck();
    EXPECT_EQ(Sent(), "");
    m_device->m_resultWithoutBytes = tovi::ComDevice::RECEIVE_NOT_A_SERVER;
    EXPECT_EQ(m_engine->OnReceive(m_payload), eReceiveResult::ClientConnect);
    m_device->m_resultWithoutBytes = 0;
    EXPECT_EQ(m_engine->OnReceive(m_payload), eReceiveResult::Unknown);
}

TEST_F(DataTest, TraceSwitchesAreTheTracers)
{
    EXPECT_FALSE(m_engine->TraceOnConsole(true)); // nobody to switch
    Tools::LogTracer tracer;
    m_engine->LogTracer(&tracer);
    EXPECT_TRUE(m_engine->TraceOnConsoleChange());
    EXPECT_TRUE(tracer.m_traceOnConsole);
    EXPECT_FALSE(m_engine->TraceOnConsoleChange());
    EXPECT_TRUE(m_engine->TraceOnDisk(true));
    EXPECT_FALSE(m_engine->TraceOnDiskChange());
}
