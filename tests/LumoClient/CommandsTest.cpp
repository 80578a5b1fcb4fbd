#include "LumoClient/Shell.h"

#include "tests/LumoClient/ScriptedChannel.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace
{

using namespace LumoClient;

constexpr u32 TIMEOUT_MSEC = 900; // below the time of a repetition

struct Outcome
{
    int status;
    std::string out;
    std::string err;
};

class CommandsTest : public ScriptedLinkTest
{
  protected:
    static Outcome Capture(const std::function<int()> &command)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = command();
        return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }
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

// As `LumoClient set` does.
TEST(Shell, SetRefusesWhatDoesNotReachTheMachine)
{
    const struct
    {
        const char *name, *command, *refusedType;
    } rows[] = {
        {"a whole number", "set 100 int 150", ""},
        {"bytes", "set 100 bytes 01", ""},
        {"a negative number", "set 100 int -5", "INTEGER_NEGATIVE"},
        {"a decimal", "set 100 dec 1.5", "DECIMAL_POSITIVE"},
        {"a negative decimal", "set 100 dec -1.5", "DECIMAL_NEGATIVE"},
        {"a text", "set 100 text hot", "STRING_UTF"},
        {"nothing", "set 100 null", "NULL_DATA"},
        {"a text that is wanted", "set 100 --force text hot", ""},
    };
    const volatile std::sig_atomic_t stop = 0;
    LumoFaults::FaultPlan plan(LumoFaults::eSide::client);
    const ShellSetup setup{[] { return nullptr; }, "bridge", {}, plan}; // what is not refused finds nobody
    for (const auto &[name, command, refusedType] : rows)
    {
        std::istringstream in(command);
        testing::internal::CaptureStderr();
        runShell(in, setup, stop);
        const std::string said = testing::internal::GetCapturedStderr();
        const std::string expected = *refusedType == '\0'
                                         ? "LumoClient: set: bridge: the bridge cannot be reached\n"
                                         : "LumoClient: set: the bridge acknowledges a value of type " +
                                               std::string(refusedType) +
                                               " and hands on an empty one: send it as bytes, or add --force\n";
        EXPECT_EQ(said, expected) << name;
    }
}

TEST_F(CommandsTest, WatchShowsAndKeepsTheFilesThatComeByThemselves)
{
    TempFolder folder;
    const volatile std::sig_atomic_t stop = 0;
    for (int i = 0; i < 2; ++i)
        m_bridge->arrive({"AA 00 00 00 00 08 05 00 07"})
            .expect("AA 00 00 00 00 08 00 08")
            .arrive({"AA FF FF FF 61 62 63"})
            .expect(ACK);
    const Outcome run = Capture([&] { return runWatch(m_link, 2, folder.path(), {}, stop); });
    const std::string shown = "7\t-\tFILE_ID\t3 bytes, MD5 900150983cd24fb0d6963f7d28e17f72\t" + folder.path("7");
    EXPECT_EQ(run.out, shown + "\n" + shown + ".2\n");
    EXPECT_EQ(folder.read("7.2"), "abc");
}

TEST(Commands, EachResultHasItsExitStatus)
{
    EXPECT_EQ(exitStatus(eResult::done), 0);
    for (eResult result : {eResult::refused, eResult::unreachable, eResult::linkLost, eResult::badAnswer,
                           eResult::fileFailed, eResult::stopped})
        EXPECT_EQ(exitStatus(result), 1) << resultText(result);
    EXPECT_EQ(exitStatus(eResult::badArgument), 2);
    EXPECT_EQ(exitStatus(eResult::noAnswer), 3);
}

} // namespace
