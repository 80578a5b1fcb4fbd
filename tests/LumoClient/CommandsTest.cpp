#include "LumoClient/Commands.h"

#include "tests/LumoClient/ScriptedChannel.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using namespace LumoClient;

constexpr u32 TIMEOUT_MSEC = 900; // below the time of a repetition
const std::string ACK = "2A 01";

struct Outcome
{
    int status;
    std::string out;
    std::string err;
};

class CommandsTest : public testing::Test
{
  protected:
    CommandsTest()
    {
        auto channel = std::make_unique<ScriptedChannel>();
        m_bridge = channel.get();
        m_link.attach(std::move(channel));
    }

    static Outcome Capture(const std::function<int()> &command)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = command();
        return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }

    ScriptedChannel *m_bridge; // owned by m_link
    ClientLink m_link;
};

TEST_F(CommandsTest, GetPrintsALineForEachVariable)
{
    m_bridge->expect("33 06 00 00 00 04").arrive({"66 FF FF FF FF 80 00 00 00 00", "66 00 00 00 00 04 00 00 00 05 01"});
    m_bridge->expect(ACK).expect("33 06 00 00 00 63");
    m_bridge->arrive({"66 FF FF FF FF 80 00 00 00 01", "66 00 00 00 01 10 AB"}).expect(ACK);
    const Outcome run = Capture([&] { return runGet(m_link, {4, 99}, TIMEOUT_MSEC); });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "4\tExpress Temp\tDECIMAL_NEGATIVE\t-0.5\n99\t-\tDATA_BUFFER\tab\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(CommandsTest, GetGoesOnBehindAVariableWithoutAnswer)
{
    m_bridge->expect("33 06 00 00 00 04")
        .arrive({"66 FF FF FF FF 80 00 00 00 00"})
        .expect("33 06 00 00 00 05")
        .hangUp();
    const Outcome run = Capture([&] { return runGet(m_link, {4, 5, 6}, TIMEOUT_MSEC); });
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "LumoClient: get 4: no answer in time\nLumoClient: get 5: the link is lost\n");
}

TEST(Commands, EachResultHasItsExitStatus)
{
    EXPECT_EQ(exitStatus(eResult::done), 0);
    for (eResult result : {eResult::refused, eResult::unreachable, eResult::linkLost, eResult::badAnswer})
        EXPECT_EQ(exitStatus(result), 1) << resultText(result);
    EXPECT_EQ(exitStatus(eResult::badArgument), 2);
    EXPECT_EQ(exitStatus(eResult::noAnswer), 3);
}

} // namespace
