#include "toviCommonLib/mtrand.h"

#include <gtest/gtest.h>
#include <random>

using tovi::MTRand_int32;

namespace
{

// The C++ standard, [rand.predef]: the 10000th output of the default seed.
TEST(MTRand, GivesThePublished10000thOutput)
{
    MTRand_int32 random;
    for (int i = 1; i < 10000; i++)
        random.next();
    EXPECT_EQ(random.next(), 4123659995u);
}

TEST(MTRand, EverySeedGivesItsOwnSequenceFromTheStart)
{
    MTRand_int32 random;
    for (const u32 seed : {0u, 1u, 0x80000000u, 0xFFFFFFFFu})
    {
        random.seed(seed);
        MTRand_int32 other(seed + 1); // instances share no state
        std::mt19937 reference(seed);
        for (int i = 0; i < 1300; i++, other.next())
            ASSERT_EQ(random.next(), reference()) << "seed " << seed << ", output " << i;
    }
}

} // namespace
