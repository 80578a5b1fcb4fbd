// The record between the threads.
#include "LumoBridge/LTData.h"

#include "tests/HexBytes.h"
#include "tests/LumoBridge/TestQueue.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>

using namespace LT_Proto;
using enum LTProtocol::eDataType;

class LTDataTest : public testing::Test
{
  protected:
    LTDataTest() { r.Set(DATA_BUFFER, 1, "*") && r.Set(INTEGER_NEGATIVE, 5, u8{3}) && r.Request(TICKET_ID, 99); }
    std::string Posted() { return r.SendVar(q) ? queue.next() : "nothing"; }

    LTData r;
    TestQueue queue;
    const sHThreadMsgW &q = queue.write;
};

// The float forms store one decimal less than they are given, the integer form takes a decimal type.
TEST_F(LTDataTest, NumbersBecomeDecimals)
{
    const auto stored = [&](auto value, u8 decimals) { return r.Set(value, decimals) && !r.m_request ? Posted() : ""; };
    EXPECT_EQ(stored(2.5F, 1), "2 99 [03 19 00 00 00 00]");
    EXPECT_EQ(stored(-7.9F, 0), "2 99 [04 07 00 00 00 ff]");
    EXPECT_EQ(stored(429496736.F, 1), "2 99 [03 ff ff ff ff 00]");
    EXPECT_EQ(stored(-HUGE_VALF, 255), "2 99 [04 ff ff ff ff fe]");
    EXPECT_EQ(stored(std::nanf(""), 1), "2 99 [03 00 00 00 00 00]");
    EXPECT_EQ(stored(INT_MIN, 2), "2 99 [04 00 00 00 80 02]");
}

TEST_F(LTDataTest, DecodingSetsWhatTheBytesHold)
{
    const auto decoded = [&](const std::string &hex, auto... element)
    {
        const std::vector<u8> bytes = Hex(hex);
        const Tools::MemoryBuffer exact(static_cast<u32>(bytes.size()), bytes.data()); // not one more is readable
        return std::string(r.Decode(element..., exact.m_len, exact.m_ptr.get()) ? "" : "no ").append(Posted());
    };
    EXPECT_EQ(decoded("06 78 56 34 12 03 07 00 00 00 02"), "2 305419896 [06 78 56 34 12 03 07 00 00 00 02]");
    EXPECT_EQ(decoded("06 04 00 00 00 01 19 00 00 00"), "2 4 [06 04 00 00 00 01 19 00 00 00 00]");
    EXPECT_EQ(decoded("06 04 00 00 00 02 18 00 00"), "no 2 4 [06 04 00 00 00 02 19 00 00 00 00]");
    EXPECT_EQ(decoded("06 05 00 00 00"), "2 4 [06 04 00 00 00 06 05 00 00 00 00]"); // no element: nothing follows
    EXPECT_EQ(decoded("10 02 00 00 00 10 7A"), "2 4 [06 04 00 00 00 10 02 00 00 00 10 7a]"); // none but of a variable
    EXPECT_EQ(decoded("06 05 00 00 00 07"), "2 5 [06 05 00 00 00 07]");
    EXPECT_EQ(decoded("06 06 00 00 00 11", FILE_ID, 8U), "2 8 [11]");
    EXPECT_EQ(decoded("11 00", VARIABLE_ID, 9U), "no 2 8 [11]");
    EXPECT_EQ(decoded("11"), "no 2 8 [00 05 00 00 00 00]");
}

TEST_F(LTDataTest, WhatIsRefusedChangesAndPostsNothing)
{
    for (eDataType none : {UNDEFINED, INTEGER_POSITIVE, STRING_UTF, NULL_DATA})
    {
        EXPECT_FALSE(r.Set(none, 4, NULL_DATA, 7, u8{0}));
        EXPECT_FALSE(r.SendVar(q, none, 4, 2.5F, 1));
        EXPECT_FALSE(r.Set(none, 4, STRING_UTF, 1, "z"));
    }
    EXPECT_FALSE(r.Set(STRING_UTF, 7, u8{0}));
    EXPECT_FALSE(r.SendVar(q, 4, DATA_BUFFER, 7, u8{0}));
    EXPECT_FALSE(r.Set(FILE_ID, 1, "z"));
    EXPECT_FALSE(r.SendVar(q, 4, FILE_ID, 1, "z"));
    EXPECT_FALSE(r.SendVar(q, FILE_ID, 4, FILE_ID, 1, "z"));
    EXPECT_FALSE(r.SendDataRaw(q, 4, NULL_DATA, 1, "z"));
    EXPECT_FALSE(r.SendRequest(q)); // a ticket cannot be asked for
    EXPECT_TRUE(r.m_request);
    EXPECT_EQ(r.m_elemType, TICKET_ID);
    EXPECT_EQ(r.m_dataBuffer.ToHex(), "2a");
    EXPECT_TRUE(r.SendVar(q));
    EXPECT_TRUE(r.SendVar(q, 4, -5, 1));
    EXPECT_TRUE(r.SendVar(q, 5, 2.5F, 1));
    EXPECT_TRUE(r.SendVar(q, 6, STRING_UTF, 2, "ab"));
    EXPECT_TRUE(r.SendVar(q, 0x12345678, INTEGER_POSITIVE, 7, u8{0}));
    EXPECT_TRUE(r.SendVar(q, DATA_BUFFER, 8, INTEGER_NEGATIVE, 5, u8{1}));
    EXPECT_TRUE(r.SendVar(q, FILE_ID, 9, -2.5F, 1));
    EXPECT_TRUE(r.SendVar(q, FILE_ID, 10, DATA_BUFFER, 1, "a"));
    EXPECT_TRUE(r.SendNullData(q, 11));
    EXPECT_TRUE(r.SendString(q, 12, 1, "a"));
    EXPECT_TRUE(r.SendBuffer(q, 13, 1, "a"));
    EXPECT_TRUE(r.SendDataRaw(q, 14, STRING_UTF, 1, "a"));
    EXPECT_TRUE(r.SendFile(q, 15, 1, "a"));
    EXPECT_TRUE(r.SendFile(q, 16, Tools::StringUtf8("a")));
    EXPECT_TRUE(r.Request(FILE_ID, 17));
    EXPECT_TRUE(r.SendRequest(q));
    EXPECT_TRUE(r.ReqVar(q, 18));
    EXPECT_TRUE(r.ReqFile(q, 19));
    EXPECT_TRUE(r.SendCommand(q, eMqCommand::LIB_VERSION));
    for (const char *posted :
         {"2 99 [02 05 00 00 00 03]", "2 4 [04 05 00 00 00 01]", "2 5 [03 19 00 00 00 00]", "2 6 [07 61 62]",
          "2 305419896 [06 78 56 34 12 01 07 00 00 00 00]", "2 8 [10 08 00 00 00 02 05 00 00 00 01]",
          "2 9 [04 19 00 00 00 00]", "2 10 [10 61]", "2 11 [06 0b 00 00 00 11]", "2 12 [06 0c 00 00 00 07 61]",
          "2 13 [06 0d 00 00 00 10 61]", "5 14 [10 0e 00 00 00 07 61]", "4 15 [61]", "4 16 [61]", "1 17 []", "1 18 []",
          "3 19 []", "65535 4294967295 []"})
        EXPECT_EQ(queue.next(), posted);
    char bytes[] = "....";
    EXPECT_TRUE(r.Set(STRING_UTF, 2, "ab"));
    EXPECT_EQ(r.Encode(4, bytes), 0);
    EXPECT_EQ(bytes[0], '.');
    EXPECT_EQ(r.Encode(3, bytes), 3);
    EXPECT_STREQ(bytes, "\aab."); // the size is the least length wanted
}

TEST_F(LTDataTest, MachineStatusAsText)
{
    // Model and status code of a machine whose error code is "E1".
    for (const char *status : {"01 06 TableTop ErrorE1", "02 06 FreeStanding ErrorE1", "03 06 tvFS.Touch ErrorE1",
                               "04 06", "01 00 TableTop ", "02 00 FreeStanding ComErr", "01 11 TableTop DB Check",
                               "02 11 FreeStanding Sanitizing", "02 14 FreeStanding ", "01 14 TableTop Sanitizing",
                               "01 15 TableTop Select Test", "03 15 tvFS.Touch ", "01 10 TableTop EnergySaving"})
    {
        r.Set(VARIABLE_ID, 1, INTEGER_POSITIVE, u32{Hex(status)[0]} << 24 | u32{Hex(status)[1]} << 16 | 0x4531, u8{0});
        EXPECT_EQ(r.ToString(), std::string("variable 1 (VMD status)") + status);
    }
}
