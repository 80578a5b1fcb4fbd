#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <vector>

using namespace tovi::utils;

TEST(SimpleChecksum, SumsBytesAndWrapsAtItsWidth)
{
    EXPECT_EQ(simpleChecksum8_calc(nullptr, 0), 0);
    EXPECT_EQ(simpleChecksum16_calc(nullptr, 0), 0);
    const std::vector<u8> bytes(301, 0xFF);
    EXPECT_EQ(simpleChecksum8_calc(bytes.data(), 2), 0xFE);
    EXPECT_EQ(simpleChecksum16_calc(bytes.data(), 2), 0x01FE);
    EXPECT_EQ(simpleChecksum8_calc(bytes.data() + 1, 300), 0xD4); // 300 x 255 = 0x12AD4
    EXPECT_EQ(simpleChecksum16_calc(bytes.data() + 1, 300), 0x2AD4);
}
