#include "LTProto/Tools/Hex.h"

#include <gtest/gtest.h>

namespace
{

TEST(Hex, SeparatorStandsBetweenBytesOnly)
{
    const u8 bytes[] = {0x01, 0xAB, 0x7F, 0x90};
    EXPECT_EQ(Tools::ToHex(bytes, 4, ' '), "01 ab 7f 90");
    EXPECT_EQ(Tools::ToHex(bytes, 4, 0), "01ab7f90");
    EXPECT_EQ(Tools::ToHex(bytes, 1, '-'), "01");
    EXPECT_EQ(Tools::ToHex(nullptr, 0, ' '), "");
}

} // namespace
