#include "LumoClient/ClientLink.h"

#include "LTProto/LTProto/ValueText.h"

#include "tests/LumoClient/ScriptedChannel.h"

#include <gtest/gtest.h>

namespace
{

using namespace LumoClient;
using enum LTProtocol::eDataType;

constexpr u32 TIMEOUT_MSEC = 3000;

const std::string GET_4 = "33 06 00 00 00 04";
const std::string GET_5 = "33 06 00 00 00 05";
const std::string NOTICE_0 = "66 FF FF FF FF 80 00 00 00 00";
const std::string NOTICE_1 = "66 FF FF FF FF 80 00 00 00 01";
const std::string VALUE_25_ON_0 = "66 00 00 00 00 01 00 00 00 19";
const std::string VALUE_26_ON_1 = "66 00 00 00 01 01 00 00 00 1A";
const std::string TICKET_UNKNOWN = "66 FF FF FF FF 11";
const std::string ASK_IMPOSSIBLE_TICKET = "33 80 FF FF FF FF";
const std::string SPONTANEOUS_8 = "66 FF FF FF FE 06 00 00 00 08 03 00 00 03 9D 01";
const std::string SET_100_TO_7 = "66 FF FF FF FE 06 00 00 00 64 01 00 00 00 07";

class ClientLinkTest : public ScriptedLinkTest
{
  protected:
    // The value in its text form, or the failure's text.
    std::string Get(u32 varId)
    {
        Value value;
        const eResult result = m_link.get(varId, TIMEOUT_MSEC, value);
        return result == eResult::done ? ValueText(value) : resultText(result);
    }

    eResult Set100To7() { return m_link.set(100, Value{INTEGER_POSITIVE, 7, 0, {}}, TIMEOUT_MSEC); }
};

TEST_F(ClientLinkTest, GetTakesNoticeAndValueFromOneRead)
{
    m_bridge->expect(GET_4).arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
}

TEST_F(ClientLinkTest, SpontaneousValuesAreAcknowledgedAndKeptWhileAnAnswerIsAwaited)
{
    m_bridge->expect(GET_4).arrive({NOTICE_0}).arrive({SPONTANEOUS_8}).expect(ACK).arrive({VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
    Arrival arrived;
    ASSERT_EQ(m_link.waitArrival(0, arrived), eResult::done);
    const SpontaneousValue kept = std::get<SpontaneousValue>(arrived);
    EXPECT_EQ(kept.id, 8u);
    EXPECT_EQ(kept.value, (Value{DECIMAL_POSITIVE, 925, 1, {}}));
    EXPECT_EQ(m_link.waitArrival(0, arrived), eResult::noAnswer);
}

TEST_F(ClientLinkTest, ARequestPausesBehindAnAckThatDrewNoReply)
{
    m_bridge->expect(GET_4).arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK);
    m_bridge->expect(GET_5).arrive({NOTICE_1, VALUE_26_ON_1}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
    EXPECT_EQ(Get(5), "26");
    EXPECT_EQ(GapBeforeWrite(1), 0u); // the value proved that the request was read
    EXPECT_GE(GapBeforeWrite(2), 30u);
}

TEST_F(ClientLinkTest, AnAckPausesWhenTheValueMayHaveCrossedTheRequest)
{
    m_bridge->expect(GET_4).arrive({SPONTANEOUS_8}).expect(ACK).arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
    EXPECT_GE(GapBeforeWrite(1), 30u);
}

TEST_F(ClientLinkTest, ARequestWithoutNoticeIsRepeatedEachSecond)
{
    m_bridge->expect(GET_4).expect(GET_4).arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
    EXPECT_EQ(GapBeforeWrite(1), 1000u);
}

TEST_F(ClientLinkTest, ALateNoticeIsNotTakenForTheNextRequests)
{
    m_bridge->expect(GET_4).expect(GET_4).expect(GET_4);
    EXPECT_EQ(Get(4), "no answer in time");
    m_bridge->expect(ASK_IMPOSSIBLE_TICKET).arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK).arrive({TICKET_UNKNOWN});
    m_bridge->expect(GET_5).arrive({NOTICE_1, VALUE_26_ON_1}).expect(ACK);
    EXPECT_EQ(Get(5), "26");
}

TEST_F(ClientLinkTest, OnAPolledLineNoticesAreAcknowledgedAtOnceAndPollsAfterAPause)
{
    m_bridge->polled().expect(GET_4).arrive({POLLING}).arrive({NOTICE_0}).expect(ACK);
    m_bridge->arrive({POLLING}).expect(ACK).arrive({VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(Get(4), "25");
    const std::vector<u64> &at = m_bridge->writtenAtMSec();
    EXPECT_EQ(at[1] - at[0], 0U);
    EXPECT_EQ(at[2] - at[1], POLL_PAUSE_MSEC);
}

TEST_F(ClientLinkTest, NacksForTheChecksumAreAnsweredThreeTimesWithTheSamePacket)
{
    m_bridge->expect(SET_100_TO_7).arrive({CHECKSUM_NACK}).expect(SET_100_TO_7).arrive({ACK});
    EXPECT_EQ(Set100To7(), eResult::done);
    m_bridge->expect(SET_100_TO_7).arrive({CHECKSUM_NACK}).expect(SET_100_TO_7).arrive({CHECKSUM_NACK});
    m_bridge->expect(SET_100_TO_7).arrive({CHECKSUM_NACK}).expect(SET_100_TO_7).arrive({CHECKSUM_NACK});
    EXPECT_EQ(Set100To7(), eResult::refused);
}

TEST_F(ClientLinkTest, BuffersTravelUnderTheirTicket)
{
    m_bridge->expect("66 FF FF FF FE 10 F0 00 00 00 10 01 02").arrive({NOTICE_1});
    m_bridge->arrive({"66 00 00 00 01 10 02 01"}).expect(ACK);
    Bytes answer;
    EXPECT_EQ(m_link.exchangeBuffer(Hex("01 02"), TIMEOUT_MSEC, answer), eResult::done);
    EXPECT_EQ(answer, Hex("02 01"));
}

TEST_F(ClientLinkTest, ABufferIsNeverRepeatedAndItsAnswerMustBeBytes)
{
    Bytes answer;
    m_bridge->expect("66 FF FF FF FE 10 F0 00 00 00 10 01");
    EXPECT_EQ(m_link.exchangeBuffer(Hex("01"), TIMEOUT_MSEC, answer), eResult::noAnswer);
    m_bridge->expect(ASK_IMPOSSIBLE_TICKET).arrive({TICKET_UNKNOWN});
    m_bridge->expect("66 FF FF FF FE 10 F0 00 00 00 10 01").arrive({NOTICE_0, VALUE_25_ON_0}).expect(ACK);
    EXPECT_EQ(m_link.exchangeBuffer(Hex("01"), TIMEOUT_MSEC, answer), eResult::badAnswer);
}

TEST_F(ClientLinkTest, PollFetchesAllThatIsQueued)
{
    m_bridge->expect(POLLING).arrive({SPONTANEOUS_8}).expect(ACK).arrive({SPONTANEOUS_8}).expect(ACK);
    std::vector<SpontaneousValue> values;
    EXPECT_EQ(m_link.poll(TIMEOUT_MSEC, values), eResult::done);
    EXPECT_EQ(values.size(), 2u);
}

// The line swallowed the notice, or the negotiation.
TEST_F(ClientLinkTest, OnAPolledLineAFileThatComesTooEarlyIsNotRefused)
{
    const std::string get7 = "33 05 00 07", offer = "AA 00 00 00 00 08 80 00 00 00 01";
    m_bridge->polled().expect(get7).arrive({POLLING}).expect(ACK).arrive({offer}).expect(get7).arrive({NOTICE_1});
    m_bridge->expect(ACK).arrive({"AA 00 00 01 61 62"}).expect("2A 02 00 04").arrive({offer});
    LTProtocol::TicketNr ticket = 0;
    EXPECT_EQ(m_link.requestFile(7, TIMEOUT_MSEC, ticket), eResult::done);
    FileOffer offered;
    EXPECT_EQ(m_link.waitFile(ticket, TIMEOUT_MSEC, offered), eResult::done);
}

TEST_F(ClientLinkTest, AConnectionClosedBeforeAnyPacketWasRefused)
{
    m_bridge->expect(GET_4).hangUp();
    EXPECT_EQ(Get(4), resultText(eResult::refused));
    EXPECT_EQ(Get(4), "the link is lost");
}

} // namespace
