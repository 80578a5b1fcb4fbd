// One packet at a time over a ByteChannel: when the client may send, what is sent again, what is asked for again.
// Used by one thread at a time. Owns its channel.
//
// The bridge handles the first packet of whatever it reads at once and drops the bytes behind it, so a second packet
// must not leave before the first was read. A reply proves that; an ACK or a POLLING often draws none, and then a pause
// has to do. "An ACK directly followed by a request" is the usual trap.
#pragma once

#include "LumoClient/ByteChannel.h"
#include "LumoClient/PacketCodec.h"

#include <deque>
#include <memory>

namespace LumoClient
{

// Time for the bridge to read a packet that it does not answer. Its thread wakes for each arrival and needs a few
// milliseconds at most; the rest is for a busy board.
constexpr u32 PAUSE_MSEC = 30;

// How often one packet is sent again after the bridge found its checksum wrong, and how many damaged packets in a row
// are asked for again.
constexpr u32 RESEND_MAX = 3;

// A packet whose bytes stop arriving for this long is given up. On a serial line that has to be well before the bridge
// polls anew, 250 ms after its last byte: the poll takes the place of the packet that could be asked for again.
constexpr u32 PARTIAL_MSEC = 500;
constexpr u32 PARTIAL_POLLED_MSEC = 150;

// The bridge polls 250 ms after the last byte of either side. A poll that comes sooner after a packet of ours left before
// the bridge had read it.
constexpr u32 POLL_CROSSING_MSEC = 200;

class PacketLink
{
  public:
    explicit PacketLink(std::unique_ptr<ByteChannel> channel) : m_channel(std::move(channel)) {}

    // Waits out the pause that the last packet needs, then writes the packet in one piece. The payload is at most
    // LTProtocol::PACKET_PAYLOAD_MAX bytes. False when the link is lost, which closes it.
    bool send(LTProtocol::eCommandType type, std::span<const u8> payload);
    bool sendCommand(LTProtocol::eCommandCode code);
    bool sendNack(u16 errorCode);

    // The next packet that comes before `untilMSec` of the channel's clock; nothing when none came or the link is lost.
    // A NACK for a wrong checksum is handled here, by sending again; it is returned only when the resends are used up.
    std::optional<Packet> receive(u64 untilMSec);

    // Whether a damaged packet is asked for again, as it is from the start. The NACK for it would end a file on its way to
    // the bridge.
    void setAsksAgain(bool asksAgain) { m_asksAgain = asksAgain; }

    bool isOpen() const { return m_isOpen; }
    bool hasHeard() const { return m_hasHeard; } // a packet has come since the link was opened
    bool isPolled() const { return m_channel->isPolled(); }
    u64 nowMSec() const { return m_channel->nowMSec(); }
    u64 heardAtMSec() const { return m_heardAtMSec; } // when bytes came last

    // Whether the poll just heard may have crossed the packet sent last: then it says nothing about that packet.
    bool pollMayCross() const { return m_heardAtMSec < m_sentAtMSec + lastSentLineMSec() + POLL_CROSSING_MSEC; }
    u32 lineMSec(size_t byteCount) const { return m_channel->lineMSec(byteCount); }

  private:
    u32 lastSentLineMSec() const;
    void pauseUntilRead();
    bool transmit();
    bool sendAgain();
    void gather(u64 untilMSec);
    void decode();
    u64 partialEndMSec() const;
    void accept(Packet packet);
    void askAgain();
    void close();

    std::unique_ptr<ByteChannel> m_channel;
    PacketDecoder m_decoder;
    std::deque<Packet> m_inbox;
    Bytes m_lastSent;
    u32 m_resendCount = 0; // of m_lastSent
    u64 m_sentAtMSec = 0;
    bool m_isRead = true;      // the bridge is known to have read m_lastSent
    bool m_wantsReply = false; // m_lastSent is of the kinds that always draw a reply
    u64 m_heardAtMSec = 0;
    u32 m_damagedSeen = 0; // damage already asked about
    u32 m_askedAgain = 0;  // times in a row
    bool m_asksAgain = true;
    bool m_hasHeard = false;
    bool m_isOpen = true;
};

} // namespace LumoClient
