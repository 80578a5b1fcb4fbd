#include "toviCommonLib/mtrand.h"

#include <gtest/gtest.h>
#include <random>

using tovi::MTRand_int32;

TEST(MTRand, FollowsTheStandardsGeneratorFromEverySeed)
{
    MTRand_int32 random, other; // instances share nothing
    u32 last = 0;
    for (const u32 seed : {0u, 0xFFFFFFFFu, MTRand_int32::DEFAULT_SEED})
    {
        random.seed(seed);
        std::mt19937 reference(seed);
        for (int i = 0; i < 10000; i++, other.next())
            ASSERT_EQ(last = random.next(), reference()) << "seed " << seed << ", output " << i;
    }
    EXPECT_EQ(last, 4123659995u); // published in [rand.predef] for the default seed
}
