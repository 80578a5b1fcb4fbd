#include "LTProto/ComDevice/Crc16.h"

#include "tests/WirePacket.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

TEST(Crc16, MatchesItsPublishedValues)
{
    EXPECT_EQ(tovi::Crc16(nullptr, 0), 0x0000);
    EXPECT_EQ(tovi::Crc16(reinterpret_cast<const u8 *>("123456789"), 9), 0x007F);
}

TEST(Crc16, MatchesTheDefinitionAtEveryLengthAndOffset)
{
    constexpr u32 lenMax = 100;
    constexpr u32 offsetMax = 16;
    std::vector<u8> data;
    for (u32 i = 0; i < lenMax + offsetMax; ++i)
        data.push_back(static_cast<u8>(i * 181 + 7)); // odd factor: no value comes twice within 256 bytes

    for (u32 offset = 0; offset <= offsetMax; ++offset)
        for (u32 len = 0; len <= lenMax; ++len)
            ASSERT_EQ(tovi::Crc16(data.data() + offset, len), Crc16BitByBit(std::span(data).subspan(offset, len)))
                << "offset " << offset << ", length " << len;
}

} // namespace
