// The client under load. It obeys the link's rules: one packet a write, and never a second one before the bridge has read
// the first. What shows that it was read: an answer to it; a value that the bridge held back until then; or, where
// nothing comes, the kernel's count of the bytes that wait to be read. A REQUEST needs no ACK of the value before it: it
// is a sign of readiness itself.
// Used by one thread. Owns its descriptor. Whatever goes wrong throws std::runtime_error.
#pragma once

#include "bench/Packets.h"
#include "tests/Descriptor.h"

#include <optional>

namespace LumoBench
{

class ClientEnd
{
  public:
    struct Packet
    {
        LTProtocol::eCommandType type;
        std::span<const u8> payload; // valid until the next packet is received
    };

    // Tries to connect until somebody listens.
    static ClientEnd onTcp(const std::string &ip, u16 port);
    static ClientEnd onLine(const std::string &device);

    void setNoDelay(bool on) const; // switches Nagle's algorithm off, as it is from the start
    bool isLine() const { return m_isLine; }

    void send(LTProtocol::eCommandType type, std::span<const u8> head, std::span<const u8> body = {});
    void acknowledge();
    void poll();
    void awaitRead() const; // TCP: until the bridge has read all that was sent

    Packet receive();                              // the next whole packet
    Packet receive(LTProtocol::eCommandType type); // passes over the polls of a serial line; no other type may come
    std::optional<Packet> receiveWithin(int timeoutMSec); // nothing when no packet begins in time

    // Leaves the bridge on a serial line waiting for what comes next.
    void awaitPoll();

    // ---- What is measured.

    void askVariable(u32 variable); // request, notice, value
    void askSilent(u32 variable);   // request and notice alone
    void askInFlood(u32 variable);  // from the next value on; leaves the answer without its ACK
    void setVariable(u32 variable, u32 value);
    void setBuffer(u32 variable, u32 size); // while values may come, which are passed over without an ACK
    void takeValues(u32 count);             // acknowledges each but the last
    void rest();                            // acknowledges the last value

  private:
    ClientEnd(Descriptor link, bool isLine) : m_link(std::move(link)), m_isLine(isLine) {}

    bool isReady(int timeoutMSec) const;
    void fill(size_t wanted);

    Descriptor m_link;
    bool m_isLine;
    Bytes m_out;
    Bytes m_in = Bytes(2 * LTProtocol::PACKET_LEN_MAX);
    size_t m_begin = 0; // the bytes received and not yet returned
    size_t m_end = 0;
};

} // namespace LumoBench
