#include "tests/LTProto/LTProto/EngineFixture.h"

#include <filesystem>

namespace
{

using DataTest = EngineTest;

} // namespace

TEST_F(DataTest, WhatTheClientAsksAndTells)
{
    const std::string notice = "66 FF FF FF FF 80 00 00 00 ";
    struct Case
    {
        const char *name;
        const char *content;
        eReceiveResult result;
        const char *payload; // null: of no interest
        std::string answer;
    };
    const Case cases[] = {
        {"variable asked for", "33 06 00 00 00 2A", eReceiveResult::VarRequest, "00 00 00 2a", notice + "00"},
        {"and again: forwarded", "33 06 00 00 00 2A", eReceiveResult::VarRequest, "00 00 00 2a", notice + "00"},
        {"file asked for", "33 05 01 02", eReceiveResult::FileRequest, "01 02", notice + "01"},
        {"and again: not forwarded", "33 05 01 02", eReceiveResult::Unknown, nullptr, notice + "01"},
        {"a notice is never sent again", "2A 02 00 02", eReceiveResult::InternalProcessed, nullptr, ""},
        {"open ticket", "33 80 00 00 00 01", eReceiveResult::InternalProcessed, nullptr, notice + "01"},
        {"ticket not open", "33 80 00 00 00 02", eReceiveResult::InternalProcessed, nullptr, "66 FF FF FF FF 11"},
        {"file", "66 FF FF FF FE 05 00 00 00 63 00", eReceiveResult::Unknown, nullptr, "2A 01"},
        {"its ticket is its id", "33 80 00 00 00 63", eReceiveResult::InternalProcessed, nullptr, notice + "63"},
        {"negotiated under it", "AA 00 00 00 00 10 80 00 00 00 63", eReceiveResult::InternalProcessed, nullptr,
         "AA 00 00 00 00 10 00 10"},
        {"its only block", "AA FF FF FF 41", eReceiveResult::FileReceive, nullptr, "2A 01"},
        {"its ticket went with it", "33 80 00 00 00 63", eReceiveResult::InternalProcessed, nullptr,
         "66 FF FF FF FF 11"},
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
        EXPECT_EQ(Sent(), c.answer.empty() ? "" : FramedHex(c.answer));
        if (c.payload != nullptr)
        {
            EXPECT_EQ(HexText(m_payload), c.payload);
        }
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

TEST_F(DataTest, AFileThatTheIndexCannotListIsRefused)
{
    const std::filesystem::path inTheWay = "BridgeTemp/index.dat.new";
    std::filesystem::create_directory(inTheWay);
    Feed("AA 00 00 00 00 10 05 00 07");
    EXPECT_EQ(Sent(), FramedHex("2A 02 00 03"));
    std::filesystem::remove(inTheWay);
}
