#include "toviCommonLib/toviSMUConn.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

using tovi::SMUConn;

TEST(SMUConn, EncodesWhatFitsAndDecodesFourBytesAndMore)
{
    std::vector<u8> large(70000), bytes = Hex("61 62 EE EE EE EE EE");
    u8 *const out = bytes.data();
    EXPECT_EQ(SMUConn::encodeMsgInPlace(1, 2, out, 2, 5), 0);
    EXPECT_EQ(SMUConn::encodeMsgInPlace(0x9001, 7, out, 2, 6), 6);
    EXPECT_EQ(bytes, Hex("90 01 00 07 61 62 EE"));
    EXPECT_EQ(SMUConn::encodeMsg(1, 2, "d", 1, "ef", 2, out, 6), 0);
    EXPECT_EQ(SMUConn::encodeMsg(0x9002, 8, "d", 1, "ef", 2, out, 7), 7);
    EXPECT_EQ(bytes, Hex("90 02 00 08 64 65 66"));
    EXPECT_EQ(SMUConn::encodeMsgInPlace(1, 2, large.data(), 65533, 70000), 0) << "beyond 16 bits";
    SMUConn::sDecodedMsg msg;
    EXPECT_FALSE(SMUConn::decodeMsg(out, 3, &msg));
    EXPECT_TRUE(SMUConn::decodeMsg(out, 4, &msg));
    EXPECT_EQ(msg.payload, nullptr);
    EXPECT_EQ(msg.payloadLen, 0);
    EXPECT_EQ(msg.what, 0x9002);
    EXPECT_EQ(msg.userValue, 8);
}
