// LTProtocol::SendQueue: the packets that wait until the client is ready for them, in the order in which they go out.
// Used by one thread.
#pragma once

#include "LTProto/LTProto/PacketToSend.h"

#include <cstddef>
#include <list>

namespace LTProtocol
{

// Bounded in packets and in bytes of payload. Only spontaneous values make room for others, oldest first: an answer or a
// request is somebody's, a spontaneous value is soon followed by the next one.
class SendQueue
{
  public:
    static constexpr size_t PACKETS_MAX = 1024;
    static constexpr size_t BYTES_MAX = 4096 * 1024;

    struct sRoom
    {
        bool found;  // false when no spontaneous value could make it
        u32 dropped; // spontaneous values that had to leave
    };
    sRoom MakeRoom(u32 len);          // for a payload of `len` bytes
    void Push(PacketToSend &&packet); // once there is room

    bool IsEmpty() const { return m_packets.empty(); }
    const PacketToSend &Head() const { return m_packets.front(); } // not of an empty queue
    void RemoveHead() { Remove(m_packets.begin()); }               // not of an empty queue

    const PacketToSend *FirstRequest() const; // null when there is none
    void RemoveRequest(TicketNr ticketId);    // the one under that ticket, if there is one

    void Clear();

  private:
    using Packets = std::list<PacketToSend>;

    bool HasRoomFor(u32 len) const { return m_packets.size() < PACKETS_MAX && m_bytes + len <= BYTES_MAX; }
    bool DropSpontaneous();
    void Remove(Packets::iterator packet);

    Packets m_packets;
    size_t m_bytes = 0; // of payload, in all of them
};

} // namespace LTProtocol
