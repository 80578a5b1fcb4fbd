// What is written in place of a packet, and when.
#include "tools/Faults/FaultPlan.h"

#include "tests/WirePacket.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace LumoFaults;

namespace
{

const Bytes PACKET = Hex("60 00 05 2A 01 59 E2");
const PacketShape SHAPE{1, 2, Hex("AA BB")};

std::string hitBy(const std::string &order)
{
    FaultPlan plan(eSide::client);
    EXPECT_TRUE(plan.order(order)) << order;
    const Distorted out = plan.distort(plan.next(true), PACKET, SHAPE);
    std::ostringstream text;
    text << out.times << " x " << out.pieceLen << ":";
    for (const u32 byte : out.bytes)
        text << " " << byte;
    return text.str();
}

TEST(FaultPlanTest, EachVerbDamagesInItsWay)
{
    const std::pair<const char *, const char *> cases[] = {
        {"half", "1 x 3: 96 0 5"},
        {"checksum", "1 x 7: 96 0 5 42 1 89 29"},
        {"length:251", "1 x 7: 96 1 0 42 1 89 226"},
        {"twice", "2 x 7: 96 0 5 42 1 89 226"},
        {"flood 3", "3 x 7: 96 0 5 42 1 89 226"},
        {"split", "1 x 1: 96 0 5 42 1 89 226"},
        {"double", "1 x 9: 170 187 96 0 5 42 1 89 226"},
        {"stall:5", "1 x 7: 96 0 5 42 1 89 226"},
    };
    for (const auto &[order, written] : cases)
        EXPECT_EQ(hitBy(order), written) << order;
    FaultPlan plan(eSide::client);
    for (const char *unknown : {"close", "nonsense", "flood:x", "flood:16777216", "half:", ""})
        EXPECT_FALSE(plan.order(unknown)) << unknown;
}

TEST(FaultPlanTest, OrdersComeInTurnAndABlocksFaultWaitsForABlock)
{
    FaultPlan plan(eSide::client);
    for (const char *order : {"block:7", "twice"})
        ASSERT_TRUE(plan.order(order));
    EXPECT_EQ(plan.next(false).verb, eVerb::none);
    EXPECT_EQ(plan.next(true).number, 7U);
    EXPECT_EQ(plan.next(false).verb, eVerb::twice);
    EXPECT_EQ(plan.next(true).verb, eVerb::none);
}

TEST(FaultPlanTest, ASeedRepeatsARun)
{
    const auto drawn = [](u32 seed)
    {
        FaultPlan plan(eSide::machine);
        plan.draw(50, seed);
        std::string names;
        for (int i = 0; i < 40; ++i)
            names.append(verbName(plan.next(false).verb)).append(" ");
        return names;
    };
    EXPECT_EQ(drawn(5), drawn(5));
    EXPECT_NE(drawn(5), drawn(6));
}

} // namespace
