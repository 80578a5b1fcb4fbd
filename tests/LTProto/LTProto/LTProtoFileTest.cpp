// Bounds of the file queue, and transfers that cannot go on.
#include "tests/LTProto/LTProto/EngineFixture.h"
#include "tests/TempFolder.h"

namespace
{

using namespace LTProtocol;

class FileQueueTest : public EngineTest
{
  protected:
    Tools::MemoryBuffer FileOf(const std::string &content)
    {
        m_folder.write("file", content);
        return Tools::MemoryBuffer(m_folder.path("file"));
    }

    bool Offer(u16 fileId, const Tools::MemoryBuffer &name) { return m_engine->FileSend(fileId, u8{0}, name); }

    TempFolder m_folder;
};

} // namespace

TEST_F(FileQueueTest, HoldsSixtyFourFilesAndNoneThatCannotBeNamed)
{
    const Tools::MemoryBuffer name = FileOf("x");
    EXPECT_FALSE(Offer(65535, name)); // its negotiation has no room for the id
    EXPECT_FALSE(Offer(9, Tools::MemoryBuffer()));
    for (u16 i = 0; i < LTProto::QUEUE_FILES_MAX; ++i)
        ASSERT_TRUE(Offer(i, name));
    EXPECT_FALSE(Offer(9, name));
    EXPECT_TRUE(m_folder.holds("file"));
    m_engine->ClientDisconnect();
    EXPECT_FALSE(m_folder.holds("file"));
}

TEST_F(FileQueueTest, TheFileThatTheClientAskedForTravelsUnderItsTicketWhateverItsId)
{
    Feed("33 05 FF FF");
    Sent();
    ASSERT_TRUE(Offer(65535, FileOf("content")));
    FeedAck();
    EXPECT_EQ(Sent(), FramedHex("AA 00 00 00 00 64 80 00 00 00 00"));
    Feed("AA 00 00 00 00 64 00 04");
    FeedAck();
    EXPECT_EQ(Sent(), FramedHex("AA 00 00 01 63 6F 6E 74") + "\n" + FramedHex("AA FF FF FF 65 6E 74"));
    Feed("33 80 00 00 00 00"); // the ticket went with the last block
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 11"));
}

TEST_F(FileQueueTest, FilesGoBeforeValuesAndAFinishedOneSendsNothingMore)
{
    ASSERT_TRUE(Offer(9, FileOf("ab")));
    Value(1);
    EXPECT_EQ(Sent(), "");
    FeedAck();
    EXPECT_EQ(Sent(), FramedHex("AA 00 00 00 00 64 05 00 09"));
    Feed("AA 00 00 00 00 64"); // cut short: the length that was asked for stays
    EXPECT_EQ(Sent(), FramedHex("AA FF FF FF 61 62"));
    FeedAck();
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FE 06 00 00 00 01 01 00 00 00 00"));
    EXPECT_TRUE(m_folder.holds("file"));
}

TEST_F(FileQueueTest, TransfersThatCannotGoOnAreDropped)
{
    FileToSend file(TICKET_SPONTANEOUS, eDataType::FILE_ID, 9, 1, FileOf("abc"));
    file.PacketFill(0);
    file.m_packetNr = BLOCK_NR_LAST - 2;
    EXPECT_EQ(HexText(file.PacketFill(2)), "ff ff fd 61"); // never more than was asked for
    EXPECT_EQ(file.PacketFill(0).m_len, 0U);               // its number would be that of the last block
    FileToSend finished(TICKET_SPONTANEOUS, eDataType::FILE_ID, 9, 100, FileOf("abc"));
    finished.PacketFill(0);
    EXPECT_EQ(HexText(finished.PacketFill(0)), "ff ff ff 61 62 63");
    EXPECT_EQ(finished.PacketFill(0).m_len, 0U);
    ASSERT_TRUE(Offer(9, Tools::MemoryBuffer("/proc/self/mem"))); // opens, but cannot be read
    ASSERT_TRUE(Offer(10, FileOf("abc")));
    FeedAck();
    Sent();
    Feed("AA 00 00 00 00 64 00 64");
    EXPECT_EQ(Sent(), "");
    FeedAck();
    EXPECT_EQ(Sent(), FramedHex("AA 00 00 00 00 64 05 00 0A"));
}

TEST_F(FileQueueTest, TheNegotiationOfAFileThatTheBridgeAskedForAnswersItsRequest)
{
    const std::string request = FramedHex("33 05 00 07");
    ASSERT_TRUE(m_engine->RequestEnqueue(eDataType::FILE_ID, 7));
    for (const char *offered : {"08", "07"})
    {
        Feed(std::string("AA 00 00 00 00 64 05 00 ") + offered);
        Sent();
        FeedAck();
        EXPECT_EQ(Sent(), *(offered + 1) == '8' ? request : "");
    }
    Feed("33 06 00 00 00 07");
    Sent();
    Feed("AA 00 00 00 00 64 80 00 00 00 01"); // the ticket of a variable names no file
    EXPECT_EQ(Sent(), FramedHex("2A 02 00 03"));
}

TEST_F(FileQueueTest, TheLateAnswerForAClientThatLeftIsDeletedOnce)
{
    struct Case
    {
        const char *name;
        u64 later; // milliseconds after the client left
        std::function<void()> before;
        u16 fileId;
        bool isLate;
    };
    const auto nothing = [] {};
    const Case cases[] = {
        {"at once", 0, nothing, 9, true},
        {"just in time", 59999, nothing, 9, true},
        {"a minute later", 60000, nothing, 9, false},
        {"the second one", 0, [this] { Offer(9, FileOf("first")); }, 9, false},
        {"behind the word that there is none", 0, [this] { Offer(9, {}); }, 9, false},
        {"asked for by the next client", 0, [this] { Feed("33 05 00 09"); }, 9, false},
        {"of its own accord after that", 0,
         [this]
         {
             Feed("33 05 00 09");
             m_engine->TicketRemove(2); // answered
         },
         9, false},
        {"a number that was asked for and answered", 0, nothing, 10, false},
        {"a number that nobody asked for", 0, nothing, 11, false},
        {"the next client left as well", 30000, [this] { m_engine->ClientDisconnect(); }, 9, true},
    };
    for (const Case &c : cases)
    {
        SCOPED_TRACE(c.name);
        Start(eComType::SOCKET_MAIN);
        Feed("33 05 00 09");
        Feed("33 05 00 0A");
        ASSERT_TRUE(Offer(10, FileOf("queued")));
        m_engine->ClientDisconnect();
        s_nowMSec += c.later;
        c.before();
        EXPECT_EQ(Offer(c.fileId, FileOf("ab")), !c.isLate);
        EXPECT_EQ(m_folder.holds("file"), !c.isLate);
        Sent();
        FeedAck();
        EXPECT_EQ(Sent().empty(), c.isLate);
    }
}

TEST_F(FileQueueTest, AFileThatIsRefusedFreesItsTicketSoThatItCanBeAskedForAgain)
{
    const Tools::MemoryBuffer name = FileOf("x");
    for (u16 i = 0; i < LTProto::QUEUE_FILES_MAX; ++i)
        ASSERT_TRUE(Offer(1000, name));
    Feed("33 05 00 09");
    EXPECT_FALSE(Offer(9, name));
    Sent();
    Feed("33 80 00 00 00 00");
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 11"));
    EXPECT_EQ(Feed("33 05 00 09"), eReceiveResult::FileRequest);
    EXPECT_EQ(Sent(), FramedHex("66 FF FF FF FF 80 00 00 00 01"));
}

TEST_F(FileQueueTest, AValueThatWaitedForAReceptionLeavesByItselfWhenItsTimeIsOver)
{
    const std::string first = FramedHex("66 FF FF FF FE 06 00 00 00 01 01 00 00 00 00");
    const std::string second = FramedHex("66 FF FF FF FE 06 00 00 00 02 01 00 00 00 00");
    for (const bool blockCame : {true, false})
        for (const bool waits : {true, false}) // or the machine sends it after the time
        {
            SCOPED_TRACE(std::to_string(blockCame) + std::to_string(waits));
            Start(eComType::SOCKET_MAIN);
            Feed("AA 00 00 00 00 04 05 00 07");
            if (blockCame)
                Feed("AA 00 00 01 61 62 63 64");
            if (waits)
                Value(1);
            Sent();
            s_nowMSec += 10000;
            EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::Unknown);
            ++s_nowMSec;
            if (!waits)
                Value(1);
            EXPECT_EQ(m_engine->OnCycle(), waits ? eReceiveResult::PacketSended : eReceiveResult::Unknown);
            EXPECT_EQ(Sent(), first);
            Value(2); // it waits for the client's word on the first
            EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::Unknown);
            EXPECT_EQ(Sent(), "");
            FeedAck();
            EXPECT_EQ(Sent(), second);
        }
    Start(eComType::UART_MAIN); // there the client is polled
    Feed("AA 00 00 00 00 04 05 00 07");
    Value(1);
    Sent();
    s_nowMSec += 10001;
    EXPECT_EQ(m_engine->OnCycle(), eReceiveResult::Unknown);
    EXPECT_EQ(Sent(), "");
}

TEST_F(FileQueueTest, AFullListOfReceivedFilesTakesTheNextAsSoonAsOneIsGone)
{
    constexpr u32 FILES_MAX = 65536;
    constexpr u32 FIRST = 0x1000;
    const std::string folder = "BridgeTemp/";
    std::ofstream index(folder + "index.dat");
    for (u32 number = FIRST; number < FIRST + FILES_MAX; ++number)
    {
        const RcvFile entry{7, number, true};
        std::ofstream(folder + entry.FileNameAsString()).flush();
        index.write(reinterpret_cast<const char *>(&entry.m_key), 4);
        index.write(reinterpret_cast<const char *>(&entry.m_fileName), 4);
    }
    index.close();
    m_engine->ReceiveFilesRestore();
    for (int i = 0; i < 2; ++i)
    {
        Feed("AA 00 00 00 00 64 05 00 07");
        EXPECT_EQ(Sent(), FramedHex("2A 02 00 03"));
    }
    std::filesystem::remove(folder + RcvFile{7, FIRST, true}.FileNameAsString());
    Feed("AA 00 00 00 00 64 05 00 07");
    EXPECT_EQ(Sent(), FramedHex("AA 00 00 00 00 64 00 64"));
    std::filesystem::remove_all(folder);
}
