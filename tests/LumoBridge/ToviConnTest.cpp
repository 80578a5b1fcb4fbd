// Records and messages of the machine link, byte by byte.
#include "LumoBridge/ToviConn.h"

#include "tests/LumoBridge/GreetedMachine.h"

#include <netinet/tcp.h>

using LT_Proto::eDataType;
using LT_Proto::LTData;

class ToviConnTest : public testing::Test
{
  protected:
    // What the record becomes after one message.
    LTData received(const char *message, eToviConnStatus status = eToviConnStatus::MESSAGE)
    {
        m_machine.smu.send(message);
        pollfd link{m_machine.conn.getSocket().socketID, POLLIN, 0};
        poll(&link, 1, PATIENCE_MSEC);
        LTData record;
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_machine.conn.MessageProcess(record), status) << message;
        m_printed = testing::internal::GetCapturedStdout();
        return record;
    }

    GreetedMachine m_machine;
    std::string m_printed;
};

TEST_F(ToviConnTest, MessagesOfTheMachineBecomeRecords)
{
    struct Case
    {
        const char *message;
        bool request;
        eDataType elemType;
        u32 id;
        eDataType dataType;
        u32 value;
        u8 decimals;
        const char *bytes;
    };
    const Case cases[] = {
        {"90 01 00 00 00 00 00 04 01 00 00 00 19", false, eDataType::VARIABLE_ID, 4, eDataType::INTEGER_POSITIVE, 25, 0,
         ""},
        {"90 01 00 00 00 00 00 04 04 00 00 00 19 01", false, eDataType::VARIABLE_ID, 4, eDataType::DECIMAL_NEGATIVE, 25,
         1, ""},
        {"90 01 00 00 00 00 00 04 07 61 62", false, eDataType::VARIABLE_ID, 4, eDataType::STRING_UTF, 0, 0, "61 62"},
        {"90 01 00 00 04 00 00 00", true, eDataType::VARIABLE_ID, 4, eDataType::UNDEFINED, 0, 0, ""},
        {"90 02 00 00 07 00 00 00", true, eDataType::FILE_ID, 7, eDataType::UNDEFINED, 0, 0, ""},
        {"90 02 00 00 00 00 00 07 61 2e", false, eDataType::FILE_ID, 7, eDataType::STRING_UTF, 0, 0, "61 2e"},
        {"90 02 00 00 00 00 00 07 61", false, eDataType::FILE_ID, 7, eDataType::STRING_UTF, 0, 0, ""},
        {"90 01 00 00 00 00 00 04 11", false, eDataType::UNDEFINED, 0, eDataType::UNDEFINED, 0, 0, ""},
    };
    for (const Case &test : cases)
    {
        SCOPED_TRACE(test.message);
        const LTData record = received(test.message);
        EXPECT_EQ(record.m_request, test.request);
        EXPECT_EQ(record.m_elemType, test.elemType);
        EXPECT_EQ(record.m_elemValue, test.id);
        EXPECT_EQ(record.m_dataType, test.dataType);
        EXPECT_EQ(record.m_dataValue, test.value);
        EXPECT_EQ(record.m_dataDecPos, test.decimals);
        EXPECT_EQ(record.m_dataBuffer.ToHex(0, ' '), test.bytes);
    }
    EXPECT_EQ(m_machine.conn.MessageProcess(*std::make_unique<LTData>()), eToviConnStatus::EMPTY);
}

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
        received(message, status);
        EXPECT_EQ(m_printed, line);
    }
    EXPECT_TRUE(m_machine.conn.IsDead());
}

TEST_F(ToviConnTest, RecordsBecomeMessages)
{
    LTData linkUp, decimal, request, file, nothing;
    linkUp.Set(eDataType::INTERNAL_COMMAND, 0x8000, eDataType::INTEGER_POSITIVE, u32{1}, u8{0});
    decimal.Set(eDataType::VARIABLE_ID, 10, eDataType::DECIMAL_POSITIVE, 1234, u8{2});
    request.Request(eDataType::VARIABLE_ID, 4);
    file.Set(eDataType::FILE_ID, 7, eDataType::STRING_UTF, 2, "a.");
    const std::pair<const LTData &, const char *> cases[] = {
        {linkUp, "90 00 00 00 00 00 80 00 01"},
        {decimal, "90 01 00 00 00 00 00 0a 03 00 00 04 d2 02"},
        {request, "90 01 00 00 00 00 00 04 00 00 00 00 00"},
        {file, "90 02 00 00 00 00 00 07 61 2e"},
        {nothing, "90 01 00 00 ff ff ff ff 00 00 00 00 00"},
    };
    for (const auto &[record, message] : cases)
    {
        EXPECT_TRUE(m_machine.conn.MessageSend(record));
        EXPECT_EQ(m_machine.smu.receive(), message);
    }
    LTData tooLong;
    tooLong.Set(eDataType::VARIABLE_ID, 4, eDataType::DATA_BUFFER, 65527, std::vector<u8>(65527).data());
    EXPECT_FALSE(m_machine.conn.MessageSend(tooLong));
    EXPECT_FALSE(m_machine.conn.IsDead());
    m_machine.smu.leave();
    received("", eToviConnStatus::ABORT);
    m_machine.conn.MessageSend(request); // which the system may still take
    EXPECT_FALSE(m_machine.conn.MessageSend(request)) << "it has left";
}
