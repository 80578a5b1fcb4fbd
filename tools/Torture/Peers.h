// Both neighbours of one daemon on one thread: the simulated machine and a client. Neither waits for a fixed time; each
// waits for what it awaits, or for the daemon's end.
#pragma once

#include "LumoClient/FileBlocks.h"
#include "LumoSmuSim/BridgeLink.h"
#include "LumoSmuSim/PtyCable.h"
#include "tools/Torture/Daemon.h"

#include <deque>
#include <functional>
#include <memory>

namespace LumoTorture
{

using LumoClient::Bytes;
using LumoClient::Packet;

constexpr u32 STEP_MSEC = 1000; // for what comes within milliseconds when nothing goes wrong

class Peers
{
  public:
    // The machine listens on a port of its own at `ip`; the client's port there is fixed. `filesFolder`: what it offers.
    Peers(const std::string &ip, const std::string &filesFolder);
    ~Peers();
    Peers(const Peers &) = delete;
    Peers &operator=(const Peers &) = delete;

    std::string machineAddress() const { return m_ip + ":" + std::to_string(m_machinePort); }
    std::string clientAddress() const;

    // Puts the client on a serial line instead; returns the daemon's device.
    const std::string &layLine();
    bool isLine() const { return m_line != nullptr; }

    void watch(Daemon &daemon) { m_daemon = &daemon; }

    // Serves the machine and gathers the client's packets until `condition` holds; false when it does not in time, or the
    // daemon has ended. `onSilence` is called whenever nothing came for `silenceMSec`.
    bool await(const std::function<bool()> &condition, u32 timeoutMSec = STEP_MSEC, u32 silenceMSec = STEP_MSEC,
               const std::function<void()> &onSilence = {});

    // ---- The machine.

    bool hasMachineLink() const { return m_machineLink && m_machineLink->isIdentified(); }
    bool send(const LumoSmuSim::Message &message) const;

    bool isClientKnown = false;       // by the last link state
    u32 valueTaken = 0;               // the last one of VARIABLE_SET
    std::vector<std::string> files{}; // announced by the daemon

    // ---- The client.

    bool connectClient();
    void dropClient();
    bool isClientConnected() const { return m_client.isOpen(); }
    void send(LTProtocol::eCommandType type, const Bytes &payload);
    void sendCommand(LTProtocol::eCommandCode code);

    // The next packet that fulfils `isWanted`. Other packets are dropped; on a serial line polls, notices and values are
    // acknowledged.
    std::optional<Packet> receive(const std::function<bool(const Packet &)> &isWanted, bool polls = false);

  private:
    void serveMachine();
    void takeMachineMessage(const tovi::SMUConn::sDecodedMsg &message);
    void readClient();
    bool connectsNow();

    std::string m_ip;
    OSSocket m_listener;
    u16 m_machinePort = 0;
    LumoSmuSim::Machine m_machine;
    LumoFaults::FaultPlan m_noFaults{LumoFaults::eSide::machine};
    LumoFaults::Journal m_noJournal;
    std::unique_ptr<LumoSmuSim::BridgeLink> m_machineLink;
    std::unique_ptr<LumoSmuSim::PtyPort> m_line;
    platform::FileDescriptor m_client;
    LumoClient::PacketDecoder m_decoder;
    std::deque<Packet> m_inbox;
    Daemon *m_daemon = nullptr;
};

constexpr u32 VARIABLE_ASKED = 4;
constexpr u32 VARIABLE_SET = 100;
constexpr u32 VARIABLE_PUSHED = 200;

} // namespace LumoTorture
