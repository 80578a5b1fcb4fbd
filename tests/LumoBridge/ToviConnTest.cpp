// What the machine link does with messages that are none for the client, and with records that are none for the machine.
#include "LumoBridge/ToviConn.h"

#include "tests/LumoBridge/GreetedMachine.h"

#include <netinet/tcp.h>

using LT_Proto::eDataType;
using LT_Proto::LTData;

class ToviConnTest : public testing::Test
{
  protected:
    void receive(const char *message, eToviConnStatus status)
    {
        m_machine.smu.send(message);
        pollfd link{m_machine.conn.getSocket().socketID, POLLIN, 0};
        poll(&link, 1, PATIENCE_MSEC);
        LTData record;
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_machine.conn.MessageProcess(record), status) << message;
        m_printed = testing::internal::GetCapturedStdout();
    }

    GreetedMachine m_machine;
    std::string m_printed;
};

TEST_F(ToviConnTest, WhatYieldsNoRecordIsPrintedOrPassedOver)
{
    const std::tuple<const char *, eToviConnStatus, const char *> cases[] = {
        {"00 02 00 07", eToviConnStatus::EMPTY, "rcv PONG from SMU with userValue=7\n"},
        {"90 00 00 00 01", eToviConnStatus::EMPTY, ""},
        {"90 10 00 00 01", eToviConnStatus::EMPTY, "Incoming msg from SMU: what=36880, userValue=0, payloadlLen=1\n"},
        {"00 05 00 00", eToviConnStatus::ABORT, "rcv DIE message\n"},
    };
    for (const auto &[message, status, line] : cases)
    {
        EXPECT_FALSE(m_machine.conn.IsDead());
        receive(message, status);
        EXPECT_EQ(m_printed, line);
    }
    EXPECT_TRUE(m_machine.conn.IsDead());
}

TEST_F(ToviConnTest, ARecordThatIsTooLongIsNotSentAndAMachineThatLeftIsNoticed)
{
    LTData record;
    record.Set(eDataType::VARIABLE_ID, 4, eDataType::DATA_BUFFER, 65527, std::vector<u8>(65527).data());
    EXPECT_FALSE(m_machine.conn.MessageSend(record));
    EXPECT_FALSE(m_machine.conn.IsDead());
    m_machine.smu.leave();
    receive("", eToviConnStatus::ABORT);
    record.Request(eDataType::FILE_ID, 4);
    m_machine.conn.MessageSend(record); // which the system may still take
    EXPECT_FALSE(m_machine.conn.MessageSend(record)) << "it has left";
}
