#include "LTProto/Tools/LogTracer.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/OS/linux/linuxOS.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
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

    const std::filesystem::path m_start = std::filesystem::current_path();
    TempFolder m_folder;
    Tools::LogTracer m_tracer;
};

TEST_F(LogTracer, IsTrueWhenTheFileHasTheLineOrThereIsNoneToWrite)
{
    testing::internal::CaptureStdout();
    EXPECT_FALSE(m_tracer.LogFileOpen());
    EXPECT_FALSE(m_tracer.Trace("%d%%", 7)) << "the console alone";
    m_tracer.Init("/dev/full", false, 0, true);
    EXPECT_FALSE(m_tracer.Trace("a"));
    m_tracer.Init("log", true, 0, true);
    EXPECT_TRUE(m_tracer.Trace("\0b"s));
    EXPECT_TRUE(m_tracer.Trace(std::string().c_str(), 0));
    EXPECT_FALSE(m_tracer.CloseFile());
    EXPECT_FALSE(m_folder.holds("log"));
    EXPECT_TRUE(m_tracer.Trace("%s", "b"));
    EXPECT_TRUE(m_tracer.CloseFile());
    m_tracer.Init(static_cast<const char *>(nullptr), true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("c")) << "off";
    EXPECT_TRUE(m_tracer.Trace("c"s)) << "off";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "7%\na\nERR: log file /dev/full cannot be written: not a regular file\nb\n");
    EXPECT_EQ(m_folder.read("log"), "b\n");
}

TEST_F(LogTracer, PrefixHasTheDecimalsAskedFor)
{
    m_tracer.Init(9);
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("a"));
    EXPECT_TRUE(m_tracer.Trace("b"s));
    std::string lines = m_folder.read("log");
    std::ranges::replace_if(
        lines, [](char c) { return c >= '0' && c <= '9'; }, '0');
    EXPECT_EQ(lines, "00:00:00.000000000 - a\n00:00:00.000000000 - b\n");
}

TEST_F(LogTracer, TextIsAFormatWithoutArgumentsAndComesOutWhole)
{
    const std::string text(150000, 'x');
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("100%% %s%n of 50% z\0hidden"s));
    EXPECT_TRUE(m_tracer.Trace("<%s>", text.c_str()));
    for (const u32 len : {3U, 1U})
        EXPECT_TRUE(m_tracer.TraceHex("%s ", reinterpret_cast<const u8 *>("abc"), len, '-', " %"));
    EXPECT_EQ(m_folder.read("log"), "100%  of 50% z\n<" + text + ">\n%s 61-62-63 %\n%s 61 %\n");
    for (const std::size_t len : {0u, 509u, 510u, 511u}) // around what is formatted without an allocation
        EXPECT_EQ(m_tracer.TraceToString("%s%d", text.substr(0, len).c_str(), -7), text.substr(0, len) + "-7");
}

TEST_F(LogTracer, RotatesBeforeTheLineThatFollowsAFullFileAndKeepsOneOlderRun)
{
    m_folder.write("log.old", "run before");
    m_tracer.Init("log", true, 2, false);
    EXPECT_TRUE(m_tracer.Trace("a")); // with its line feed exactly the bound
    EXPECT_EQ(m_folder.read("log.old"), "run before") << "there was no file yet";
    EXPECT_TRUE(m_tracer.Trace("b"));
    EXPECT_EQ(m_folder.read("log"), "a\nb\n");
    EXPECT_TRUE(m_tracer.Trace("c"));
    EXPECT_TRUE(m_tracer.Trace("d"));
    EXPECT_EQ(m_folder.read("log"), "c\nd\n");
    EXPECT_EQ(m_folder.read("log.old"), "a\nb\n");
}

TEST_F(LogTracer, RetriesAFileThatDidNotOpenAndLosesTheOlderOneWithoutAFolder)
{
    m_tracer.Init(m_folder.path("sub/log").c_str(), false, 0, false);
    EXPECT_FALSE(m_tracer.Trace("a"));
    std::filesystem::create_directory(m_folder.path("sub"));
    m_folder.write("sub/log", "previous run");
    EXPECT_TRUE(m_tracer.Trace("b"));
    EXPECT_EQ(m_folder.read("sub/log"), "b\n");
    EXPECT_FALSE(m_folder.holds("sub/log.old"));
}

TEST_F(LogTracer, ALogFileIsARegularFileAndNothingElseIsTouched)
{
    std::filesystem::create_directory(m_folder.path("folder"));
    ASSERT_EQ(mkfifo(m_folder.path("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", m_folder.path("link"));
    std::filesystem::create_symlink("target", m_folder.path("good"));
    m_folder.write("target", "");
    const std::pair<std::string, std::string> CASES[] = {
        {"folder", "Is a directory"},
        {"fifo", "not a regular file"},
        {"link", "No such file or directory"},
        {"/absolute/log", "No such file or directory"},
        {"good", ""},
    };
    for (const auto &[name, reason] : CASES)
    {
        SCOPED_TRACE(name);
        testing::internal::CaptureStdout();
        m_tracer.Init(name.c_str(), true, 0, true);
        EXPECT_EQ(m_tracer.Trace("a"), reason.empty());
        m_tracer.Trace("b");
        const std::string told = "ERR: log file " + name + " cannot be written: " + reason + "\n";
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\n" + (reason.empty() ? "" : told) + "b\n");
    }
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.path("folder")));
    EXPECT_TRUE(std::filesystem::is_fifo(m_folder.path("fifo")));
    EXPECT_FALSE(m_folder.holds("nowhere"));
    EXPECT_FALSE(m_folder.holds("folder.old"));
    EXPECT_EQ(m_folder.read("good"), "a\nb\n");
}

TEST_F(LogTracer, KeepsThePreviousFileWhateverItsName)
{
    for (const char *name : {"%41", "a\\b", "log.", "%2e%2e"})
    {
        SCOPED_TRACE(name);
        m_folder.write(name, "run before");
        m_tracer.Init(name, true, 0, false);
        EXPECT_TRUE(m_tracer.Trace("a"));
        EXPECT_EQ(m_folder.read(std::string(name) + ".old"), "run before");
        EXPECT_EQ(m_folder.read(name), "a\n");
    }
}

TEST_F(LogTracer, TellsOnceThatTheDiskFailsAndOnceThatItWorksAgainAndJoinsNoLines)
{
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    m_tracer.Init("log", true, 0, true);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(m_tracer.Trace("abc"));
    const std::string longLine(3000, 'x');
    const rlimit small{1000, before.rlim_max}; // of the captured output too, which has room for what follows
    setrlimit(RLIMIT_FSIZE, &small);
    m_tracer.m_traceOnConsole = false;
    EXPECT_FALSE(m_tracer.Trace("%s", longLine.c_str()));
    EXPECT_FALSE(m_tracer.Trace("lost"));
    m_tracer.m_traceOnConsole = true;
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_TRUE(m_tracer.Trace("d"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc\nd\nLog file log is written again\n");
    EXPECT_EQ(m_folder.read("log"), "abc\n" + longLine.substr(0, 996) + "\nd\n");
    std::signal(SIGXFSZ, ignored);
}

TEST_F(LogTracer, WhatAMessageQuotesForgesNoLine)
{
    m_tracer.Init("log", true, 0, false);
    EXPECT_TRUE(m_tracer.Trace("name %s\n", "a\nb\x1B[2J\xFF\n"));
    EXPECT_TRUE(m_tracer.Trace("argument\n\r"s));
    EXPECT_EQ(m_folder.read("log"), "name a\\x0ab\\x1b[2J\\xff\\x0a\n\nargument\\x0a\\x0d\n");
}

TEST_F(LogTracer, LinesOfTwoThreadsStayWhole)
{
    m_tracer.Init("log", true, 0, false);
    const auto traceAll = [this]
    {
        for (int i = 0; i < 500; i++)
            m_tracer.Trace("%s", "abc");
    };
    std::thread other(traceAll);
    traceAll();
    other.join();
    const std::string log = m_folder.read("log");
    EXPECT_EQ(log.size(), 4000);
    EXPECT_EQ(log, log.substr(4) + "abc\n");
}

} // namespace
