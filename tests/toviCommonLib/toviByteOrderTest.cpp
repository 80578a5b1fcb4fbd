#include "toviCommonLib/toviByteOrder.h"

#include <array>
#include <gtest/gtest.h>

using namespace tovi::utils;

TEST(ByteOrder, ReadsAndWritesAtAnyAlignmentWithTopBitsSet)
{
    std::array<u8, 6> bytes = {0, 0x81, 0x92, 0xA3, 0xB4, 0};
    EXPECT_EQ(readMsbLsbU16(&bytes[1]), 0x8192);
    EXPECT_EQ(readMsbLsbU32(&bytes[1]), 0x8192A3B4u);
    EXPECT_EQ(readLsbMsbU32(&bytes[1]), 0xB4A39281u);
    writeMsbLsbU32(&bytes[1], 0xC5D6E7F8);
    EXPECT_EQ(bytes, (std::array<u8, 6>{0, 0xC5, 0xD6, 0xE7, 0xF8, 0}));
    writeLsbMsbU32(&bytes[1], 0x8192A3B4);
    EXPECT_EQ(bytes, (std::array<u8, 6>{0, 0xB4, 0xA3, 0x92, 0x81, 0}));
    writeMsbLsbU16(&bytes[1], 0x8192);
    EXPECT_EQ(bytes, (std::array<u8, 6>{0, 0x81, 0x92, 0x92, 0x81, 0}));
}
