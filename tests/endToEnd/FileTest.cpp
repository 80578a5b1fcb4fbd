// Files through the bridge, both ways, byte by byte.
#include "tests/endToEnd/FileFixture.h"

#include <cstring>
#include <sys/resource.h>

namespace
{

class FileLinkTest : public FileTest, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(, FileLinkTest, testing::Values("Tcp", "Uart"),
                         [](const auto &link) { return std::string(link.param); });

} // namespace

TEST_P(FileLinkTest, FilesOfEverySizePassBothWays)
{
    const bool uart = std::strcmp(GetParam(), "Uart") == 0;
    const u32 large = uart ? 5000 : 50000;
    startLink({}, uart);
    ASSERT_FALSE(HasFatalFailure());
    const std::pair<size_t, u32> cases[] = {{0, 1000},    {1, 1000},    {999, 1000},      {1000, 1000},
                                            {1001, 1000}, {3000, 1000}, {5 << 20U, large}};
    u32 ticket = 0;
    for (const auto &[size, blockLen] : cases)
    {
        SCOPED_TRACE(size);
        const Bytes file = contentOf(size);
        ASSERT_NO_FATAL_FAILURE(upload(file, blockLen, "05 00 07"));
        EXPECT_EQ(readFile(announced(7)), textOf(file));

        const std::string offered = offer("offered", file, "00 00 00 09");
        ASSERT_NO_FATAL_FAILURE(download(file, large, blockLen, "05 00 09"));
        EXPECT_EQ(readFile(offered), textOf(file)); // it stays
        EXPECT_EQ(exchange("33 05 00 0A"), framed("66 FF FF FF FF 80 " + number(ticket, 4)));
        EXPECT_EQ(m_smu.receive(), "90 02 00 00 00 00 00 0a");
        offer("offered", file, "00 00 00 0A");
        ASSERT_NO_FATAL_FAILURE(download(file, large, blockLen, "80 " + number(ticket++, 4)));
    }
}

TEST_F(FileTest, LargestBlocksMoveFiveMegabytesEachWay)
{
    startLink({"-payload", "65535"});
    ASSERT_FALSE(HasFatalFailure());
    const Bytes file = contentOf(5 << 20U);
    EXPECT_EQ(exchange(negotiation(65535, "05 00 07")), framed(negotiation(65535, "FF F6")));
    ASSERT_NO_FATAL_FAILURE(upload(file, 65526, "05 00 07"));
    EXPECT_EQ(readFile(announced(7)), textOf(file));
    offer("offered", file, "00 00 00 09");
    ASSERT_NO_FATAL_FAILURE(download(file, 65526, 65526, "05 00 09"));
}

TEST_F(FileTest, BlocksOfAReceptionKeepTheirOrder)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    const Bytes file = contentOf(2500);
    EXPECT_EQ(exchange(blockOf(file, 1, 1000)), framed("2A 02 00 04")); // no reception
    ASSERT_EQ(exchange(negotiation(1000, "05 00 07")), framed(negotiation(1000, "03 E8")));
    for (u32 nr : {1U, 1U, 2U, 2U})
        EXPECT_EQ(exchange(blockOf(file, nr, 1000)), framed(ACK));
    EXPECT_EQ(exchange(blockOf(file, 1, 1000)), framed("2A 02 00 04")); // neither the next nor the last one
    EXPECT_EQ(exchange(blockOf(file, 3, 1000)), framed(ACK));
    EXPECT_EQ(readFile(announced(7)), textOf(file));
    EXPECT_EQ(exchange(blockOf(file, 3, 1000)), framed("2A 02 00 04")); // it is over
}

TEST_F(FileTest, WhatIsNoNegotiationIsRefused)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    for (const char *what :
         {"03 E8 05 00 00", "00 00 05 00 07", "03 E8 06 00 07", "03 E8 80 00 00 00 05", "03 E8 80 00 00"})
        EXPECT_EQ(exchange("AA 00 00 00 " + std::string(what)), framed("2A 02 00 03")) << what;
    EXPECT_EQ(exchange("AA 00 00 00 03 E8 03 E8"), framed("2A 02 00 06"));
    EXPECT_EQ(received(), std::vector<std::string>{"index.dat"});
    // A file that the client told of goes under the ticket that is its id.
    EXPECT_EQ(exchange("66 FF FF FF FE 05 00 00 00 07 05 00 00 00 07"), framed(ACK));
    ASSERT_NO_FATAL_FAILURE(upload(contentOf(10), 1000, "80 00 00 00 07"));
    EXPECT_EQ(readFile(announced(7)), textOf(contentOf(10)));
}

TEST_F(FileTest, AReceptionThatIsCutOffLeavesNothing)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    const auto begin = [this]
    {
        ASSERT_EQ(exchange(negotiation(1000, "05 00 07")), framed(negotiation(1000, "03 E8")));
        ASSERT_EQ(exchange(blockOf(contentOf(2000), 1, 1000)), framed(ACK));
        EXPECT_EQ(received().size(), 3U); // the mark, the file, the index
    };
    begin();
    m_client->send(ACK); // a link command ends it
    ASSERT_TRUE(m_bridge->prints("60 00 05 2A 01"));
    EXPECT_EQ(exchange(blockOf(contentOf(2000), 2, 1000)), framed("2A 02 00 04"));
    EXPECT_EQ(received(), std::vector<std::string>{"index.dat"});
    begin();
    begin(); // so does a new negotiation
    m_client->leave();
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    EXPECT_EQ(received(), std::vector<std::string>{"index.dat"});
    EXPECT_EQ(readFile(m_received + "index.dat"), "");
}

TEST_F(FileTest, AFileThatIsNotTakenIsGivenUpAndDeleted)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    const Bytes file = contentOf(2500);
    for (const bool clientLeaves : {false, true})
    {
        const std::string path = offer("offered", file, "00 00 00 09");
        EXPECT_EQ(exchange(ACK), framed(negotiation(50000, "05 00 09")));
        m_client->send("AA 00 00 00 C3 50 03 E8");
        for (int i = 0; i < 4; ++i)
        {
            EXPECT_EQ(reply(), blockOf(file, 1, 1000));
            if (i < 3 || !clientLeaves)
                m_client->send(NACK);
        }
        if (clientLeaves)
            m_client->leave();
        EXPECT_TRUE(m_bridge->prints(clientLeaves ? "From Client: Link status down" : "Sending file abort"));
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(FileTest, TheFileOfAClientThatLeftIsNotGivenToTheNextOne)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(exchange("33 05 00 09"), framed("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(m_smu.receive(), "90 02 00 00 00 00 00 09");
    m_client->leave();
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    ASSERT_NO_FATAL_FAILURE(connectClient());
    m_folder.write("late", "secret");
    Bytes message = Hex("90 02 00 00 00 00 00 09");
    const std::string path = m_folder.path("late");
    message.insert(message.end(), path.begin(), path.end());
    m_smu.sendRaw(consoleFrame(message));
    ASSERT_TRUE(m_bridge->prints("came too late for a client that left"));
    EXPECT_FALSE(std::filesystem::exists(path));
    offer("offered", contentOf(10), "00 00 00 09"); // of the machine's own accord
    ASSERT_NO_FATAL_FAILURE(download(contentOf(10), 50000, 50000, "05 00 09"));
}

TEST_F(FileTest, WhatIsNoFileArrivesEmpty)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(mkfifo(m_folder.path("pipe").c_str(), 0600), 0);
    for (const std::string &name : {std::string("missing"), std::string("pipe"), std::string()})
    {
        announce(m_folder.path(name), "00 00 00 09");
        ASSERT_NO_FATAL_FAILURE(download({}, 50000, 50000, "05 00 09"));
    }
    EXPECT_EQ(exchange("33 05 00 09"), framed("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(m_smu.receive(), "90 02 00 00 00 00 00 09");
    announce("x", "00 00 00 09"); // a name of one byte: the machine has no such file
    ASSERT_NO_FATAL_FAILURE(download({}, 50000, 50000, "80 00 00 00 00"));
    EXPECT_TRUE(std::filesystem::exists(m_folder.path("pipe")));
}

TEST_F(FileTest, ARestartKeepsWhatTheIndexListsAndADamagedOneLosesNothing)
{
    struct Case
    {
        const char *file;
        std::string content;
        std::vector<std::string> kept;
    };
    const std::string known("\x07\0\0\0\x01\0\0\x5F", 8), gone("\x07\0\0\0\x02\0\0\x5F", 8);
    const Case cases[] = {
        {"index.dat", known + gone, {"5f000001.tmp", "index.dat"}},
        {"index.dat", known + "abc", {"5f000001.tmp", "5f000003.tmp", "index.bad", "index.dat"}},
        {"index.dat", std::string(16, '\xFF'), {"5f000001.tmp", "5f000003.tmp", "index.bad", "index.dat"}},
        {"index.bad", "set aside", {"5f000001.tmp", "5f000003.tmp", "index.bad", "index.dat"}}, // then the power went
    };
    for (const Case &test : cases)
    {
        SCOPED_TRACE(test.content);
        const TempFolder folder;
        m_received = folder.path("BridgeTemp/");
        std::filesystem::create_directory(m_received);
        folder.write(std::string("BridgeTemp/") + test.file, test.content);
        for (const char *name : {"5f000001.tmp", "5f000003.tmp", "stray.tmp"})
            folder.write(std::string("BridgeTemp/") + name, name);
        // Twice: what was kept once is kept for good.
        for (int i = 0; i < 2; ++i)
        {
            RawSmu smu;
            BridgeProcess bridge({"-server", "127.0.0.1:" + std::to_string(smu.port()), "-socket", m_ip},
                                 BridgeProcess::eKeyboard::pipe, folder.path());
            smu.take();
            ASSERT_TRUE(bridge.prints("received files kept"));
            EXPECT_EQ(received(), test.kept);
        }
        const bool listed = test.content.starts_with(known);
        EXPECT_EQ(readFile(m_received + "index.dat").substr(listed ? 0 : 16, 8), listed ? known : "");
    }
}

TEST_F(FileTest, OnAFullDiskEveryAcknowledgedByteIsThere)
{
    rlimit unlimited = {};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit full{2500, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full); // of the bridge that starts now
    startLink();
    setrlimit(RLIMIT_FSIZE, &unlimited);
    ASSERT_FALSE(HasFatalFailure());
    const Bytes file = contentOf(4000);
    ASSERT_EQ(exchange(negotiation(1000, "05 00 07")), framed(negotiation(1000, "03 E8")));
    for (u32 nr : {1U, 2U})
        EXPECT_EQ(exchange(blockOf(file, nr, 1000)), framed(ACK));
    EXPECT_EQ(exchange(blockOf(file, 3, 1000)), framed("2A 02 00 03")); // only a half of it fits
    EXPECT_EQ(readFile(m_received + received().at(1)), textOf({file.begin(), file.begin() + 2000}));
    EXPECT_EQ(exchange("33 06 00 00 00 04"), framed("66 FF FF FF FF 80 00 00 00 00")); // values go on
}

TEST_F(FileTest, ASecondBridgeInTheFolderRefusesFilesTouchesNothingAndRelaysAllElse)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    const Bytes file = contentOf(10);
    ASSERT_NO_FATAL_FAILURE(upload(file, 1000, "05 00 07"));
    const std::string path = announced(7);
    awaitFreshRecord();
    m_folder.write("stray", ""); // and one in the folder that a restart would delete
    std::filesystem::rename(m_folder.path("stray"), m_received + "00000001.tmp");
    const std::vector<std::string> before = received();

    RawSmu machine;
    const std::string ip = m_ip.substr(0, m_ip.rfind('.')) + ".254";
    BridgeProcess second({"-server", "127.0.0.1:" + std::to_string(machine.port()), "-socket", ip},
                         BridgeProcess::eKeyboard::pipe, m_bridge->folder());
    machine.take();
    EXPECT_TRUE(second.prints("is another bridge's: files of the client are refused\n"));
    ASSERT_TRUE(second.prints("Max payload lenght"));
    RawClient client(ip, CLIENT_PORT);
    EXPECT_EQ(machine.receive(), LINK_UP);
    client.send(negotiation(1000, "05 00 07"));
    EXPECT_EQ(client.receive(), framed("2A 02 00 03"));
    client.send("33 06 00 00 00 04");
    EXPECT_EQ(client.receive(), framed("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(received(), before);
    EXPECT_EQ(readFile(path), textOf(file));
}

TEST_F(FileTest, WhatTheBridgeMakesIsForOwnerAndGroupAlone)
{
    struct Row
    {
        const char *name;
        mode_t callersMask;
        mode_t folder, file;
    };
    for (const Row &row : {Row{"open caller", 0, 0750, 0640}, Row{"strict caller", 077, 0700, 0600}})
    {
        SCOPED_TRACE(row.name);
        const mode_t before = umask(row.callersMask); // of the bridge that starts now
        startLink({"-logfile", "bridge.log"});
        umask(before);
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_NO_FATAL_FAILURE(upload({}, 1000, "05 00 07"));
        EXPECT_EQ(modeOf(announced(7)), row.file);
        EXPECT_EQ(modeOf(m_received + "index.dat"), row.file);
        EXPECT_EQ(modeOf(m_received), row.folder);
        EXPECT_EQ(modeOf(m_bridge->folder() + "/bridge.log"), row.file);
        m_client->leave();
        stop();
    }
}

TEST_F(FileTest, WithoutAFolderFilesAreRefusedAndValuesGoOn)
{
    startLink();
    ASSERT_FALSE(HasFatalFailure());
    std::filesystem::remove_all(m_received);
    EXPECT_EQ(exchange(negotiation(1000, "05 00 07")), framed("2A 02 00 03"));
    EXPECT_TRUE(m_bridge->prints("File id 7 cannot be received"));
    EXPECT_EQ(exchange("33 06 00 00 00 04"), framed("66 FF FF FF FF 80 00 00 00 00"));
}
