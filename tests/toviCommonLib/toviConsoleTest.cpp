#include "toviCommonLib/toviConsole.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/tovi.h"

#include <csignal>
#include <functional>
#include <gtest/gtest.h>

using namespace tovi::console;

static std::string printed(const std::function<void()> &operation)
{
    testing::internal::CaptureStdout();
    operation();
    return testing::internal::GetCapturedStdout();
}

TEST(TerminalConsole, PrintsItsSequences)
{
    const std::pair<std::function<void()>, std::string> CASES[] = {
        {[] { setWH(132, 43), setScrollArea(2, 24); }, "\x1B[8;43;132t\x1B[2;24r"},
        {[] { setWidthTo80Cols(), setWidthTo132Cols(), clear(), clearLine(); }, "\x1B[80$|\x1B[132$|\x1B[2J\x1B[2K"},
        {[] { setTextColor(eTextColor::darkRred), setBgColor(eBgColor::darkRred); }, "\x1B[31m\x1B[41m"},
        {[] { setTextColor(eTextColor::white), setBgColor(eBgColor::white); }, "\x1B[97m\x1B[107m"},
        {[] { cursorMoveX(65535), cursorMoveY(7), cursorBlink(true); }, "\x1B[65535G\x1B[7d\x1B[?12h"},
        // Hiding has another number than showing, and the title is a format without a terminator.
        {[] { cursorBlink(false), cursorShow(true), cursorShow(false); }, "\x1B[?12l\x1B[?25h\x1B[?1252l"},
        {[] { platform::console_setTitle("50%% %s!"); }, "\x1B]2;50% !"},
    };
    for (const auto &[operation, sequence] : CASES)
        EXPECT_EQ(printed(operation), sequence);
}

TEST(TerminalConsole, TheThirtyTwoStatesSavedLastComeBackOldestFirstThenTheCurrentOne)
{
    std::string expected;
    for (u8 i = 1; i <= 34; ++i) // the 33rd overwrites the first; the 34th is not saved
    {
        printed([i] { setTextColor(eTextColor{i}), setBgColor(eBgColor{i}), cursorMoveX(i), cursorMoveY(i); });
        if (i < 34)
            pushState();
        const std::string n = std::to_string(i == 34 ? 33 : i);
        expected += i == 1 ? "" : "\x1B[" + n + "m\x1B[" + n + "m\x1B[" + n + "G\x1B[" + n + "d";
    }
    std::string all;
    for (int i = 0; i < 33; ++i)
        all += printed(popState);
    EXPECT_EQ(all, expected);
    EXPECT_EQ(printed([] { pushState(), tovi::deinit(), tovi::init("tests", nullptr); }), "");
    EXPECT_EQ(printed(popState), "\x1B[0m\x1B[0m\x1B[1G\x1B[1d") << "nothing is left of the last run";
}

TEST(TerminalConsole, CtrlCCallsTheCallbackTrappedLastUntilTheNextStart)
{
    const auto before = std::signal(SIGINT, SIG_DFL);
    int first = 0, second = 0;
    for (int *counter : {&first, &second, &first})
    {
        platform::console_trap_CTRL_C([](void *trapped) { ++*static_cast<int *>(trapped); }, counter);
        raise(SIGINT);
    }
    platform::console_internal_deinit();
    raise(SIGINT); // the end takes nothing back
    platform::console_internal_init();
    raise(SIGINT);
    EXPECT_EQ(first, 3) << first << second;
    EXPECT_EQ(second, 1) << first << second;
    std::signal(SIGINT, before);
}
