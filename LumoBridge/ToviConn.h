// ToviConn: turns messages of the machine link into records and records into messages. Used by the main thread alone.
#pragma once

#include "LumoBridge/LTData.h"
#include "toviCommonLib/toviSMUConn.h"

enum class eToviConnStatus : u8
{
    EMPTY = 0,   // nothing more to read
    MESSAGE = 1, // the record was filled
    NONE = 2,    // messages were consumed that yield no record: call again
    ABORT = 255  // the link is lost, or the machine ended it
};

enum class eTovConnCommand : u32
{
    LINK = tovi::smu::COMMAND_LINK // state of the client link
};

class ToviConn
{
  public:
    static constexpr u16 WHAT_COMMAND = tovi::smu::WHAT_COMMAND;
    static constexpr u16 WHAT_VARIABLE = tovi::smu::WHAT_VARIABLE;
    static constexpr u16 WHAT_FILE = tovi::smu::WHAT_FILE;
    static constexpr u16 WHAT_ACK = tovi::smu::WHAT_ACK;
    static constexpr u16 WHAT_DIE = tovi::smu::WHAT_DIE;

    // Connects to a dotted address; port 0 is 2283. `cancel` (borrowed, may be null) gives up when it was fired.
    bool Connect(const char *address, u16 port, const sOSEvent *cancel);

    // As above, in one attempt, on a connected socket; it is owned from here on.
    bool Connect(const OSSocket &connected);

    // The port that Connect uses for `port`.
    static u16 ConnectionPort(u16 port) { return port != 0 ? port : tovi::smu::PORT_DEFAULT; }

    // Reads on to the next message that yields a record, without waiting; a run of others is cut by NONE.
    eToviConnStatus MessageProcess(LT_Proto::LTData &record);

    // Writes what the machine takes at once and keeps the rest as the tail, which goes out by Flush. False when the message was
    // not taken: a tail is there, the link is dead, or the message is above 65535 bytes.
    bool MessageSend(const LT_Proto::LTData &record);

    bool HasTail() const { return m_smuConn.hasTail(); }
    void Flush();

    // Nothing reaches the machine any more: a write failed, MessageProcess gave ABORT, or PeerDropIfGone was true.
    bool IsDead() const { return m_isDead; }

    // The machine hears at once that what it sent has come.
    void AcknowledgeNow() { m_smuConn.acknowledgeNow(); }

    // True when the machine vanished without a word; the link is dead then. Worth a call every half second: while bytes are on
    // their way to it, no read tells.
    bool PeerDropIfGone();

    const OSSocket &getSocket() const { return m_smuConn.getSocket(); }

  private:
    eToviConnStatus MessageRead(LT_Proto::LTData &record);
    eToviConnStatus MessageDecode(LT_Proto::LTData &record) const;

    tovi::ProtocolBuffer m_rcvBuffer; // one message at a time
    tovi::SMUConn m_smuConn;
    bool m_isDead = false;
};
