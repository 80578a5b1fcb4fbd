#include "toviCommonLib/tovi.h"
#include "toviCommonLib/toviMemory.h"

#include <gtest/gtest.h>

TEST(Tovi, KeepsTheAllowedCharactersOfItsName)
{
    const std::string x(100, 'x');
    const char *const NAMES[][2] = {
        {"My App!", "My_App"}, {"./", "noname"}, {nullptr, "noname"}, {x.c_str(), &x[37]}, {"tests", "tests"}};
    for (const auto &[given, kept] : NAMES)
    {
        tovi::deinit();
        EXPECT_TRUE(tovi::init(given, nullptr));
        EXPECT_STREQ(tovi::getAppName(), kept);
    }
}

TEST(Tovi, DrawsBothEndsAndAllocatesWholeUnitsBehindAHeader)
{
    u32 drawn = 0;
    for (int i = 0; i < 200; ++i)
        drawn += tovi::randomU32(1) + 200 * tovi::randomU32(0);
    EXPECT_TRUE(drawn > 0) << drawn;
    EXPECT_TRUE(drawn < 200) << drawn;
    tovi::Allocator &heap = *tovi::memory_getSysHeapAllocator();
    void *const four = heap.alloc(1, 4), *const eight = heap.alloc(1, 8);
    EXPECT_EQ(heap.getAllocatedSize(four), 12);
    EXPECT_EQ(heap.getAllocatedSize(eight), 16);
    heap.dealloc(four);
    heap.dealloc(eight);
}
