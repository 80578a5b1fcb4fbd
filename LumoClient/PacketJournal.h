// Packets of one connection as events of the journal. Used by one thread.
#pragma once

#include "LumoClient/PacketCodec.h"
#include "tools/Faults/FaultPlan.h"
#include "tools/Faults/Journal.h"

namespace LumoClient
{

class PacketJournal
{
  public:
    explicit PacketJournal(const LumoFaults::Journal &journal) : m_journal(journal) {}

    void opened(bool isPolled) const;
    void closed(const char *how); // only the first counts

    // One whole packet is about to go out, or is hit so that it will not.
    void sent(std::span<const u8> packet, LumoFaults::eVerb fault);

    // Any piece of what came in.
    void received(std::span<const u8> bytes);

  private:
    void receivedPacket(const Packet &packet);

    const LumoFaults::Journal &m_journal;
    PacketDecoder m_decoder;
    bool m_hasSentValue = false; // and nothing since that has an answer
    bool m_isClosed = false;
};

} // namespace LumoClient
