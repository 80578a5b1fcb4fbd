#include "toviCommonLib/toviByteOrder.h"

#include <array>
#include <gtest/gtest.h>

using namespace tovi::utils;

namespace
{

constexpr std::array<u8, 5> BYTES = {0x7F, 0x81, 0x92, 0xA3, 0xB4};

TEST(ByteOrder, ReadsAtAnyAlignmentWithTopBitsSet)
{
    EXPECT_EQ(readMsbLsbU16(&BYTES[1]), 0x8192);
    EXPECT_EQ(readMsbLsbU32(&BYTES[1]), 0x8192A3B4u);
    EXPECT_EQ(readLsbMsbU32(&BYTES[1]), 0xB4A39281u);
}

TEST(ByteOrder, WritesItsBytesAndNoOther)
{
    std::array<u8, 5> out{};
    writeMsbLsbU16(&out[1], 0x8192);
    EXPECT_EQ(out, (std::array<u8, 5>{0, 0x81, 0x92, 0, 0}));
    writeMsbLsbU32(out.data(), 0x8192A3B4);
    EXPECT_EQ(out, (std::array<u8, 5>{0x81, 0x92, 0xA3, 0xB4, 0}));
    writeLsbMsbU32(out.data(), 0x8192A3B4);
    EXPECT_EQ(out, (std::array<u8, 5>{0xB4, 0xA3, 0x92, 0x81, 0}));
}

} // namespace
