// Files over a serial line that swallows one packet: each packet of a transfer in turn, of either side, in both directions,
// between the real daemon and LumoClient's classes.
#include "LumoClient/FileTransfer.h"
#include "LumoClient/SerialChannel.h"
#include "LumoSmuSim/PtyCable.h"
#include "tests/endToEnd/BridgeProcess.h"
#include "tests/endToEnd/RawPeers.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

using namespace LumoClient;
using LumoSmuSim::PtyCable;

constexpr u16 FILE_ID = 7;
constexpr u16 BLOCK_LEN = 50;
const std::vector<u8> FILE_MESSAGE =
    Hex("90 02 00 00 00 00 00 07"); // of file 7; its name follows unless it is asked for

// A machine that has file 7 under the path it is given, and notes the files that it is told of.
class FileMachine
{
  public:
    u16 port() const { return m_smu.port(); }
    void start(const std::string &path)
    {
        m_smu.take();
        m_thread = std::jthread([this, path] { run(path); });
    }

    // The content of the next file that it is told of; "none" when that takes too long.
    std::string nextFile()
    {
        std::unique_lock lock(m_mutex);
        if (!m_isTold.wait_for(lock, std::chrono::seconds(5), [this] { return !m_files.empty(); }))
            return "none";
        const std::string content = readFile(m_files.front());
        m_files.erase(m_files.begin());
        return content;
    }

  private:
    void run(const std::string &path)
    {
        std::vector<u8> answer = FILE_MESSAGE;
        answer.insert(answer.end(), path.begin(), path.end());
        for (std::vector<u8> message; (message = m_smu.receiveBytes()).size() > 3;)
        {
            if (message == FILE_MESSAGE)
                m_smu.sendRaw(consoleFrame(answer));
            else if (std::equal(FILE_MESSAGE.begin(), FILE_MESSAGE.end(), message.begin()))
                isTold({message.begin() + static_cast<std::ptrdiff_t>(FILE_MESSAGE.size()), message.end()});
        }
    }
    void isTold(std::string name)
    {
        const std::lock_guard lock(m_mutex);
        m_files.push_back(std::move(name));
        m_isTold.notify_one();
    }

    RawSmu m_smu;
    std::mutex m_mutex;
    std::condition_variable m_isTold;
    std::vector<std::string> m_files; // guarded by m_mutex
    std::jthread m_thread;            // ends with the daemon
};

struct Row
{
    size_t size;
    bool isUpload;
    PtyCable::eEnd loser; // whose packet is lost: A is the bridge, B the client
};

// A bridge, a machine and a client of their own.
class Line
{
  public:
    explicit Line(const Row &row)
        : m_row(row), m_bridge(std::make_unique<BridgeProcess>(
                          std::vector<std::string>{"-server", "127.0.0.1:" + std::to_string(m_machine.port()), "-uart",
                                                   m_cable.deviceA(), "-payload", "50"}))
    {
        m_machine.start(m_folder.path("source"));
        EXPECT_TRUE(m_bridge->prints("Max payload lenght"));
        m_link.attach(SerialChannel::open(m_cable.deviceB()));
    }

    // Loses the first packet, the second, and so on until a transfer has fewer.
    void run()
    {
        bool isLost = true;
        for (u32 nth = 1; isLost && nth < 100; ++nth)
        {
            std::string outcome = transfer(nth, isLost);
            // For a client that is slow by itself, here because the test is kept from running, less is promised.
            for (int again = 0; again < 2 && outcome != "whole"; ++again)
                outcome = transfer(nth, isLost);
            EXPECT_EQ(outcome, "whole") << (m_row.isUpload ? "upload of " : "download of ") << m_row.size
                                        << " bytes, packet " << nth << " of the "
                                        << (m_row.loser == PtyCable::eEnd::A ? "bridge" : "client");
        }
        EXPECT_FALSE(isLost);
    }

  private:
    std::string transfer(u32 nth, bool &isLost)
    {
        std::string content(m_row.size, static_cast<char>('a' + nth % 26));
        for (size_t i = 0; i < content.size(); i += 7)
            content[i] = static_cast<char>('0' + i / 7 % 10);
        m_folder.write("source", content);
        FileTransfer transfer(m_link, {BLOCK_LEN, 3000}, m_stop);
        m_cable.swallow(m_row.loser, nth);
        const std::string outcome = m_row.isUpload ? upload(transfer, content) : download(transfer, content);
        isLost = m_cable.swallowed(m_row.loser) != 0;
        m_cable.swallow(m_row.loser, 0);
        return outcome;
    }

    std::string upload(FileTransfer &transfer, const std::string &content)
    {
        std::optional<SourceFile> source = SourceFile::open(m_folder.path("source"));
        const TransferResult result = transfer.upload(FILE_ID, *source, m_bar);
        if (result.result != eResult::done)
            return std::string("failed: ") + resultText(result.result) + ", " + result.text;
        return m_machine.nextFile() == content ? "whole" : "the machine has another file";
    }
    std::string download(FileTransfer &transfer, const std::string &content)
    {
        const TransferResult result = transfer.download(FILE_ID, m_folder.path("target"), m_bar);
        if (result.result != eResult::done)
            return std::string("failed: ") + resultText(result.result) + ", " + result.text;
        if (!m_folder.holds("source"))
            return "the bridge gave the file up";
        return m_folder.read("target") == content ? "whole" : "the client has another file";
    }

    Row m_row;
    TempFolder m_folder;
    PtyCable m_cable;
    FileMachine m_machine;
    std::unique_ptr<BridgeProcess> m_bridge;
    ClientLink m_link;
    ProgressBar m_bar{"test", std::nullopt};
    volatile std::sig_atomic_t m_stop = 0;
};

} // namespace

TEST(LostPacket, OneOfAFileTransferCostsNoFile)
{
    std::vector<std::jthread> threads;
    for (size_t size : {size_t{20}, size_t{BLOCK_LEN}, size_t{70}, size_t{2 * BLOCK_LEN}, size_t{220}})
        for (bool isUpload : {true, false})
            for (PtyCable::eEnd loser : {PtyCable::eEnd::A, PtyCable::eEnd::B})
                threads.emplace_back([row = Row{size, isUpload, loser}] { Line(row).run(); });
}
