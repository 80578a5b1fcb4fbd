#include "tests/LTProto/LTProto/EngineFixture.h"

namespace
{

// The trailing bytes of both are worked out from the checksum's definition.
constexpr char ACK[] = "60 00 05 2a 01 59 e2";
const std::string NACK_CRC = FramedHex("2A 02 00 02");

using FramingTest = EngineTest;

std::vector<u8> joined(std::vector<u8> first, const std::vector<u8> &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace

TEST_F(FramingTest, LinkCommandsHaveTheirCodeAndAnErrorOnlyWithNack)
{
    EXPECT_TRUE(m_engine->CommandSend(eCommandCode::ACK, 0));
    EXPECT_EQ(Sent(), ACK);
    EXPECT_TRUE(m_engine->CommandSend(eCommandCode::NACK, 0x0102));
    EXPECT_EQ(Sent(), FramedHex("2A 02 01 02"));
}

TEST_F(FramingTest, PacketIsFoundInWhateverReadsItArrives)
{
    const std::vector<u8> request = Framed("33 06 00 00 00 2A");
    const std::string notice = FramedHex("66 FF FF FF FF 80 00 00 00 00");
    struct Case
    {
        const char *name;
        std::vector<std::vector<u8>> reads;
    };
    std::vector<Case> cases = {
        {"in one read", {request}},
        {"behind garbage", {joined(Hex("01 02 03"), request)}},
        {"in front of another packet, which is lost", {joined(request, Framed("33 06 00 00 00 2B"))}},
    };
    for (std::ptrdiff_t cut = 3; cut < static_cast<std::ptrdiff_t>(request.size()); ++cut)
        cases.push_back(
            {"cut in two", {{request.begin(), request.begin() + cut}, {request.begin() + cut, request.end()}}});
    for (const Case &c : cases)
    {
        SCOPED_TRACE(c.name);
        Start(eComType::SOCKET_MAIN);
        eReceiveResult result = eReceiveResult::Unknown;
        for (const std::vector<u8> &read : c.reads)
            result = FeedBytes(read);
        EXPECT_EQ(result, eReceiveResult::VarRequest);
        EXPECT_EQ(HexText(m_payload), "00 00 00 2a");
        FeedAck();
        EXPECT_EQ(Sent(), notice);
    }
}

// The write position stays where it is, so the second read overwrites the first.
TEST_F(FramingTest, FirstReadBelowThreeBytesIsOverwrittenByTheNext)
{
    const std::vector<u8> request = Framed("33 06 00 00 00 2A");
    EXPECT_EQ(FeedBytes({request[0]}), eReceiveResult::InternalProcessed);
    EXPECT_EQ(FeedBytes({request.begin() + 1, request.end()}), eReceiveResult::InternalProcessed);
    EXPECT_EQ(Sent(), NACK_CRC);
    EXPECT_EQ(FeedBytes(request), eReceiveResult::VarRequest);
}

// A tail that was lost must not swallow all that the client says from then on.
TEST_F(FramingTest, BytesOfAPacketThatStoppedAreDroppedAfterTenSecondsOnTcp)
{
    const std::vector<u8> request = Framed("33 06 00 00 00 2A");
    const std::vector<u8> head(request.begin(), request.begin() + 5), tail(request.begin() + 5, request.end());
    struct Case
    {
        const char *name;
        std::vector<std::pair<u64, std::vector<u8>>> reads; // milliseconds after the one before
        eReceiveResult last;
    };
    const Case cases[] = {
        {"the rest in time", {{0, head}, {10000, tail}}, eReceiveResult::VarRequest},
        {"each byte starts the time anew",
         {{0, head}, {9000, {tail[0]}}, {9000, {tail.begin() + 1, tail.end()}}},
         eReceiveResult::VarRequest},
        {"the rest too late", {{0, head}, {10001, tail}}, eReceiveResult::InternalProcessed},
        {"a packet behind it in time", {{0, head}, {10000, request}}, eReceiveResult::InternalProcessed},
        {"a packet behind it", {{0, head}, {10001, request}}, eReceiveResult::VarRequest},
        {"a packet behind a single byte", {{0, {0x60}}, {10001, request}}, eReceiveResult::VarRequest},
        {"another packet's head behind it", {{0, head}, {10001, head}, {10000, tail}}, eReceiveResult::VarRequest},
    };
    for (const Case &c : cases)
    {
        SCOPED_TRACE(c.name);
        Start(eComType::SOCKET_MAIN);
        eReceiveResult result = eReceiveResult::Unknown;
        for (const auto &[later, bytes] : c.reads)
        {
            s_nowMSec += later;
            result = FeedBytes(bytes);
        }
        EXPECT_EQ(result, c.last);
    }
}

TEST_F(FramingTest, WhatIsNoPacketGetsNackTwoAndLeavesTheGatheringClean)
{
    std::vector<std::pair<std::string, std::vector<u8>>> cases = {
        {"length 3", Hex("60 00 03 00 00")},
        {"length 0", Hex("60 00 00 00 00 00 00")},
        {"length above the buffer", Hex("60 00 6D 2A 00")}, // 109 + 2 bytes, the buffer has 110
        {"length of 16 bits", Hex("60 FF FF 2A 00")},
        {"no start mark at all", Hex("01 02 03 04 05")},
    };
    const std::vector<u8> poll = Framed("2A 00");
    for (size_t i = 3; i < poll.size(); ++i)
    {
        std::vector<u8> damaged = poll;
        damaged[i] ^= 0x10;
        cases.emplace_back("damaged byte " + std::to_string(i), damaged);
    }
    for (const auto &[name, bytes] : cases)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(FeedBytes(bytes), eReceiveResult::InternalProcessed);
        EXPECT_EQ(Sent(), NACK_CRC);
        EXPECT_EQ(Feed("33 06 00 00 00 2A"), eReceiveResult::VarRequest);
        Sent();
    }
}

TEST_F(FramingTest, RolesTellWhenToSendAndWhatAReadyPeerHears)
{
    const std::string value = FramedHex("66 FF FF FF FE 06 00 00 00 01 01 00 00 00 11");
    const std::pair<eComType, std::string> cases[] = {
        {eComType::SOCKET_MAIN, ""},
        {eComType::SOCKET_SUBSCRIBER, ""},
        {eComType::UART_MAIN, FramedHex("2A 00")},
        {eComType::UART_SUBSCRIBER, ACK},
    };
    for (const auto &[comType, answer] : cases)
    {
        SCOPED_TRACE(static_cast<int>(comType));
        Start(comType);
        const bool atOnce = m_engine->IsSocket();
        Value(1, 0x11);
        EXPECT_EQ(Sent(), atOnce ? value : "");
        Feed("2A 00");
        EXPECT_EQ(Sent(), atOnce ? "" : value);
        for (const char *ready : {"2A 00", "2A 01"})
        {
            EXPECT_EQ(Feed(ready), eReceiveResult::InternalProcessed);
            EXPECT_EQ(Sent(), answer);
        }
        EXPECT_EQ(Feed("2A 07"), eReceiveResult::InternalProcessed);
        EXPECT_EQ(Sent(), "");
        m_engine->CommandSend(eCommandCode::ACK, 0);
        Sent();
        Feed("2A 02 00 02"); // a link command is sent again on a serial link alone
        EXPECT_EQ(Sent(), atOnce ? "" : ACK);
    }
}
