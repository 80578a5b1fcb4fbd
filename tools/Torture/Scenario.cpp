#include "tools/Torture/Scenario.h"

#include "LumoSmuSim/MachineText.h"
#include "tools/Torture/Peers.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace LumoTorture
{

using namespace LTProtocol;
using LumoSmuSim::Message;
using tovi::utils::readMsbLsbU32;

namespace fs = std::filesystem;

namespace
{

constexpr u32 START_MSEC = 4000; // the daemon tries 5 times, 500 ms apart
constexpr u32 END_MSEC = 3000;
constexpr u32 FRESH_TRIES = 4;
constexpr u32 IDLE_MSEC = 30;
constexpr u64 IDLE_NSEC_MAX = 6000000;
constexpr u64 PROCESSOR_NSEC_MAX = 300000000; // beyond the usual

constexpr u16 FILE_UP = 5;
constexpr u16 FILE_DOWN = 7;
constexpr u16 BLOCK_LEN = 1000; // the daemon's largest payload as well
constexpr size_t FILE_LEN = 2500;
constexpr u32 VALUE = 71;
constexpr u32 KEPT_ID = 3; // the file of an earlier life
constexpr u32 KEPT_NUMBER = 0x5F000001;

constexpr int STATUS_NORMAL = 0;
constexpr int STATUS_FAILED = 255;

Bytes contentOf(u8 first)
{
    Bytes bytes(FILE_LEN);
    for (size_t i = 0; i < FILE_LEN; ++i)
        bytes[i] = static_cast<u8>(first + i * 7);
    return bytes;
}

const Bytes FILE_UP_CONTENT = contentOf(1);
const Bytes FILE_DOWN_CONTENT = contentOf(2);
const Bytes KEPT_CONTENT = contentOf(3);

void writeFile(const std::string &path, std::span<const u8> bytes)
{
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(bytes.data()), std::ssize(bytes));
}

Bytes readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string receivedName(const std::string &folder, u32 number)
{
    char name[32];
    std::snprintf(name, sizeof name, "/BridgeTemp/%08x.tmp", number);
    return folder + name;
}

void prepareFolder(const std::string &folder)
{
    fs::remove_all(folder);
    fs::create_directories(folder + "/BridgeTemp");
    fs::create_directories(folder + "/offered");
    writeFile(folder + "/offered/" + std::to_string(FILE_DOWN) + ".bin", FILE_DOWN_CONTENT);
    writeFile(receivedName(folder, KEPT_NUMBER), KEPT_CONTENT);
    const u32 record[] = {KEPT_ID, KEPT_NUMBER};
    writeFile(folder + "/BridgeTemp/index.dat", {reinterpret_cast<const u8 *>(record), sizeof record});
}

// Whether a file of this content will outlive the next start: it is in the index, or the index was set aside.
bool isKept(const std::string &folder, const Bytes &content)
{
    const Bytes index = readFile(folder + "/BridgeTemp/index.dat");
    const bool isSetAside = index.empty() && fs::exists(folder + "/BridgeTemp/index.bad");
    for (const fs::directory_entry &entry : fs::directory_iterator(folder + "/BridgeTemp"))
    {
        const u32 number = static_cast<u32>(std::strtoul(entry.path().stem().c_str(), nullptr, 16));
        const u8 *name = reinterpret_cast<const u8 *>(&number);
        bool isListed = isSetAside;
        for (size_t at = sizeof number; at + sizeof number <= index.size(); at += 2 * sizeof number)
            isListed = isListed || std::equal(name, name + sizeof number, &index[at]);
        if (isListed && readFile(entry.path()) == content)
            return true;
    }
    return false;
}

class Scenario
{
  public:
    Scenario(const sSettings &settings, eLink link, const sTorment &torment)
        : m_settings(settings), m_torment(torment), m_peers(settings.ip, settings.folder + "/offered"),
          m_daemon(command(link), settings.preload, settings.folder, torment)
    {
        m_peers.watch(m_daemon);
    }

    sResult judged(const sMeasure *usual);

  private:
    std::vector<std::string> command(eLink link);
    void play();
    bool talk();
    bool ask();
    bool set();
    bool push();
    bool upload();
    bool download();
    bool replaceClient();
    bool comeAnew();
    void measureRest();
    void end();
    std::string faultOf(const sMeasure *usual) const;
    std::string endFault() const;
    bool isLogShown() const;

    const sSettings &m_settings;
    const sTorment &m_torment;
    Peers m_peers;
    Daemon m_daemon;

    bool m_isWhole = false;    // the scenario went through without a loss
    bool m_isServed = false;   // its last client was answered
    bool m_isUploaded = false; // the last block was acknowledged
    bool m_isDamaged = false;  // what arrived is not what was sent
    bool m_wasAsked = false;   // to end
    u64 m_idleNSec = 0;
    sMeasure m_measure;
    std::optional<sEnd> m_end; // none: it had to be killed
};

std::vector<std::string> Scenario::command(eLink link)
{
    std::vector<std::string> words{m_settings.bridge, "-server", m_peers.machineAddress()};
    if (link == eLink::LINE)
        words.insert(words.end(), {"-uart", m_peers.layLine()});
    else
        words.insert(words.end(), {"-socket", m_peers.clientAddress()});
    words.insert(words.end(), {"-payload", std::to_string(BLOCK_LEN), "-logfile", "log.txt", "-logdim", "4000"});
    return words;
}

// ---- The steps. Each returns whether all of it came.

bool Scenario::ask()
{
    Bytes payload{static_cast<u8>(eDataType::VARIABLE_ID)};
    AppendMsbLsb(payload, VARIABLE_ASKED);
    m_peers.send(eCommandType::REQUEST, payload);
    const auto answer = m_peers.receive([](const Packet &packet)
                                        { return packet.type == eCommandType::DATA && packet.payload.size() == 10; });
    m_isDamaged = m_isDamaged || (answer && readMsbLsbU32(&answer->payload[5]) != 925);
    return answer.has_value();
}

bool Scenario::set()
{
    Bytes payload;
    AppendMsbLsb(payload, TICKET_SPONTANEOUS);
    payload.push_back(static_cast<u8>(eDataType::VARIABLE_ID));
    AppendMsbLsb(payload, VARIABLE_SET);
    payload.push_back(static_cast<u8>(eDataType::INTEGER_POSITIVE));
    AppendMsbLsb(payload, VALUE);
    m_peers.send(eCommandType::DATA, payload);
    const bool taken = m_peers.receive([](const Packet &packet) { return packet.type == eCommandType::CMD; }) &&
                       m_peers.await([this] { return m_peers.valueTaken != 0; });
    m_isDamaged = m_isDamaged || (m_peers.valueTaken != 0 && m_peers.valueTaken != VALUE);
    return taken;
}

bool Scenario::push()
{
    m_peers.send(LumoSmuSim::valueMessage(VARIABLE_PUSHED, {eDataType::INTEGER_POSITIVE, VALUE, 0, {}}));
    if (m_peers.isLine())
        m_peers.sendCommand(eCommandCode::ACK);
    const auto value = m_peers.receive(
        [](const Packet &packet)
        { return packet.type == eCommandType::DATA && readMsbLsbU32(packet.payload.data()) == TICKET_SPONTANEOUS; },
        true);
    m_isDamaged = m_isDamaged || (value && readMsbLsbU32(&value->payload[10]) != VALUE);
    return value.has_value();
}

bool Scenario::upload()
{
    const auto isAnswer = [](const Packet &packet)
    { return packet.type == eCommandType::DATABLOCK || packet.type == eCommandType::CMD; };
    m_peers.send(eCommandType::DATABLOCK, LumoClient::encodeNegotiation(BLOCK_LEN, FILE_UP));
    std::optional<Packet> answer = m_peers.receive(isAnswer);
    if (!answer || answer->type != eCommandType::DATABLOCK)
        return false;
    std::span<const u8> left = FILE_UP_CONTENT;
    for (u32 nr = 1; !m_isUploaded; ++nr)
    {
        const bool isLast = left.size() < BLOCK_LEN;
        const size_t len = std::min<size_t>(left.size(), BLOCK_LEN);
        m_peers.send(eCommandType::DATABLOCK, LumoClient::encodeBlock(isLast ? BLOCK_NR_LAST : nr, left.first(len)));
        answer = m_peers.receive(isAnswer);
        if (!answer || answer->payload != Bytes{static_cast<u8>(eCommandCode::ACK)})
            return false;
        left = left.subspan(len);
        m_isUploaded = isLast;
    }
    const bool announced = m_peers.await([this] { return !m_peers.files.empty(); });
    m_isDamaged = m_isDamaged || (announced && readFile(m_peers.files.front()) != FILE_UP_CONTENT);
    return announced;
}

bool Scenario::download()
{
    m_peers.send(eCommandType::REQUEST, {static_cast<u8>(eDataType::FILE_ID), 0, FILE_DOWN});
    const auto isOffer = [](const Packet &packet)
    { return packet.type == eCommandType::DATABLOCK && LumoClient::parseOffer(packet.payload); };
    if (!m_peers.receive(isOffer, true))
        return false;
    m_peers.send(eCommandType::DATABLOCK, LumoClient::encodeNegotiationAnswer(BLOCK_LEN, BLOCK_LEN));
    Bytes content;
    for (u32 nr = 1; nr != BLOCK_NR_LAST;)
    {
        const auto isNext = [nr](const Packet &packet)
        {
            const auto number = LumoClient::blockNumber(packet.payload);
            return packet.type == eCommandType::DATABLOCK && (number == nr || number == BLOCK_NR_LAST);
        };
        const std::optional<Packet> block = m_peers.receive(isNext);
        if (!block)
            return false;
        content.insert(content.end(), block->payload.begin() + BLOCK_NR_LEN, block->payload.end());
        nr = LumoClient::blockNumber(block->payload) == BLOCK_NR_LAST ? BLOCK_NR_LAST : nr + 1;
        m_peers.sendCommand(eCommandCode::ACK);
    }
    // On a line the answer to the last ACK shows that the next packet will not be read together with it.
    if (m_peers.isLine())
        m_peers.receive([](const Packet &packet) { return packet.type == eCommandType::CMD; });
    // A file that the daemon cannot open goes down as an empty one.
    m_isDamaged = m_isDamaged || (!content.empty() && content != FILE_DOWN_CONTENT);
    return content == FILE_DOWN_CONTENT;
}

bool Scenario::replaceClient()
{
    if (m_peers.isLine())
        return ask();
    return comeAnew() && ask();
}

// On TCP a client is refused while the one before it is there.
bool Scenario::comeAnew()
{
    m_peers.dropClient();
    const bool isFree = m_peers.isLine() || m_peers.await([this] { return !m_peers.isClientKnown; });
    return m_peers.connectClient() && isFree;
}

bool Scenario::talk()
{
    if (!m_peers.connectClient() || !ask() || !m_peers.await([this] { return m_peers.isClientKnown; }) || !set() ||
        !push())
        return false;
    m_daemon.control->clockShiftSec = m_torment.clockShiftSec;
    return upload() && download();
}

// ---- The whole.

void Scenario::play()
{
    if (!m_peers.await([this] { return m_peers.hasMachineLink(); }, START_MSEC))
        return;
    m_isWhole = talk() && replaceClient();
    m_isServed = m_isWhole;
    for (u32 i = 0; i < FRESH_TRIES && !m_isServed && !m_daemon.end(); ++i)
        m_isServed = comeAnew() && ask();
    if (m_isServed)
        measureRest();
}

void Scenario::measureRest()
{
    m_measure.descriptors = m_daemon.openDescriptors();
    const u64 before = m_daemon.processorNSec();
    m_peers.await([] { return false; }, IDLE_MSEC);
    m_idleNSec = std::max(m_daemon.processorNSec(), before) - before; // one that has ended has none
}

// DIE is asked first on TCP, a signal on a line; a daemon without a machine listens to the signal.
void Scenario::end()
{
    const auto hasEnded = [this] { return m_daemon.end().has_value(); };
    m_wasAsked = !hasEnded();
    const bool dies = !m_peers.isLine() && m_isServed && m_peers.send(Message{tovi::smu::WHAT_DIE, 0, {}});
    if (!dies)
        m_daemon.signal(SIGTERM);
    m_peers.await(hasEnded, END_MSEC);
    m_end = m_daemon.end();
}

std::string Scenario::endFault() const
{
    if (!m_end)
        return "does not end";
    if (m_end->signal != 0)
        return "killed by signal " + std::to_string(m_end->signal);
    const std::string printed = m_daemon.printed();
    const bool isMute = m_torment.call == eCall::write && m_torment.last != m_torment.first;
    const bool isConsoleTormented =
        isMute || m_torment.call == eCall::printf || m_torment.call == eCall::puts || m_torment.call == eCall::fwrite;
    const auto says = [&](const char *text) { return isConsoleTormented || printed.find(text) != std::string::npos; };
    switch (m_end->status)
    {
    case STATUS_NORMAL: return says("Program end") ? "" : "ends without a word";
    case STATUS_FAILED: return says("ERR: ") ? "" : "ends without a word";
    default: return "exit status " + std::to_string(m_end->status);
    }
}

// Whether the console got what the log file got: each line goes to the console first.
bool Scenario::isLogShown() const
{
    const Bytes log = readFile(m_settings.folder + "/log.txt");
    const std::string lines(log.begin(), log.end());
    const size_t last = lines.rfind('\n', lines.size() - 2) + 1; // before its own end; npos + 1 is 0
    return m_daemon.printed().find(lines.substr(last)) != std::string::npos;
}

// Empty when there is none.
std::string Scenario::faultOf(const sMeasure *usual) const
{
    if (const std::string fault = endFault(); !fault.empty())
        return fault;
    if (!isKept(m_settings.folder, KEPT_CONTENT))
        return "a file of an earlier life is lost";
    if (m_isUploaded && !isKept(m_settings.folder, FILE_UP_CONTENT))
        return "an acknowledged file is lost";
    if (m_torment.call == eCall::malloc && !isLogShown())
        return "its last lines are not shown";
    if (m_isDamaged)
        return "bytes changed on their way";
    if (m_wasAsked && !m_isServed && m_peers.hasMachineLink() && m_torment.last == m_torment.first)
        return "serves nobody any more";
    if (m_idleNSec > IDLE_NSEC_MAX)
        return "busy at rest: " + std::to_string(m_idleNSec / 1000) + " us in " + std::to_string(IDLE_MSEC) + " ms";
    if (usual != nullptr && m_measure.descriptors > usual->descriptors)
        return "descriptors leak: " + std::to_string(m_measure.descriptors);
    if (usual != nullptr && m_end->processorNSec > usual->processorNSec + PROCESSOR_NSEC_MAX)
        return "processor time " + std::to_string(m_end->processorNSec / 1000000) + " ms";
    return {};
}

sResult Scenario::judged(const sMeasure *usual)
{
    play();
    end();
    for (u32 i = 0; i < CALLS_COUNT; ++i)
        m_measure.counts[i] = m_daemon.control->counts[i];
    m_measure.processorNSec = m_end ? m_end->processorNSec : 0;
    sResult result{eOutcome::SERVED, faultOf(usual), m_measure, {}};
    for (const std::atomic<u64> &caller : m_daemon.control->callers)
        if (caller != 0)
            result.callers.push_back(caller);
    if (!result.why.empty())
        result.outcome = eOutcome::FAULT;
    else if (!m_wasAsked || !m_isServed)
        result.outcome = eOutcome::ENDED;
    else if (!m_isWhole)
        result.outcome = eOutcome::LOST;
    else if (m_torment.call != eCall::NONE && m_daemon.control->failed == 0)
        result.outcome = eOutcome::NOT_REACHED;
    return result;
}

} // namespace

sResult run(const sSettings &settings, eLink link, const sTorment &torment, const sMeasure *usual)
{
    prepareFolder(settings.folder);
    return Scenario(settings, link, torment).judged(usual);
}

} // namespace LumoTorture
