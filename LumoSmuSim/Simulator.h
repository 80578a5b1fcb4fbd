// The simulator's loop: one bridge at a time, standard input and timers around one Machine. One thread runs it all,
// between platform::termination_trap with tovi::init and tovi::deinit.
#pragma once

#include "LumoSmuSim/BridgeLink.h"

#include <memory>

namespace LumoSmuSim
{

struct Settings
{
    std::string address = "127.0.0.1";  // dotted
    u16 port = tovi::smu::PORT_DEFAULT; // 0: any free one
    u32 driftMSec = 0;
    std::string filesFolder;           // whose files are offered, empty for none
    std::vector<std::string> commands; // given once, when the first bridge is at work
    bool quitsAtInputEnd = false;
    LumoFaults::FaultPlan plan{LumoFaults::eSide::machine};
};

class Simulator
{
  public:
    Simulator(const Settings &settings, const LumoFaults::Journal &journal);
    ~Simulator();
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    // Prints "listening on ADDRESS:PORT". False when the address cannot be listened on.
    bool listen();

    // Runs until `quit`, SIGINT, SIGTERM, or the end of standard input when that is to end it.
    void run();

  private:
    int pollTimeoutMSec() const;
    void acceptBridge();
    void serveBridge();
    void dropBridge(const char *how);
    void leaveBridgeAlone();
    void readInput();
    void endInput();
    void runTimers();
    void doCommand(std::string_view line);
    void react(const Reaction &reaction);
    bool isDrifting() const { return m_machine.driftMSec() != 0 && isBridgeIdentified(); }
    bool isBridgeIdentified() const { return m_bridge && m_bridge->isIdentified(); }

    Settings m_settings;
    const LumoFaults::Journal &m_journal;
    Machine m_machine;
    OSSocket m_listener;
    std::unique_ptr<BridgeLink> m_bridge;                // null while none is connected
    std::vector<std::unique_ptr<BridgeLink>> m_vanished; // open, but without a sound
    std::string m_inputLine;                             // typed so far
    int m_input;                                         // descriptor, below 0 once it ended
    u64 m_driftAtMSec = 0;                               // when the next step is due
    bool m_isRunning = true;
};

} // namespace LumoSmuSim
