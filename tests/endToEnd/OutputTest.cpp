// What the daemon prints, whoever reads it or does not, and the statuses it ends with meanwhile.
#include "tests/endToEnd/BridgeFixture.h"

#include <fcntl.h>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

using eKeyboard = BridgeProcess::eKeyboard;

struct sEnds
{
    Descriptor reader;
    Descriptor writer;
};

sEnds makePair(bool isSocket)
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(isSocket ? socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) : pipe2(ends, O_CLOEXEC), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// A terminal that somebody stopped with Ctrl-S.
sEnds makeStoppedTerminal()
{
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(grantpt(master.get()) + unlockpt(master.get()), 0);
    Descriptor terminal(open(ptsname(master.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    master.write({0x13});
    return {std::move(master), std::move(terminal)};
}

size_t countOf(const std::string &wanted, const std::string &text)
{
    size_t count = 0;
    for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1))
        ++count;
    return count;
}

class OutputTest : public BridgeTest
{
  protected:
    // Launches the daemon with its output there, and connects a client as soon as it listens.
    void startPrintingTo(const Descriptor &output)
    {
        const int descriptor = output.get();
        launch({"-logfile", "log"}, eKeyboard::pipe, [=] { dup2(descriptor, STDOUT_FILENO); });
        m_smu.take();
        Descriptor link;
        while (link.get() < 0)
            link = connectTo(m_ip, CLIENT_PORT);
        m_client = std::make_unique<RawClient>(std::move(link));
        ASSERT_EQ(m_smu.receive(), LINK_UP);
    }
    void serve(int rounds)
    {
        for (int i = 0; i < rounds; ++i)
        {
            m_client->send("33 80 00 00 00 09");
            ASSERT_EQ(m_client->receive(), framed("66 FF FF FF FF 11"));
        }
    }
    bool runs() const
    {
        siginfo_t ended{};
        return waitid(P_PID, static_cast<id_t>(m_bridge->pid()), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == 0;
    }
    std::string log() const { return readFile(m_bridge->folder() + "/log"); }
};

} // namespace

TEST_F(OutputTest, ThatNobodyReadsStopsNothingAndTheFileHasEveryLine)
{
    constexpr int ROUNDS = 2000;
    const std::pair<const char *, sEnds (*)()> CASES[] = {
        {"pipe", [] { return makePair(false); }},
        {"socket", [] { return makePair(true); }},
        {"terminal", makeStoppedTerminal},
    };
    for (const auto &[name, make] : CASES)
    {
        SCOPED_TRACE(name);
        const sEnds ends = make();
        const int flags = fcntl(ends.writer.get(), F_GETFL);
        ASSERT_NO_FATAL_FAILURE(startPrintingTo(ends.writer));
        ASSERT_NO_FATAL_FAILURE(serve(ROUNDS));
        EXPECT_EQ(fcntl(ends.writer.get(), F_GETFL), flags);
        m_bridge->signal(SIGTERM);
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_EQ(countOf("): 60 00 09 66 ", log()), static_cast<size_t>(ROUNDS));
        EXPECT_EQ(countOf("Program exit", log()), 1u);
    }
}

TEST_F(OutputTest, WhoseReaderIsGoneKillsNothing)
{
    for (bool isSocket : {false, true})
    {
        sEnds ends = makePair(isSocket);
        ASSERT_NO_FATAL_FAILURE(startPrintingTo(ends.writer));
        ends.writer.reset();
        ends.reader.reset();
        ASSERT_NO_FATAL_FAILURE(serve(10));
        m_bridge->signal(SIGTERM);
        EXPECT_EQ(m_bridge->status(), 0);
    }
}

TEST_F(OutputTest, WhoseReaderIsGoneTakesNoStatusOfTheShortRuns)
{
    for (const char *option : {"--help", "--version"})
    {
        sEnds ends = makePair(false);
        ends.reader.reset();
        const int descriptor = ends.writer.get();
        BridgeProcess bridge({option}, eKeyboard::pipe, "", [=] { dup2(descriptor, STDOUT_FILENO); });
        EXPECT_EQ(bridge.status(), 0) << option;
    }
}

TEST_F(OutputTest, RepeatedSigtermEndsItWithStatusZero)
{
    for (int run = 0; run < 20; ++run)
    {
        ASSERT_NO_FATAL_FAILURE(start());
        while (runs())
            m_bridge->signal(SIGTERM);
        ASSERT_EQ(m_bridge->status(), 0) << run;
    }
}

TEST_F(OutputTest, HangUpThatWasIgnoredAtTheStartStaysIgnored)
{
    launch({}, eKeyboard::pipe, [] { std::signal(SIGHUP, SIG_IGN); });
    m_smu.take();
    ASSERT_TRUE(m_bridge->prints("Max payload lenght"));
    m_bridge->signal(SIGHUP);
    ASSERT_NO_FATAL_FAILURE(connectClient());
    stop();
}

TEST_F(OutputTest, NoSecondThreadIsSaidAndEndsItWithStatusZero)
{
    if (BRIDGE_COMMAND.size() > 1 || LUMO_SANITIZED)
        GTEST_SKIP() << "its memory is not its own";
    launch();
    m_smu.takeUnanswered();
    size_t pages = 0;
    std::ifstream("/proc/" + std::to_string(m_bridge->pid()) + "/statm") >> pages;
    constexpr rlim_t LESS_THAN_A_STACK = 512 * 1024;
    const rlim_t most = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + LESS_THAN_A_STACK;
    const rlimit memory{most, most};
    ASSERT_EQ(prlimit(m_bridge->pid(), RLIMIT_AS, &memory, nullptr), 0);
    m_smu.send("00 04 00 00");
    EXPECT_EQ(m_bridge->status(), 0);
    EXPECT_NE(m_bridge->output().find(" - ERR: unable to start the thread of the client link\n"), std::string::npos);
}

TEST_F(OutputTest, NamesOfTheMachineForgeNoLineAndMoveNoCursor)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient({"-logfile", "log"}));
    m_smu.send("90 02 00 00 00 00 00 09 41 0A 42 1B 5B 41 FF"); // "A", line feed, "B", ESC "[A", no UTF-8
    ASSERT_TRUE(m_bridge->prints("Rcv File sended id 9 name A\\x0aB\\x1b[A\\xff\n"));
    ASSERT_TRUE(m_bridge->prints("FileSend:: spontaneous send fileId=9 name=A\\x0aB\\x1b[A"));
    stop();
    EXPECT_EQ(m_bridge->output().find('\x1B'), std::string::npos);
    EXPECT_EQ(log().find('\x1B'), std::string::npos);
    EXPECT_EQ(countOf("\nB", log()), 0u);
}
