// LumoSmuSim::PacketLoss: a line that swallows packets of the client link. It finds them in a stream of bytes by their start
// mark and length, checks nothing else, and lets pass what is no packet. Used by one thread at a time.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <vector>

namespace LumoSmuSim
{

class PacketLoss
{
  public:
    // Swallows the `nth` packet that begins from now on, and with `isEvery` each further nth one; 0: all pass.
    void swallow(u32 nth, bool isEvery);

    u32 swallowed() const { return m_swallowed; } // packets since then

    // Takes the next bytes of the stream and returns those that pass. What may be the mark and length of a packet, at most
    // 3 bytes, is held back until it is complete.
    std::vector<u8> pass(const std::vector<u8> &bytes);

  private:
    void take(u8 byte, std::vector<u8> &out);
    void begin(std::vector<u8> &out);

    u32 m_nth = 0;
    bool m_isEvery = false;
    u32 m_begun = 0; // packets since `swallow`
    u32 m_swallowed = 0;
    std::vector<u8> m_head; // mark and length, as far as they came
    u32 m_rest = 0;         // bytes that the packet still lacks
    bool m_isSwallowing = false;
};

} // namespace LumoSmuSim
