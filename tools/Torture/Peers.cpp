#include "tools/Torture/Peers.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviSocket.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumoTorture
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr u16 CLIENT_PORT = 8283;
constexpr u16 BACKLOG = 2;
constexpr u32 CONNECT_RETRY_MSEC = 1;
constexpr u32 LINE_RETRY_MSEC = 5;
constexpr u32 LINE_QUIET_MSEC = 10;
constexpr u32 CONNECT_MSEC = 1500;
constexpr suseconds_t CONNECT_USEC = 100000; // of one try
constexpr u32 SILENCE_MSEC = 20;             // of the daemon, on TCP
constexpr u32 SILENCE_LINE_MSEC = 300;       // on a line, where it polls after 250 ms
constexpr size_t READ_LEN = 65536;
constexpr size_t NUMBER_LEN = 4;

bool isCommand(const Packet &packet, eCommandCode code)
{
    return packet.type == eCommandType::CMD && !packet.payload.empty() && packet.payload[0] == static_cast<u8>(code);
}

} // namespace

Peers::Peers(const std::string &ip, const std::string &filesFolder) : m_ip(ip), m_machine(filesFolder)
{
    sOSNetAddr bound;
    socklen_t len = sizeof bound.addr;
    if (platform::socket_openAsTCPServer(&m_listener, 0, eSocketBindMode::aSpecifiIP, ip.c_str()) !=
            eSocketError::none ||
        !platform::socket_listen(m_listener, BACKLOG) ||
        getsockname(m_listener.socketID, reinterpret_cast<sockaddr *>(&bound.addr), &len) != 0)
        throw std::runtime_error("no address for the machine");
    m_machinePort = tovi::netaddr_port(bound);
}

Peers::~Peers()
{
    platform::socket_close(m_listener);
}

std::string Peers::clientAddress() const
{
    return m_ip + ":" + std::to_string(CLIENT_PORT);
}

const std::string &Peers::layLine()
{
    m_line = std::make_unique<LumoSmuSim::PtyPort>();
    return m_line->device();
}

bool Peers::await(const std::function<bool()> &condition, u32 timeoutMSec, u32 silenceMSec,
                  const std::function<void()> &onSilence)
{
    const u64 deadline = platform::getTimeNowMSec() + timeoutMSec;
    for (u64 now = 0; !condition() && (now = platform::getTimeNowMSec()) < deadline;)
    {
        if (m_daemon->end())
            return condition();
        const u32 waitMSec = static_cast<u32>(std::min<u64>(deadline - now, silenceMSec));
        const int machine = m_machineLink && m_machineLink->isOpen() ? m_machineLink->descriptor() : -1;
        std::array<pollfd, 4> sources{{{m_daemon->descriptor(), POLLIN, 0},
                                       {m_listener.socketID, POLLIN, 0},
                                       {machine, POLLIN, 0},
                                       {m_client.get(), POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), static_cast<int>(waitMSec)) == 0 && onSilence)
            onSilence();
        if (sources[1].revents != 0)
        {
            OSSocket accepted;
            if (platform::socket_accept(m_listener, &accepted))
                m_machineLink = std::make_unique<LumoSmuSim::BridgeLink>(accepted, m_noFaults, m_noJournal);
        }
        if (sources[2].revents != 0)
            serveMachine();
        if (sources[3].revents != 0)
            readClient();
    }
    return condition();
}

// ---- The machine.

void Peers::serveMachine()
{
    tovi::SMUConn::sDecodedMsg message;
    while (m_machineLink->receive(message) == LumoSmuSim::BridgeLink::eReceived::MESSAGE)
        takeMachineMessage(message);
}

void Peers::takeMachineMessage(const tovi::SMUConn::sDecodedMsg &message)
{
    const std::span<const u8> payload(message.payload, message.payloadLen);
    if (message.what == tovi::smu::WHAT_COMMAND && payload.size() > NUMBER_LEN)
        isClientKnown = payload[NUMBER_LEN] != 0;
    if (message.what == tovi::smu::WHAT_FILE && payload.size() > NUMBER_LEN && payload[NUMBER_LEN] == '/')
        files.emplace_back(payload.begin() + NUMBER_LEN, payload.end());
    if (message.what == tovi::smu::WHAT_VARIABLE && payload.size() == 2 * NUMBER_LEN + 1 &&
        readMsbLsbU32(payload.data()) == VARIABLE_SET)
        valueTaken = readMsbLsbU32(&payload[NUMBER_LEN + 1]);
    for (const LumoSmuSim::Message &answer : m_machine.take(message).messages)
        m_machineLink->send(answer);
}

bool Peers::send(const LumoSmuSim::Message &message) const
{
    return m_machineLink && m_machineLink->send(message);
}

// ---- The client.

// Nobody tells when the daemon listens: the client tries until it does. On a line, what came before the daemon opened it
// is gone; a daemon that is there answers an ACK.
bool Peers::connectClient()
{
    dropClient();
    if (isLine())
    {
        m_client = platform::FileDescriptor(dup(m_line->farEnd()));
        const bool isThere = await([this] { return !m_inbox.empty(); }, CONNECT_MSEC, LINE_RETRY_MSEC,
                                   [this] { sendCommand(eCommandCode::ACK); });
        await([] { return false; }, LINE_QUIET_MSEC); // answers to more than one ACK
        m_inbox.clear();
        return isThere;
    }
    return await([this] { return m_client.isOpen() || connectsNow(); }, CONNECT_MSEC, CONNECT_RETRY_MSEC, [] {});
}

bool Peers::connectsNow()
{
    platform::FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval patience{0, CONNECT_USEC};
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const int on = 1;
    setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(m_ip.c_str());
    address.sin_port = htons(CLIENT_PORT);
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        m_client = std::move(socket);
    return m_client.isOpen();
}

void Peers::dropClient()
{
    m_client.close();
    m_decoder = {};
    m_inbox.clear();
}

void Peers::send(eCommandType type, const Bytes &payload)
{
    const Bytes packet = LumoClient::encodePacket(type, payload);
    if (m_client.isOpen() && !platform::file_write(m_client, packet.data(), static_cast<u32>(packet.size())))
        dropClient();
}

void Peers::sendCommand(eCommandCode code)
{
    send(eCommandType::CMD, {static_cast<u8>(code)});
}

void Peers::readClient()
{
    std::array<u8, READ_LEN> bytes;
    const ssize_t n = read(m_client.get(), bytes.data(), bytes.size());
    if (n <= 0)
        return m_client.close(), void();
    m_decoder.feed(std::span(bytes).first(static_cast<size_t>(n)));
    while (std::optional<Packet> packet = m_decoder.next())
        m_inbox.push_back(std::move(*packet));
}

std::optional<Packet> Peers::receive(const std::function<bool(const Packet &)> &isWanted, bool polls)
{
    std::optional<Packet> found;
    const auto arrived = [&]
    {
        while (!found && !m_inbox.empty())
        {
            Packet packet = std::move(m_inbox.front());
            m_inbox.pop_front();
            if (isWanted(packet))
                found = std::move(packet);
            else if (isLine() && (packet.type == eCommandType::DATA || isCommand(packet, eCommandCode::POLLING)))
                sendCommand(eCommandCode::ACK);
        }
        return found || !m_client.isOpen();
    };
    if (polls)
        await(arrived, STEP_MSEC, isLine() ? SILENCE_LINE_MSEC : SILENCE_MSEC,
              [this] { sendCommand(eCommandCode::POLLING); });
    else
        await(arrived);
    return found;
}

} // namespace LumoTorture
