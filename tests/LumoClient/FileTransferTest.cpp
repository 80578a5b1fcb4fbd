#include "LumoClient/FileTransfer.h"

#include "LTProto/Tools/Hex.h"

#include "tests/LumoClient/ScriptedChannel.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using namespace LumoClient;

constexpr u32 POLL_MSEC = 250;
const std::string ORDER_NACK = "2A 02 00 04";
const std::string FILE_NACK = "2A 02 00 03";
const std::string ASK_TO_SEND = "AA 00 00 00 00 02 05 00 07";
const std::string GRANTED_2 = "AA 00 00 00 00 02 00 02";
const std::string AB = "AA 00 00 01 61 62";
const std::string CD = "AA 00 00 02 63 64";
const std::string LAST_EMPTY = "AA FF FF FF";
const std::string GET_7 = "33 05 00 07";
const std::string NOTICE_1 = "66 FF FF FF FF 80 00 00 00 01";
const std::string OFFER_8 = "AA 00 00 00 00 08 80 00 00 00 01"; // blocks of 8 bytes, under ticket 1
const std::string GRANT_2_OF_8 = "AA 00 00 00 00 08 00 02";

class FileTransferTest : public ScriptedLinkTest
{
  protected:
    ~FileTransferTest() override
    {
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.path()), {}), m_filesLeft);
    }

    TransferResult Upload(const std::string &content, const std::string &contentThen = "")
    {
        m_folder.write("source", content);
        std::optional<SourceFile> file = SourceFile::open(m_folder.path("source"));
        if (!contentThen.empty())
            m_folder.write("source", contentThen);
        return m_transfer.upload(7, *file, m_bar);
    }
    TransferResult Download() { return m_transfer.download(7, m_folder.path("target"), m_bar); }

    // Up to the answer to the bridge's negotiation.
    ScriptedChannel &PolledNegotiation()
    {
        return m_bridge->polled().expect(GET_7).arrive({NOTICE_1}).expect(ACK).arrive({OFFER_8}).expect(GRANT_2_OF_8);
    }
    ScriptedChannel &Negotiated()
    {
        return m_bridge->expect(GET_7).arrive({NOTICE_1}).expect(POLLING).arrive({OFFER_8}).expect(GRANT_2_OF_8);
    }

    TempFolder m_folder;
    int m_filesLeft = 1;
    volatile std::sig_atomic_t m_stop = 0;
    ProgressBar m_bar{"test", std::nullopt};
    FileTransfer m_transfer{m_link, {2, 3000}, m_stop};
};

TEST_F(FileTransferTest, UploadEndsWithAnEmptyBlockAndLeavesCrossingPollsUnanswered)
{
    m_bridge->expect(ASK_TO_SEND).arrive({POLLING, GRANTED_2}).expect(AB).arrive({POLLING}).arrive({ACK});
    m_bridge->expect(CD).arrive({ACK}).expect(LAST_EMPTY).arrive({ACK});
    const TransferResult result = Upload("abcd");
    EXPECT_EQ(Tools::ToHex(result.digest.data(), 16, 0), "e2fc714c4727ee9395f324cd2e7f331f");
}

TEST_F(FileTransferTest, UploadTakesTheLengthGrantedAndSendsAgainWhatWasDamagedOrNotAnswered)
{
    m_bridge->expect(ASK_TO_SEND).arrive({"AA 00 00 00 00 02 00 01"});
    m_bridge->expect("AA 00 00 01 61").arrive({CHECKSUM_NACK}).expect("AA 00 00 01 61").arrive({ACK});
    std::vector<u8> damaged = Framed(ACK);
    damaged.back() ^= 1; // asking for it again would end the reception
    m_bridge->expect("AA 00 00 02 62").arriveRaw(damaged).expect("AA 00 00 02 62").arrive({ACK}).arrive({ACK});
    m_bridge->expect(LAST_EMPTY).arrive({ACK});
    EXPECT_EQ(Upload("ab").result, eResult::done);
    EXPECT_GE(GapBeforeWrite(4), 3000u);
}

TEST_F(FileTransferTest, UploadTakesARefusedRepetitionOfTheLastBlockForItsAck)
{
    m_bridge->expect(ASK_TO_SEND).arrive({GRANTED_2}).expect("AA FF FF FF 61").expect("AA FF FF FF 61");
    m_bridge->arrive({ORDER_NACK});
    const TransferResult result = Upload("a");
    EXPECT_EQ(result.result, eResult::done);
    EXPECT_NE(result.text.find("most likely"), std::string::npos);
}

TEST_F(FileTransferTest, UploadSaysWhyItWasRefusedAndEndsTheReception)
{
    m_bridge->expect(ASK_TO_SEND).arrive({FILE_NACK}).expect(POLLING);
    EXPECT_NE(Upload("a").text.find("NACK 3: the file cannot be opened"), std::string::npos);
    m_bridge->expect(ASK_TO_SEND).arrive({GRANTED_2}).expect(POLLING);
    EXPECT_EQ(Upload("ab", "a").result, eResult::fileFailed) << "changed meanwhile";
}

TEST_F(FileTransferTest, DownloadAcknowledgesARepetitionAndRefusesWhatIsOutOfOrder)
{
    Negotiated().arrive({AB}).expect(ACK).arrive({AB}).expect(ACK).arrive({"AA 00 00 03 65 66"}).expect(ORDER_NACK);
    m_bridge->arrive({CD}).expect(ACK).arrive({LAST_EMPTY}).expect(ACK);
    EXPECT_EQ(Download().result, eResult::done);
    EXPECT_EQ(GapBeforeWrite(1), FILE_POLL_MSEC);
    EXPECT_EQ(m_folder.read("target"), "abcd");
}

TEST_F(FileTransferTest, DownloadRefusesOtherFilesAndLivesWithAPollingThatCrossedTheNegotiation)
{
    m_bridge->expect(GET_7).arrive({NOTICE_1}).expect(POLLING).arrive({"AA 00 00 00 00 08 05 00 09"}).expect(FILE_NACK);
    m_bridge->expect(POLLING).arrive({OFFER_8, "AA 00 00 01 61 62 63 64 65 66 67 68"}).expect(GRANT_2_OF_8);
    m_bridge->arrive({"2A 02 00 06"}).expect(ACK).arrive({LAST_EMPTY}).expect(ACK);
    EXPECT_EQ(Download().size, 8u);
}

// A file that the machine does not have comes as an empty one.
TEST_F(FileTransferTest, ADownloadOfNothingOrCutOffLeavesWhatWasThere)
{
    m_folder.write("target", "old");
    Negotiated().arrive({LAST_EMPTY}).expect(ACK);
    EXPECT_EQ(Download().result, eResult::refused);
    Negotiated().arrive({AB}).expect(ACK).hangUp();
    EXPECT_EQ(Download().result, eResult::linkLost);
    EXPECT_EQ(m_folder.read("target"), "old");
}

TEST_F(FileTransferTest, AReceptionThatIsStoppedRefusesTheBlockUntilTheBridgeDropsIt)
{
    m_stop = 1;
    m_filesLeft = 0;
    m_bridge->expect(GRANT_2_OF_8);
    for (int i = 0; i < 4; ++i)
        m_bridge->arrive({AB}).expect(FILE_NACK);
    EXPECT_EQ(m_transfer.receive({8}, m_folder.path("target"), m_bar).result, eResult::stopped);
}

TEST_F(FileTransferTest, OnAPolledLineTheReplyIsRepeatedForAPollThatDidNotCrossItOnceTheLineIsQuiet)
{
    PolledNegotiation()
        .arrive({POLLING})
        .pass(POLL_MSEC)
        .arrive({POLLING})
        .expect(GRANT_2_OF_8)
        .arrive({AB})
        .expect(ACK);
    m_bridge->pass(POLL_MSEC).arrive({POLLING}).expect(ACK);
    std::vector<u8> cutOff = Framed(CD);
    cutOff.pop_back();
    m_bridge->arriveRaw(cutOff).expect(CHECKSUM_NACK).arrive({CD}).expect(ACK).arrive({LAST_EMPTY}).expect(ACK);
    EXPECT_EQ(Download().result, eResult::done);
    EXPECT_EQ(GapBeforeWrite(5), POLL_MSEC + POLL_PAUSE_MSEC);
    EXPECT_EQ(GapBeforeWrite(6), PARTIAL_POLLED_MSEC);
}

// Behind one poll the bridge repeats what may be missing before the last block; behind two it is asked.
TEST_F(FileTransferTest, OnAPolledLineTheLastBlockIsTakenWhenNoneCanBeMissingBeforeIt)
{
    PolledNegotiation().arrive({AB}).expect(ACK).pass(POLL_MSEC).arrive({POLLING}).expect(ACK);
    m_bridge->arrive({LAST_EMPTY}).expect(ACK);
    EXPECT_EQ(Download().size, 2u);
    for (const bool isMissing : {false, true})
    {
        PolledNegotiation().arrive({AB}).expect(ACK).pass(POLL_MSEC).arrive({POLLING}).expect(ACK);
        m_bridge->pass(POLL_MSEC).arrive({POLLING}).expect(ACK).arrive({LAST_EMPTY}).expect(ORDER_NACK);
        if (isMissing)
            m_bridge->arrive({CD}).expect(ACK);
        m_bridge->arrive({LAST_EMPTY}).expect(ACK);
        EXPECT_EQ(Download().result, eResult::done);
        EXPECT_EQ(m_folder.read("target"), isMissing ? "abcd" : "ab");
    }
}

TEST_F(FileTransferTest, OnAPolledLineABlockIsSentAgainForAPollThatDidNotCrossIt)
{
    m_bridge->polled().expect(ASK_TO_SEND).pass(POLL_MSEC).arrive({POLLING}).expect(ASK_TO_SEND).arrive({GRANTED_2});
    m_bridge->pass(POLL_MSEC).arrive({POLLING}).expect("AA FF FF FF 61").arrive({POLLING}).pass(POLL_MSEC);
    m_bridge->arrive({POLLING}).expect("AA FF FF FF 61").arrive({ORDER_NACK});
    EXPECT_EQ(Upload("a").result, eResult::done);
    EXPECT_EQ(GapBeforeWrite(3), POLL_MSEC);
}

// The bridge may have forgotten the file before it saw the last block.
TEST_F(FileTransferTest, OnAPolledLineALateRefusalOfTheLastBlockProvesNothing)
{
    m_bridge->polled().expect(ASK_TO_SEND).arrive({GRANTED_2}).expect("AA FF FF FF 61").expect("AA FF FF FF 61");
    m_bridge->arrive({ORDER_NACK}).expect(POLLING);
    EXPECT_EQ(Upload("a").result, eResult::refused);
}

} // namespace
