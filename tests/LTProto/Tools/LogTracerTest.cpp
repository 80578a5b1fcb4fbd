#include "LTProto/Tools/LogTracer.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/OS/linux/linuxOS.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
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

    // Ten bytes with its line feed.
    bool TraceTenBytes(char fill) { return m_tracer.Trace("%s", std::string(9, fill).c_str()); }

    const std::filesystem::path m_start = std::filesystem::current_path();
    TempFolder m_folder;
    Tools::LogTracer m_tracer;
};

const std::string TEN_A = "aaaaaaaaa\n";
const std::string TEN_B = "bbbbbbbbb\n";
const std::string TEN_C = "ccccccccc\n";

TEST_F(LogTracer, ConsoleAloneIsFalse)
{
    m_tracer.Init("", true, 0, true);
    EXPECT_EQ(ConsoleOf([&] { EXPECT_FALSE(m_tracer.Trace("%d%%", 7)); }), "7%\n");
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(LogTracer, OffWritesNothing)
{
    m_tracer.Init(static_cast<const char *>(nullptr), true, 0, false);
    EXPECT_EQ(ConsoleOf(
                  [&]
                  {
                      EXPECT_TRUE(m_tracer.Trace("a"));
                      EXPECT_TRUE(m_tracer.Trace("a"s));
                  }),
              "");
}

TEST_F(LogTracer, EmptyTextWritesNothing)
{
    m_tracer.Init("log", true, 0, true);
    const std::string empty;
    EXPECT_EQ(ConsoleOf(
                  [&]
                  {
                      EXPECT_TRUE(m_tracer.Trace(empty));
                      EXPECT_TRUE(m_tracer.Trace(empty.c_str(), 0));
                      EXPECT_TRUE(m_tracer.Trace("\0a"s));
                  }),
              "");
    EXPECT_FALSE(m_folder.holds("log"));
}

TEST_F(LogTracer, LineGoesToFileAndConsole)
{
    m_tracer.Init("log", true, 0, true);
    EXPECT_FALSE(m_folder.holds("log"));
    EXPECT_EQ(ConsoleOf([&] { EXPECT_TRUE(m_tracer.Trace("%s", "a")); }), "a\n");
    EXPECT_EQ(m_folder.read("log"), "a\n");
}

TEST_F(LogTracer, PrefixHasTheDecimalsAskedFor)
{
    m_tracer.Init(9);
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("a"));
    EXPECT_TRUE(m_tracer.Trace("b"s));
    const std::string time = "\\d\\d:\\d\\d:\\d\\d\\.\\d{9} - ";
    EXPECT_TRUE(std::regex_match(m_folder.read("log"), std::regex(time + "a\n" + time + "b\n")));
}

TEST_F(LogTracer, TextIsAFormatWithoutArguments)
{
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("100%% %s%n of 50% z\0hidden"s));
    EXPECT_EQ(m_folder.read("log"), "100%  of 50% z\n");
}

TEST_F(LogTracer, LongTextComesOutWhole)
{
    const std::string text(150000, 'x');
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("<%s>", text.c_str()));
    EXPECT_EQ(m_folder.read("log"), "<" + text + ">\n");
    EXPECT_EQ(m_tracer.TraceToString("<%s>", text.c_str()), "<" + text + ">");
}

TEST_F(LogTracer, RotatesBeforeTheLineThatFollowsAFullFile)
{
    m_tracer.Init("log", true, 15, false);
    EXPECT_TRUE(TraceTenBytes('a'));
    EXPECT_TRUE(TraceTenBytes('b'));
    EXPECT_EQ(m_folder.read("log"), TEN_A + TEN_B);
    EXPECT_TRUE(TraceTenBytes('c'));
    EXPECT_EQ(m_folder.read("log"), TEN_C);
    EXPECT_EQ(m_folder.read("log.old"), TEN_A + TEN_B);
}

TEST_F(LogTracer, AFileOfExactlyTheBoundTakesAnotherLine)
{
    m_tracer.Init("log", true, 10, false);
    TraceTenBytes('a');
    TraceTenBytes('b');
    EXPECT_EQ(m_folder.read("log"), TEN_A + TEN_B);
}

TEST_F(LogTracer, KeepsOneOlderRun)
{
    m_folder.write("log", "previous run");
    m_folder.write("log.old", "run before");
    m_tracer.Init("log", true, 0, false);
    TraceTenBytes('a');
    EXPECT_EQ(m_folder.read("log"), TEN_A);
    EXPECT_EQ(m_folder.read("log.old"), "previous run");
}

TEST_F(LogTracer, AMissingFileLeavesTheOlderRun)
{
    m_folder.write("log.old", "run before");
    m_tracer.Init("log", true, 0, false);
    TraceTenBytes('a');
    EXPECT_EQ(m_folder.read("log.old"), "run before");
}

TEST_F(LogTracer, WithoutAFolderTheOlderRunIsLost)
{
    m_folder.write("log", "previous run");
    m_tracer.Init(m_folder.path("log").c_str(), false, 5, false);
    TraceTenBytes('a');
    TraceTenBytes('b');
    EXPECT_EQ(m_folder.read("log"), TEN_B);
    EXPECT_FALSE(m_folder.holds("log.old"));
}

TEST_F(LogTracer, OpensAndClosesOnDemand)
{
    EXPECT_FALSE(m_tracer.LogFileOpen());
    m_tracer.Init("log", true, 0, false);
    EXPECT_FALSE(m_tracer.CloseFile());
    EXPECT_TRUE(m_tracer.LogFileOpen());
    EXPECT_TRUE(m_tracer.CloseFile());
}

TEST_F(LogTracer, RetriesAFileThatDidNotOpen)
{
    m_tracer.Init("sub/log", true, 0, true);
    EXPECT_EQ(ConsoleOf([&] { EXPECT_FALSE(TraceTenBytes('a')); }), TEN_A);
    std::filesystem::create_directory(m_folder.path("sub"));
    EXPECT_EQ(ConsoleOf([&] { EXPECT_TRUE(TraceTenBytes('b')); }), TEN_B);
    EXPECT_EQ(m_folder.read("sub/log"), TEN_B);
}

TEST_F(LogTracer, AFullDiskLeavesTheConsole)
{
    m_tracer.Init("/dev/full", false, 0, true);
    EXPECT_EQ(ConsoleOf([&] { EXPECT_FALSE(TraceTenBytes('a')); }), TEN_A);
}

TEST_F(LogTracer, LinesOfTwoThreadsStayWhole)
{
    constexpr int LINES = 500;
    m_tracer.Init("log", true, 0, false);
    const auto traceAll = [&](char fill)
    {
        for (int i = 0; i < LINES; i++)
            TraceTenBytes(fill);
    };
    std::thread other(traceAll, 'a');
    traceAll('b');
    other.join();

    std::istringstream log(m_folder.read("log"));
    std::map<std::string, int> count;
    for (std::string line; std::getline(log, line);)
        count[line + "\n"]++;
    EXPECT_EQ(count, (std::map<std::string, int>{{TEN_A, LINES}, {TEN_B, LINES}}));
}

} // namespace
