// The folder of received files through crashes, damage, and what others do in it.
#include "tests/endToEnd/FileFixture.h"

namespace
{

using Names = std::vector<std::string>;

class KeptFilesTest : public FileTest
{
  protected:
    std::string writeReceived(const std::string &name, const std::string &content = "") const
    {
        m_folder.write("BridgeTemp/" + name, content);
        return m_received + name;
    }

    // The bridge has noted that the machine was told of what was announced.
    void awaitRest() { awaitFreshRecord(); }

    // The machine reads no more, and the bridge finds out.
    void fillMachinesLink()
    {
        Bytes value = Hex("66 FF FF FF FE 06 00 00 00 0B 10");
        value.resize(49000);
        for (int i = 0; i < 12; ++i)
            ASSERT_EQ(exchange(Framed(value)), framed(ACK));
        ASSERT_TRUE(m_bridge->prints("The machine takes no messages"));
    }

    void refuseFirstBlock(const std::string &path)
    {
        announce(path, "00 00 00 09");
        ASSERT_EQ(exchange(ACK), framed(negotiation(50000, "05 00 09")));
        m_client->send(negotiation(50000, "03 E8"));
        for (int i = 0; i < 4; ++i)
        {
            reply();
            m_client->send(NACK);
        }
        ASSERT_TRUE(m_bridge->prints("Sending file abort"));
    }

    // The machine answers with this file when the client that asked has left.
    void answerLate(const std::string &path)
    {
        ASSERT_EQ(exchange("33 05 00 09"), framed("66 FF FF FF FF 80 00 00 00 00"));
        ASSERT_EQ(m_smu.receive(), "90 02 00 00 00 00 00 09");
        m_client->leave();
        ASSERT_EQ(m_smu.receive(), LINK_DOWN);
        ASSERT_NO_FATAL_FAILURE(connectClient());
        Bytes message = Hex("90 02 00 00 00 00 00 09");
        message.insert(message.end(), path.begin(), path.end());
        m_smu.sendRaw(consoleFrame(message));
        ASSERT_TRUE(m_bridge->prints("came too late for a client that left"));
    }
};

} // namespace

// ---- Through a crash.

TEST_F(KeptFilesTest, AReceptionThatTheCrashCutOffLeavesNothing)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(exchange(negotiation(1000, "05 00 07")), framed(negotiation(1000, "03 E8")));
    ASSERT_EQ(exchange(blockOf(contentOf(2000), 1, 1000)), framed(ACK));
    ASSERT_NO_FATAL_FAILURE(startAgainWithClient()); // the first that the machine hears of is the client
    EXPECT_EQ(received(), Names{"index.dat"});
    EXPECT_EQ(readFile(m_received + "index.dat"), "");
}

TEST_F(KeptFilesTest, AFileThatTheMachineWasNotToldOfIsAnnouncedAfterTheCrash)
{
    m_smu.receiveLittle();
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_NO_FATAL_FAILURE(upload(contentOf(10), 1000, "05 00 07"));
    const std::string told = announced(7);
    awaitRest();
    ASSERT_NO_FATAL_FAILURE(fillMachinesLink());
    ASSERT_NO_FATAL_FAILURE(upload(contentOf(2000), 1000, "05 00 08"));
    ASSERT_NO_FATAL_FAILURE(startAgain());
    const std::string untold = announced(8);
    EXPECT_EQ(readFile(untold), textOf(contentOf(2000)));
    awaitRest();
    EXPECT_EQ(received(), (Names{told.substr(m_received.size()), untold.substr(m_received.size()), "index.dat"}));
    startAgainWithClient(); // nothing is announced any more
}

TEST_F(KeptFilesTest, AStartDoesWhatTheMarksSay)
{
    struct Row
    {
        const char *name;
        Names before;
        std::string index;
        Names after;
        bool isAnnounced;
    };
    const std::string known("\x07\0\0\0\x01\0\0\x5F", 8);
    const Row rows[] = {
        {"not told", {"5f000001.tmp", "5f000001.untold"}, known, {"5f000001.tmp", "index.dat"}, true},
        {"not whole", {"5f000001.tmp", "5f000001.partial"}, known, {"index.dat"}, false},
        {"no mark", {"5f000001.tmp"}, known, {"5f000001.tmp", "index.dat"}, false},
        {"no file", {"5f000001.untold", "5f000002.partial"}, known, {"index.dat"}, false},
        {"no index", {"5f000001.tmp", "5f000001.untold"}, "", {"5f000001.tmp", "5f000001.untold", "index.dat"}, false},
        {"no id",
         {"5f000001.tmp", "5f000001.untold"},
         known.substr(1),
         {"5f000001.tmp", "5f000001.untold", "index.bad", "index.dat"},
         false},
    };
    m_received = m_folder.path("BridgeTemp/");
    for (const Row &row : rows)
    {
        SCOPED_TRACE(row.name);
        std::filesystem::remove_all(m_received);
        std::filesystem::create_directory(m_received);
        writeReceived("index.dat", row.index);
        for (const std::string &name : row.before)
            writeReceived(name);
        ASSERT_NO_FATAL_FAILURE(startAgain());
        if (row.isAnnounced)
        {
            EXPECT_EQ(announced(7), m_received + "5f000001.tmp");
        }
        ASSERT_NO_FATAL_FAILURE(connectClient());
        EXPECT_EQ(received(), row.after);
    }
}

TEST_F(KeptFilesTest, AFileThatCannotBeKeptIsNotAcknowledged)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_EQ(exchange(negotiation(1000, "05 00 07")), framed(negotiation(1000, "03 E8")));
    std::filesystem::remove(m_received + received().front()); // its mark
    EXPECT_EQ(exchange(blockOf(contentOf(10), 1, 1000)), framed("2A 02 00 03"));
    EXPECT_EQ(exchange(blockOf(contentOf(10), 1, 1000)), framed("2A 02 00 04")); // it is over
    EXPECT_EQ(received(), Names{"index.dat"});
}

// ---- Of what others do.

TEST_F(KeptFilesTest, WhatIsTheBridgesOwnIsDeletedOnNobodysWordHoweverItIsSpelled)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    std::filesystem::create_directory_symlink(m_received, m_folder.path("link"));
    std::filesystem::create_hard_link(m_received + "index.dat", m_folder.path("second name"));
    for (const char *name :
         {"index.dat.new", "index.bad", "5f000001.tmp", "5f000001.untold", "5f000002.partial", "5f000003.tmp"})
        writeReceived(name);
    const std::pair<std::string, bool> rows[] = {
        {m_received + "index.dat", true},        {m_folder.path("BridgeTemp/../BridgeTemp/index.dat"), true},
        {m_folder.path("link/index.dat"), true}, {m_folder.path("second name"), true},
        {m_received + "index.dat.new", true},    {m_received + "index.bad", true},
        {m_received + "5f000001.untold", true},  {m_folder.path("link/5f000002.partial"), true},
        {m_received + "5f000001.tmp", true}, // the machine was not told of it
        {m_received + "5f000003.tmp", false},    {"BridgeTemp/index.dat", true},
    };
    for (const auto &[path, stays] : rows)
        announce(path, "00 00 00 09");
    m_client->leave();
    EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    for (const auto &[path, stays] : rows)
        EXPECT_EQ(std::filesystem::exists(std::filesystem::path(m_folder.path()) / path), stays) << path;
}

TEST_F(KeptFilesTest, NeitherARefusedFileNorALateOneTakesTheIndexAlong)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_NO_FATAL_FAILURE(refuseFirstBlock(writeReceived("index.bad", std::string(2000, 'x'))));
    ASSERT_NO_FATAL_FAILURE(answerLate(m_received + "index.dat"));
    EXPECT_EQ(received(), (Names{"index.bad", "index.dat"}));
}

TEST_F(KeptFilesTest, ALinkInThePlaceOfTheNewIndexGoesAndNotWhatItPointsTo)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    m_folder.write("target", "kept");
    std::filesystem::create_symlink(m_folder.path("target"), m_received + "index.dat.new");
    ASSERT_NO_FATAL_FAILURE(upload(contentOf(10), 1000, "05 00 07"));
    EXPECT_EQ(readFile(announced(7)), textOf(contentOf(10)));
    EXPECT_EQ(m_folder.read("target"), "kept");
}
