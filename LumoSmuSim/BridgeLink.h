// The server end of the machine link to one bridge: handshake, then messages, which it may be told to spoil. Owns its
// socket; used by one thread. Between tovi::init and tovi::deinit.
#pragma once

#include "LumoSmuSim/Machine.h"
#include "tools/Faults/FaultPlan.h"
#include "toviCommonLib/Protocol/ProtocolChSocketTCP.h"
#include "toviCommonLib/Protocol/ProtocolConsole.h"

#include <deque>

namespace LumoSmuSim
{

class BridgeLink
{
  public:
    // Takes the socket over; plan and journal are borrowed.
    BridgeLink(OSSocket accepted, LumoFaults::FaultPlan &plan, const LumoFaults::Journal &journal);
    ~BridgeLink(); // tells the bridge the end
    BridgeLink(const BridgeLink &) = delete;
    BridgeLink &operator=(const BridgeLink &) = delete;

    enum class eReceived
    {
        NOTHING, // no whole message is there
        MESSAGE,
        LEFT, // the bridge said its end
        LOST  // it left without a word, or what came is no handshake
    };

    // Never waits. `message` is a view that the next call ends; a damaged message is skipped.
    eReceived receive(tovi::SMUConn::sDecodedMsg &message);

    // False when the message is longer than the link carries, or does not go out in time, which closes the link. Any
    // message but the answer to the identification can be hit by a fault of the plan.
    bool send(const Message &message);

    // Sends the messages that are late, once they are due; `lateAtMSec` of platform::getTimeNowMSec is the next time.
    void sendLate();
    std::optional<u64> lateAtMSec() const;

    // It stays open, and nothing passes any more.
    bool hasVanished() const { return m_hasVanished; }

    // The bridge has said who it is, so that messages are meant for it.
    bool isIdentified() const { return m_isIdentified; }
    bool isOpen() const { return m_channel.virt_isOpen(); }
    int descriptor() const { return m_channel.getSocket().socketID; }

  private:
    using Frame = LumoFaults::Bytes;
    struct Late
    {
        u64 atMSec;
        Message message;
        Frame frame;
    };

    eReceived shakeHands();
    eReceived readMessage(tovi::SMUConn::sDecodedMsg &message);
    bool frameOf(const Message &message, Frame &out);
    bool sendHit(const Message &message, const Frame &frame, const LumoFaults::Fault &fault);
    bool put(const Message &message, const Frame &frame, const LumoFaults::Fault &fault);

    tovi::ProtocolChSocketTCP m_channel;
    tovi::ProtocolConsole m_protocol;
    tovi::ProtocolBuffer m_received;
    LumoFaults::FaultPlan &m_plan;
    const LumoFaults::Journal &m_journal;
    std::deque<Late> m_late; // the first is due first
    bool m_hasVanished = false;
    bool m_isGreeted = false;
    bool m_isIdentified = false;
};

} // namespace LumoSmuSim
