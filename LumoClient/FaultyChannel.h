// A channel that misbehaves as it is ordered, and keeps the journal of what passes through it. Each write has to be one
// packet. Used by one thread at a time; owns the channel below it.
#pragma once

#include "LumoClient/ByteChannel.h"
#include "LumoClient/PacketJournal.h"

#include <deque>
#include <memory>

namespace LumoClient
{

// What all connections of the client share. Outlives their channels.
struct Misbehaviour
{
    LumoFaults::FaultPlan plan{LumoFaults::eSide::client};
    LumoFaults::Journal journal;
    std::vector<std::unique_ptr<ByteChannel>> vanished; // open, but without a sound
};

class FaultyChannel final : public ByteChannel
{
  public:
    FaultyChannel(std::unique_ptr<ByteChannel> channel, Misbehaviour &misbehaviour);
    ~FaultyChannel() override;
    FaultyChannel(const FaultyChannel &) = delete;
    FaultyChannel &operator=(const FaultyChannel &) = delete;

    std::optional<size_t> read(std::span<u8> into, u32 timeoutMSec) override;
    bool write(std::span<const u8> packet) override;
    void close() override;
    void pause(u32 msec) override { m_channel->pause(msec); }
    bool isPolled() const override { return m_channel->isPolled(); }
    u32 lineMSec(size_t byteCount) const override { return m_channel->lineMSec(byteCount); }
    u64 nowMSec() const override { return m_channel->nowMSec(); }

  private:
    struct Late
    {
        u64 atMSec;
        Bytes packet;
    };

    bool writeHit(std::span<const u8> packet, const LumoFaults::Fault &fault);
    bool put(std::span<const u8> packet, const LumoFaults::Fault &fault);
    bool putLate();
    bool lose(const char *how);

    std::unique_ptr<ByteChannel> m_channel;
    Misbehaviour &m_misbehaviour;
    PacketJournal m_journal;
    std::deque<Late> m_late; // the first is due first
    bool m_hasVanished = false;
};

} // namespace LumoClient
