#include "LTProto/Tools/LogTracer.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/OS/linux/linuxOS.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <thread>

namespace
{

using namespace std::string_literals;

// The application folder is an empty temporary one. Lines have no time prefix unless a test asks for it.
class LogTracer : public testing::Test
{
  protected:
    LogTracer()
    {
        std::filesystem::current_path(m_folder.path());
        platform::internal_init("tests");
        m_tracer.Init(10);
    }
    ~LogTracer() override
    {
        platform::internal_deinit();
        std::filesystem::current_path(m_start);
    }

    template <typename Action>
    std::string ConsoleOf(Action action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    const std::filesystem::path m_start = std::filesystem::current_path();
    TempFolder m_folder;
    Tools::LogTracer m_tracer;
};

TEST_F(LogTracer, WithoutAFileTheConsoleGetsTheLineAndTheResultIsFalse)
{
    m_tracer.Init("", true, 0, true);
    EXPECT_EQ(ConsoleOf([&] { EXPECT_FALSE(m_tracer.Trace("%d%%", 7)); }), "7%\n");
    m_tracer.Init(static_cast<const char *>(nullptr), true, 0, false);
    EXPECT_EQ(ConsoleOf([&] { EXPECT_TRUE(m_tracer.Trace("a") && m_tracer.Trace("a"s)); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(LogTracer, LinesGoToFileAndConsoleWithTheDecimalsAskedFor)
{
    m_tracer.Init(9);
    m_tracer.Init("log", true, 0, true);
    EXPECT_FALSE(m_folder.holds("log"));
    std::string lines = ConsoleOf([&] { EXPECT_TRUE(m_tracer.Trace("%s", "a") && m_tracer.Trace("b"s)); });
    EXPECT_EQ(m_folder.read("log"), lines);
    std::replace_if(
        lines.begin(), lines.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
    EXPECT_EQ(lines, "99:99:99.999999999 - a\n99:99:99.999999999 - b\n");
}

TEST_F(LogTracer, AnyTextComesOutWhole)
{
    const std::string text(150000, 'x');
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("<%s>", text.c_str()));
    EXPECT_TRUE(m_tracer.Trace("100%% %s%n\0hidden"s)); // a format without arguments
    EXPECT_EQ(m_folder.read("log"), "<" + text + ">\n100% \n");
    EXPECT_EQ(m_tracer.TraceToString("<%s>", text.c_str()), "<" + text + ">");
}

TEST_F(LogTracer, RotatesBeforeTheLineThatFollowsAFileAboveItsBound)
{
    m_tracer.Init("log", true, 10, false);
    m_tracer.Trace("nine char"); // ten bytes, the bound itself
    m_tracer.Trace("above it");
    EXPECT_EQ(m_folder.read("log"), "nine char\nabove it\n");
    m_tracer.Trace("new");
    EXPECT_EQ(m_folder.read("log"), "new\n");
    EXPECT_EQ(m_folder.read("log.old"), "nine char\nabove it\n");
}

TEST_F(LogTracer, KeepsOneOlderRun)
{
    m_folder.write("log.old", "first run");
    m_tracer.Init("log", true, 0, false);
    EXPECT_FALSE(m_tracer.CloseFile());
    m_tracer.Trace("second run");
    EXPECT_EQ(m_folder.read("log.old"), "first run");
    EXPECT_TRUE(m_tracer.CloseFile());
    m_tracer.Trace("third run");
    EXPECT_EQ(m_folder.read("log.old"), "second run\n");
    EXPECT_EQ(m_folder.read("log"), "third run\n");
}

TEST_F(LogTracer, WithoutAFolderTheOlderRunIsLost)
{
    m_folder.write("log", "previous run");
    m_tracer.Init("log", false, 5, false);
    m_tracer.Trace("above the bound");
    EXPECT_TRUE(m_tracer.Trace("new"));
    EXPECT_EQ(m_folder.read("log"), "new\n");
    EXPECT_FALSE(m_folder.holds("log.old"));
}

TEST_F(LogTracer, AFailingDiskLeavesTheConsole)
{
    EXPECT_FALSE(m_tracer.LogFileOpen());
    for (const char *file : {"/dev/full", "missing/log"})
    {
        m_tracer.Init(file, false, 0, true);
        EXPECT_EQ(ConsoleOf([&] { EXPECT_FALSE(m_tracer.Trace("a")); }), "a\n");
    }
    std::filesystem::create_directory(m_folder.path("missing"));
    EXPECT_EQ(ConsoleOf([&] { EXPECT_TRUE(m_tracer.Trace("b")); }), "b\n");
    EXPECT_EQ(m_folder.read("missing/log"), "b\n");
}

TEST_F(LogTracer, LinesOfTwoThreadsStayWhole)
{
    constexpr int LINES = 500;
    m_tracer.Init("log", true, 0, false);
    const auto traceAll = [&](const char *text)
    {
        for (int i = 0; i < LINES; i++)
            m_tracer.Trace("%s line", text);
    };
    std::thread other(traceAll, "other");
    traceAll("own");
    other.join();

    std::istringstream log(m_folder.read("log"));
    std::map<std::string, int> count;
    for (std::string line; std::getline(log, line);)
        count[line]++;
    EXPECT_EQ(count, (std::map<std::string, int>{{"other line", LINES}, {"own line", LINES}}));
}

} // namespace
