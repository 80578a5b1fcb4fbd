// How the daemon starts and ends: messages, exit statuses, keyboard, signals, the end of the machine's link.
#include "tests/endToEnd/BridgeFixture.h"

#include <chrono>
#include <sys/stat.h>

namespace
{

using StartStopTest = BridgeTest;
using eKeyboard = BridgeProcess::eKeyboard;

class Stopwatch
{
  public:
    i64 msec() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_start)
            .count();
    }

  private:
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace

TEST_F(StartStopTest, KeyboardEndsIt)
{
    for (const char *key : {"x", "X", "abcx"})
    {
        ASSERT_NO_FATAL_FAILURE(start());
        m_bridge->type(key);
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_NE(m_bridge->output().find(" - Program exit\n"), std::string::npos);
        EXPECT_NE(m_bridge->output().find("\nProgram end\n\n"), std::string::npos);
        EXPECT_EQ(m_smu.receive(), "c8 a6 02");
        EXPECT_EQ(m_smu.receive(), "");
    }
}

TEST_F(StartStopTest, SignalsEndItAsTheKeyboardDoes)
{
    for (int number : {SIGTERM, SIGINT, SIGHUP})
    {
        ASSERT_NO_FATAL_FAILURE(startWithClient());
        m_bridge->signal(number);
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_NE(m_bridge->output().find("Program exit"), std::string::npos);
        EXPECT_NE(m_bridge->output().find("Program end"), std::string::npos);
    }
}

TEST_F(StartStopTest, SignalEndsTheConnectionAttempts)
{
    launch();
    m_smu.takeUnanswered(); // its IDENTIFY is read: now it waits for the answer
    const Stopwatch ending;
    m_bridge->signal(SIGTERM);
    EXPECT_EQ(m_bridge->status(), 0);
    EXPECT_LT(ending.msec(), 3000);
    EXPECT_NE(m_bridge->output().find("Program exit"), std::string::npos);
}

TEST_F(StartStopTest, MachineEndsIt)
{
    const std::pair<const char *, const char *> cases[] = {{"die", "rcv DIE message\n"}, {"close", ""}, {"loss", ""}};
    for (const auto &[how, line] : cases)
    {
        SCOPED_TRACE(how);
        ASSERT_NO_FATAL_FAILURE(startWithClient());
        if (*how == 'd')
            m_smu.send("00 05 00 00");
        else if (*how == 'c')
            m_smu.sendRaw(Hex("C8 A6 02"));
        else
            m_smu.leave();
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_NE(m_bridge->output().find(line), std::string::npos);
        EXPECT_EQ(m_bridge->output().find("Program exit"), std::string::npos);
        EXPECT_EQ(m_client->receive(), "");
    }
}

TEST_F(StartStopTest, NoLinkChosenEndsItAfterTheConnection)
{
    BridgeProcess bridge({"-server", "127.0.0.1:" + std::to_string(m_smu.port())});
    m_smu.take();
    EXPECT_EQ(bridge.status(), 0);
    EXPECT_NE(bridge.output().find("Error: connection type undefined"), std::string::npos);
}

TEST_F(StartStopTest, UnreachableMachineIsTriedFiveTimesHalfASecondApart)
{
    launch();
    const Stopwatch trying;
    for (int i = 0; i < 5; ++i)
    {
        ASSERT_NO_FATAL_FAILURE(m_smu.takeConnection());
        m_smu.leave();
    }
    EXPECT_EQ(m_bridge->status(), 255);
    EXPECT_GE(trying.msec(), 2400);
    const std::string server = "127.0.0.1:" + std::to_string(m_smu.port());
    EXPECT_NE(m_bridge->output().find("ERR: unable to connect " + server), std::string::npos);
}

TEST_F(StartStopTest, AnIdentificationWithoutAnAnswerIsTriedAgainAfterFiveSeconds)
{
    launch();
    m_smu.takeUnanswered();
    const Stopwatch waiting;
    m_smu.takeUnanswered();
    EXPECT_GE(waiting.msec(), 5000);
    m_smu.send("00 04 00 00");
    EXPECT_TRUE(m_bridge->prints("Max payload lenght"));
}

TEST_F(StartStopTest, TheMachineIsAtPort2283OfThisHostUnlessAnotherIsNamed)
{
    RawSmu machine("127.0.0.1", 2283);
    if (machine.port() != 2283)
        GTEST_SKIP() << "a machine is there already";
    BridgeProcess bridge({"-socket", m_ip});
    machine.take();
    EXPECT_TRUE(bridge.prints("Max payload lenght"));
}

TEST_F(StartStopTest, ClientLinkThatCannotBeOpened)
{
    const std::vector<std::string> cases[] = {
        {"-socket", "70000"},
        {"-socket", m_ip + ":70000"},
        {"-socket", "10.255.255.1:7000"},
        {"-socket", "1." + std::string(200, '1')},
        {"-uart", "/nowhere"},
    };
    for (const std::vector<std::string> &link : cases)
    {
        SCOPED_TRACE(link[1]);
        BridgeProcess bridge({"-server", "127.0.0.1:" + std::to_string(m_smu.port()), link[0], link[1]});
        m_smu.take();
        EXPECT_EQ(bridge.status(), 0);
        EXPECT_NE(bridge.output().find("LTProto::Init Error"), std::string::npos);
        EXPECT_NE(bridge.output().find("ERR: Unable to open main communication channel"), std::string::npos);
    }
}

TEST_F(StartStopTest, TheSecondBridgeOnAPortFailsAndARestartDoesNot)
{
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    RawSmu machine;
    BridgeProcess second({"-server", "127.0.0.1:" + std::to_string(machine.port()), "-socket", m_ip});
    machine.take();
    EXPECT_EQ(second.status(), 0);
    EXPECT_NE(second.output().find("ERR: Unable to open main communication channel @" + m_ip), std::string::npos);
    m_bridge->signal(SIGKILL); // with its client connected
    m_bridge->status();
    ASSERT_NO_FATAL_FAILURE(startWithClient());
}

TEST_F(StartStopTest, PayloadOutsideItsRangeGivesTheDefault)
{
    const std::pair<const char *, const char *> cases[] = {
        {"0", "50000"}, {"1", "1"}, {"65535", "65535"}, {"65536", "50000"}};
    for (const auto &[payload, effective] : cases)
    {
        launch({"-payload", payload});
        m_smu.take();
        EXPECT_TRUE(m_bridge->prints(std::string("Max payload lenght ") + effective + " bytes"));
        stop();
    }
}

TEST_F(StartStopTest, ArgumentsAreReadAsAFormatWithoutHarm)
{
    ASSERT_NO_FATAL_FAILURE(start({"100%%", "%s%n%999999999d%*d", "50%"}));
    stop();
    EXPECT_NE(m_bridge->output().find(" 100%  50%"), std::string::npos);
}

TEST_F(StartStopTest, LogFileHoldsTheTraceUpToItsSize)
{
    ASSERT_NO_FATAL_FAILURE(start({"-logfile", "bridge.log", "-logdim", "1"}));
    stop();
    const std::string lastLine = readFile(m_bridge->folder() + "/bridge.log");
    EXPECT_EQ(lastLine.substr(lastLine.find(" - ")), " - Program exit\n");
    EXPECT_TRUE(std::filesystem::exists(m_bridge->folder() + "/bridge.log.old"));
}

TEST_F(StartStopTest, ClosedStandardDescriptorsHarmNothing)
{
    launch({}, eKeyboard::closed, [] { close(STDERR_FILENO); });
    m_smu.take();
    ASSERT_TRUE(m_bridge->prints("Max payload lenght"));
    connectClient();
    m_client->send("33 80 00 00 00 09");
    EXPECT_EQ(m_client->receive(), framed("66 FF FF FF FF 11"));
    for (const char *descriptor : {"0", "2"})
    {
        const std::string name = "/proc/" + std::to_string(m_bridge->pid()) + "/fd/" + descriptor;
        EXPECT_EQ(std::filesystem::read_symlink(name), "/dev/null") << "no socket, which the last word would go to";
    }
    m_bridge->signal(SIGTERM);
    EXPECT_EQ(m_bridge->status(), 0);
}

TEST_F(StartStopTest, FolderThatIsGoneGivesAMessage)
{
    const TempFolder outer;
    const std::string gone = outer.path("gone");
    mkdir(gone.c_str(), 0700);
    std::string script = "cd '" + gone + "' && rmdir '" + gone + "' && ";
    for (const std::string &word : BRIDGE_COMMAND)
        script += "'" + word + "' ";
    script += "> ../out; echo $?";
    FILE *shell = popen(script.c_str(), "r");
    char status[16] = {};
    ASSERT_NE(fgets(status, sizeof status, shell), nullptr);
    pclose(shell);
    EXPECT_STREQ(status, "255\n");
}

TEST_F(StartStopTest, VersionAndHelp)
{
    BridgeProcess version({"-socket", "5000", "--version"});
    EXPECT_EQ(version.status(), 0);
    EXPECT_EQ(version.output(), "\n" + BRIDGE_COMMAND.back() + " v1.00.00\n\n");
    BridgeProcess help({"--help"});
    EXPECT_EQ(help.status(), 0);
    EXPECT_NE(help.output().find("-socket"), std::string::npos);
}
