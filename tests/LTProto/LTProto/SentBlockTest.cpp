// Files on a serial line that swallows packets: which block goes out next, and what a NACK does to a file.
#include "tests/LTProto/LTProto/EngineFixture.h"
#include "tests/TempFolder.h"

#include <map>
#include <sstream>

namespace
{

using namespace LTProtocol;

// The words of a script. Blocks are of 4 bytes; a file is a run of them and "zz", its last block.
const std::map<std::string, std::string> WORDS = {
    {"polling", "2A 00"},
    {"ack", "2A 01"},
    {"nack2", "2A 02 00 02"},
    {"nack4", "2A 02 00 04"},
    {"nack6", "2A 02 00 06"},
    {"neg", "AA 00 00 00 00 04 05 00 09"},
    {"grant", "AA 00 00 00 00 04 00 04"},
    {"grant2", "AA 00 00 00 00 04 00 02"},
    {"b1", "AA 00 00 01 61 61 61 61"},
    {"b2", "AA 00 00 02 62 62 62 62"},
    {"b3", "AA 00 00 03 63 63 63 63"},
    {"b4", "AA 00 00 04 64 64 64 64"},
    {"last", "AA FF FF FF 7A 7A"},
    {"ask", "33 05 00 07"},
    {"notice", "66 FF FF FF FF 80 00 00 00 00"},
    {"nothing", ""},
};

struct LossCase
{
    const char *name;
    const char *content;
    const char *script; // what comes and what it brings; "silence" brings the idle step
    bool isKept = true; // whether the file is there at the end

    friend void PrintTo(const LossCase &row, std::ostream *out) { *out << row.name; }
};

class SentBlockTest : public EngineTest, public testing::WithParamInterface<LossCase>
{
  protected:
    void Play(const std::string &script)
    {
        std::istringstream steps(script);
        std::string comes, brings;
        for (int i = 1; steps >> comes >> brings; ++i)
        {
            if (comes == "silence")
            {
                s_nowMSec += 250;
                m_engine->OnEventTimeout();
            }
            else
                Feed(WORDS.at(comes));
            const std::string expected = brings == "nothing" ? "" : FramedHex(WORDS.at(brings));
            ASSERT_EQ(Sent(), expected) << "step " << i << ": " << comes << " " << brings;
        }
    }

    TempFolder m_folder;
};

TEST_P(SentBlockTest, BringsWhatItMust)
{
    Start(eComType::UART_MAIN, 4);
    m_engine->IsConnected(true);
    Sent();
    m_folder.write("file", GetParam().content);
    m_engine->FileSend(TICKET_SPONTANEOUS, 9, Tools::MemoryBuffer(m_folder.path("file")));
    Play(GetParam().script);
    EXPECT_EQ(m_folder.holds("file"), GetParam().isKept);
}

const LossCase CASES[] = {
    {"SlowClient", "aaaabbbbccccddddzz",
     "ack neg silence polling grant b1 silence polling ack b2 silence polling ack b3 silence polling ack b4 "
     "silence polling ack last silence polling ack polling"},
    {"BlockInTheMiddle", "aaaabbbbccccddddzz",
     "ack neg grant b1 ack b2 silence polling ack b3 nack4 b2 ack b3 ack b4 ack last ack polling"},
    {"NackFourAfterThePoll", "aaaabbbbccccddddzz",
     "ack neg grant b1 ack b2 silence polling ack b3 silence polling nack4 b2 ack b3"},
    {"TwoBlocksInARow", "aaaabbbbccccddddzz",
     "ack neg grant b1 silence polling ack b2 silence polling ack b3 nack4 b2 nack4 b1 ack b2 ack b3 ack b4 ack last"},
    {"TheSameBlockTwice", "aaaabbbbccccddddzz",
     "ack neg grant b1 silence polling ack b2 nack4 b1 silence polling ack b2 nack4 b1 ack b2"},
    {"LastButOne", "aaaabbbbzz", "ack neg grant b1 ack b2 silence polling ack b2 ack last ack polling"},
    {"LastButOneAskedByPolling", "aaaabbbbzz", "ack neg grant b1 ack b2 silence polling polling b2 polling last"},
    {"LastButOneTwice", "aaaabbbbzz",
     "ack neg grant b1 ack b2 silence polling ack b2 silence polling ack last nack4 b2 ack last ack polling"},
    {"LastButOneOfASlowClient", "aaaabbbbzz",
     "ack neg grant b1 silence polling ack b2 silence polling ack last nack4 b2 nack4 b1 ack b2 ack last"},
    {"Last", "aaaazz", "ack neg grant b1 ack last silence polling ack last ack polling nack4 polling"},
    {"LastTwice", "aaaazz", "ack neg grant b1 ack last silence polling ack last silence polling ack polling"},
    {"LastThatHadArrived", "aaaazz",
     "ack neg grant b1 ack last silence polling ack last nack4 nothing nack2 nothing silence polling ack polling"},
    {"LastBehindANotice", "aaaazz", "ack neg grant b1 ack last ask notice ack last ack polling"},
    {"LastIsRepeatedForNackTwo", "aaaazz",
     "ack neg grant b1 ack last nack2 last silence polling nack2 polling ack last"},
    {"LastOfASlowClient", "aaaazz",
     "ack neg grant b1 silence polling ack b1 silence polling ack last silence polling "
     "ack polling"},
    {"EmptyLast", "aaaa", "ack neg grant b1 silence polling ack b1"},
    {"OnlyBlock", "zz", "ack neg grant last silence polling ack last ack polling"},
    {"NegotiationOfALongFile", "aaaabbbbccccddddzz",
     "ack neg silence polling ack b1 nack4 neg grant b1 ack b2 ack b3 ack b4 ack last"},
    {"NegotiationOfAShortFile", "zz", "ack neg silence polling ack neg grant last"},
    {"AnswerToTheNegotiation", "aaaabbbbccccddddzz",
     "ack neg silence polling grant b1 silence polling grant b1 ack b2 grant nack6"},
    {"AnswerThatDoesNotFitTheFirstBlock", "aaaabbbbccccddddzz",
     "ack neg silence polling ack b1 silence polling grant2 nack6"},
    {"AnswerForTheOnlyBlock", "zz", "ack neg grant last silence polling grant last nack4 nothing"},
    {"NackFourWithoutADisplacedBlock", "aaaabbbbccccddddzz",
     "ack neg grant b1 nack4 b1 nack4 b1 nack4 b1 nack4 nothing ack polling", false},
    {"NackFourBehindAnAnsweredBlock", "aaaabbbbccccddddzz",
     "ack neg grant b1 silence polling ack b2 ack b3 nack4 b3 nack4 b3 nack4 b3 nack4 nothing", false},
    {"NacksForTheLastBlock", "zz", "ack neg grant last nack2 last nack2 last nack2 last nack2 nothing ack polling"},
    {"NacksForANoticeBehindABlock", "aaaabbbbccccddddzz",
     "ack neg grant b1 ask notice nack2 nothing nack2 nothing ack b2"},
    {"NacksForANoticeBehindTheNegotiation", "aaaabbbbccccddddzz", "ack neg ask notice nack2 nothing grant b1"},
    {"NacksForAPolling", "aaaabbbbccccddddzz",
     "ack neg grant b1 silence polling nack2 polling nack2 polling nack2 polling nack2 nothing nack2 nothing ack b2"},
};

INSTANTIATE_TEST_SUITE_P(Serial, SentBlockTest, testing::ValuesIn(CASES),
                         [](const testing::TestParamInfo<LossCase> &row) { return std::string(row.param.name); });

} // namespace

TEST_F(EngineTest, NacksForWhatIsNoBlockOfItCostNoFile)
{
    struct
    {
        const char *name;
        const char *packet; // of the client, whose answer it refuses
    } const cases[] = {
        {"notice", "33 05 00 07"},
        {"nothing known", "33 80 00 00 00 63"},
        {"ACK", "66 FF FF FF FE 06 00 00 00 0B 01 00 00 00 5F"},
        {"NACK", "66 FF FF FF FF 05 00 00 00 00"},
        {"answer to a negotiation", "AA 00 00 00 00 64 05 00 08"},
    };
    TempFolder folder;
    for (const auto &row : cases)
        for (bool begun : {false, true})
        {
            Start(eComType::SOCKET_MAIN);
            folder.write("file", "content");
            m_engine->FileSend(TICKET_SPONTANEOUS, 9, Tools::MemoryBuffer(folder.path("file")));
            if (begun)
                FeedAck();
            Feed(row.packet);
            for (int i = 0; i < 5; ++i)
                Feed("2A 02 00 02");
            EXPECT_TRUE(folder.holds("file")) << row.name << (begun ? ", begun" : "");
        }
}
