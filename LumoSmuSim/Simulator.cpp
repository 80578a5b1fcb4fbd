#include "LumoSmuSim/Simulator.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"
#include "toviCommonLib/toviSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumoSmuSim
{

namespace
{

constexpr u16 BACKLOG = 2;
constexpr size_t INPUT_LEN = 4096;
constexpr size_t INPUT_LINE_MAX = 256 * 1024; // longer than any buffer that a message carries
constexpr int NO_DESCRIPTOR = -1;             // poll passes it over

u16 boundPort(const OSSocket &listener)
{
    sOSNetAddr bound;
    socklen_t len = sizeof bound.addr;
    getsockname(listener.socketID, reinterpret_cast<sockaddr *>(&bound.addr), &len);
    return tovi::netaddr_port(bound);
}

} // namespace

Simulator::Simulator(const Settings &settings, const LumoFaults::Journal &journal)
    : m_settings(settings), m_journal(journal), m_machine(settings.filesFolder), m_input(STDIN_FILENO)
{
}

Simulator::~Simulator()
{
    dropBridge("closed");
    platform::socket_close(m_listener);
}

bool Simulator::listen()
{
    const eSocketError error = platform::socket_openAsTCPServer(
        &m_listener, m_settings.port, eSocketBindMode::aSpecifiIP, m_settings.address.c_str());
    if (error != eSocketError::none || !platform::socket_listen(m_listener, BACKLOG))
        return false;
    std::printf("listening on %s:%u\n", m_settings.address.c_str(), unsigned{boundPort(m_listener)});
    return true;
}

void Simulator::run()
{
    if (m_settings.driftMSec != 0)
        doCommand("drift " + std::to_string(m_settings.driftMSec));
    while (m_isRunning && !m_machine.isToQuit())
    {
        // A second bridge waits until the first has left; one that never says who it is makes room.
        std::array<pollfd, 4> sources{{{platform::termination_event().evfd, POLLIN, 0},
                                       {m_bridge ? m_bridge->descriptor() : NO_DESCRIPTOR, POLLIN, 0},
                                       {isBridgeIdentified() ? NO_DESCRIPTOR : m_listener.socketID, POLLIN, 0},
                                       {m_input, POLLIN, 0}}};
        const auto &[termination, bridge, listener, input] = sources;
        if (poll(sources.data(), sources.size(), pollTimeoutMSec()) < 0 && errno != EINTR)
            return;
        if (termination.revents != 0)
            return;
        if (bridge.revents != 0)
            serveBridge();
        if (listener.revents != 0)
            acceptBridge();
        if (input.revents != 0)
            readInput();
        runTimers();
    }
}

int Simulator::pollTimeoutMSec() const
{
    constexpr u64 NEVER = std::numeric_limits<u64>::max();
    const u64 dueAtMSec =
        std::min(isDrifting() ? m_driftAtMSec : NEVER, m_bridge ? m_bridge->lateAtMSec().value_or(NEVER) : NEVER);
    if (dueAtMSec == NEVER)
        return -1;
    const u64 now = platform::getTimeNowMSec();
    const u64 left = dueAtMSec - std::min(dueAtMSec, now);
    return static_cast<int>(std::min<u64>(left, std::numeric_limits<int>::max()));
}

void Simulator::acceptBridge()
{
    OSSocket accepted;
    if (!platform::socket_accept(m_listener, &accepted))
        return platform::socket_close(accepted);
    dropBridge("closed");
    m_bridge = std::make_unique<BridgeLink>(accepted, m_settings.plan, m_journal);
    std::puts("bridge connected");
}

void Simulator::serveBridge()
{
    tovi::SMUConn::sDecodedMsg message;
    while (m_bridge)
    {
        switch (m_bridge->receive(message))
        {
        case BridgeLink::eReceived::NOTHING: return;
        case BridgeLink::eReceived::LEFT: return dropBridge("left");
        case BridgeLink::eReceived::LOST: return dropBridge("lost");
        case BridgeLink::eReceived::MESSAGE:
            if (message.what == tovi::SMUConn::WHAT_IDENTIFY)
                m_journal.write({'>', "up"});
            react(m_machine.take(message));
            break;
        }
        if (message.what == tovi::SMUConn::WHAT_IDENTIFY && m_bridge)
            for (const std::string &line : std::exchange(m_settings.commands, {}))
                doCommand(line);
    }
}

void Simulator::dropBridge(const char *how)
{
    if (!m_bridge)
        return;
    if (m_bridge->isIdentified())
        m_journal.write({'>', "down", {}, {}, how});
    m_bridge.reset();
    std::puts("bridge left");
}

// The next bridge is served as if this one had never been.
void Simulator::leaveBridgeAlone()
{
    m_journal.write({'>', "down", {}, {}, "vanished"});
    m_vanished.push_back(std::move(m_bridge));
    std::puts("vanished from the bridge");
}

void Simulator::readInput()
{
    std::array<char, INPUT_LEN> bytes;
    const ssize_t count = read(m_input, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR)
        return;
    if (count <= 0)
        return endInput();
    m_inputLine.append(bytes.data(), static_cast<size_t>(count));
    for (size_t end; (end = m_inputLine.find('\n')) != std::string::npos; m_inputLine.erase(0, end + 1))
        doCommand(std::string_view(m_inputLine).substr(0, end));
    if (m_inputLine.size() > INPUT_LINE_MAX)
        m_inputLine.clear();
}

void Simulator::endInput()
{
    doCommand(m_inputLine); // the last line may lack its end
    m_inputLine.clear();
    m_input = NO_DESCRIPTOR;
    m_isRunning = !m_settings.quitsAtInputEnd;
}

void Simulator::runTimers()
{
    const u64 now = platform::getTimeNowMSec();
    if (m_bridge)
        m_bridge->sendLate();
    if (isDrifting() && now >= m_driftAtMSec)
    {
        m_driftAtMSec = now + m_machine.driftMSec();
        react(m_machine.drift());
    }
}

void Simulator::doCommand(std::string_view line)
{
    constexpr std::string_view FAULT = "fault ";
    if (line.starts_with(FAULT))
    {
        const bool isOrdered = m_settings.plan.order(line.substr(FAULT.size()));
        std::puts(isOrdered ? "fault ordered" : "fault: no fault of a machine, try help");
        return;
    }
    const u32 driftBefore = m_machine.driftMSec();
    react(m_machine.command(line));
    if (m_machine.driftMSec() != driftBefore)
        m_driftAtMSec = platform::getTimeNowMSec() + m_machine.driftMSec();
}

void Simulator::react(const Reaction &reaction)
{
    if (reaction.event)
        m_journal.write(*reaction.event);
    for (const std::string &line : reaction.lines)
        std::puts(line.c_str());
    if (!reaction.messages.empty() && !isBridgeIdentified())
    {
        std::puts("no bridge: nothing sent");
        return;
    }
    for (const Message &message : reaction.messages)
        if (m_bridge->isOpen() && !m_bridge->hasVanished() && !m_bridge->send(message))
            std::puts("a message could not be sent");
    if (m_bridge && m_bridge->hasVanished())
        leaveBridgeAlone();
    else if (m_bridge && !m_bridge->isOpen())
        dropBridge("closed");
}

} // namespace LumoSmuSim
