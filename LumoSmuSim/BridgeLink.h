// The server end of the machine link to one bridge: handshake, then messages. Owns its socket; used by one thread.
// Between tovi::init and tovi::deinit.
#pragma once

#include "LumoSmuSim/Machine.h"
#include "toviCommonLib/Protocol/ProtocolChSocketTCP.h"
#include "toviCommonLib/Protocol/ProtocolConsole.h"

namespace LumoSmuSim
{

class BridgeLink
{
  public:
    explicit BridgeLink(OSSocket accepted); // takes the socket over
    ~BridgeLink();                          // tells the bridge the end
    BridgeLink(const BridgeLink &) = delete;
    BridgeLink &operator=(const BridgeLink &) = delete;

    enum class eReceived
    {
        NOTHING, // no whole message is there
        MESSAGE,
        LOST // the bridge left, or what came is no handshake
    };

    // Never waits. `message` is a view that the next call ends; a damaged message is skipped.
    eReceived receive(tovi::SMUConn::sDecodedMsg &message);

    // False when the message is longer than the link carries, or does not go out in time, which closes the link.
    bool send(const Message &message);

    // The bridge has said who it is, so that messages are meant for it.
    bool isIdentified() const { return m_isIdentified; }
    bool isOpen() const { return m_channel.virt_isOpen(); }
    int descriptor() const { return m_channel.getSocket().socketID; }

  private:
    eReceived shakeHands();
    eReceived readMessage(tovi::SMUConn::sDecodedMsg &message);

    tovi::ProtocolChSocketTCP m_channel;
    tovi::ProtocolConsole m_protocol;
    tovi::ProtocolBuffer m_received;
    bool m_isGreeted = false;
    bool m_isIdentified = false;
};

} // namespace LumoSmuSim
