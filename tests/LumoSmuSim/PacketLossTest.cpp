#include "LumoSmuSim/PacketLoss.h"
#include "tests/HexBytes.h"

#include <gtest/gtest.h>

TEST(PacketLoss, SwallowsWholePacketsAndNothingElse)
{
    const struct
    {
        const char *name;
        u32 nth;
        bool isEvery;
        const char *sent; // two packets, 60 00 05 2A 01 59 E2 and 60 00 05 2A 00 5C 6B, and other bytes
        const char *arrives;
    } cases[] = {
        {"none", 0, false, "60 00 05 2A 01 59 E2 60", "60 00 05 2A 01 59 E2 60"},
        {"first", 1, false, "60 00 05 2A 01 59 E2 60 00 05 2A 00 5C 6B", "60 00 05 2A 00 5C 6B"},
        {"second", 2, false, "60 00 05 2A 01 59 E2 60 00 05 2A 00 5C 6B 07", "60 00 05 2A 01 59 E2 07"},
        {"every", 1, true, "07 60 00 05 2A 01 59 E2 08 60 00 05 2A 00 5C 6B 09", "07 08 09"},
        {"mark in a payload", 2, false, "60 00 06 2A 60 00 59 E2 60 00 05 2A 00 5C 6B", "60 00 06 2A 60 00 59 E2"},
        {"length of no packet", 1, false, "60 00 03 07 60 00 05 2A 01 59 E2 08", "60 00 03 07 08"},
    };
    for (const auto &row : cases)
        for (size_t piece : {size_t{1}, size_t{2}, size_t{100}})
        {
            LumoSmuSim::PacketLoss loss;
            loss.swallow(row.nth, row.isEvery);
            const std::vector<u8> sent = Hex(row.sent);
            std::vector<u8> arrived;
            for (size_t i = 0; i < sent.size(); i += piece)
            {
                const auto from = sent.begin() + static_cast<std::ptrdiff_t>(i);
                const size_t count = std::min(piece, sent.size() - i);
                const std::vector<u8> passed = loss.pass({from, from + static_cast<std::ptrdiff_t>(count)});
                arrived.insert(arrived.end(), passed.begin(), passed.end());
            }
            EXPECT_EQ(arrived, Hex(row.arrives)) << row.name << ", in pieces of " << piece;
        }
}
