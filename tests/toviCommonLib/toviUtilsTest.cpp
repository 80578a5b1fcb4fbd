#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <vector>

using namespace tovi::utils;

namespace
{

TEST(SimpleChecksum, OfNoBytesIsZero)
{
    EXPECT_EQ(simpleChecksum8_calc(nullptr, 0), 0);
    EXPECT_EQ(simpleChecksum16_calc(nullptr, 0), 0);
}

TEST(SimpleChecksum, SumsBytesNotWords)
{
    const u8 bytes[] = {0xFF, 0xFF};
    EXPECT_EQ(simpleChecksum8_calc(bytes, 2), 0xFE);
    EXPECT_EQ(simpleChecksum16_calc(bytes, 2), 0x01FE);
}

TEST(SimpleChecksum, WrapsAtItsWidth)
{
    const std::vector<u8> bytes(1 + 300, 0xFF);                   // 300 x 255 = 76500 = 0x12AD4
    EXPECT_EQ(simpleChecksum8_calc(bytes.data() + 1, 300), 0xD4); // the odd address is deliberate
    EXPECT_EQ(simpleChecksum16_calc(bytes.data() + 1, 300), 0x2AD4);
}

} // namespace
