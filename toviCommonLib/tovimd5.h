// MD5 message digest (R. Rivest, RFC 1321), of a whole buffer or piece by piece. To recognise data, not to protect it.
// An instance belongs to one thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <array>

namespace tovi
{

class MD5
{
  public:
    using Digest = std::array<u8, 16>; // in the order in which it is printed

    static Digest of(const void *data, u32 size);

    void update(const void *data, u32 size);

    // The digest of all bytes since the start; the next update starts a new message.
    Digest finish();

  private:
    static constexpr u32 BLOCK_LEN = 64;

    void addBlock(const u8 *block);

    std::array<u32, 4> m_state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476}; // A, B, C, D
    std::array<u8, BLOCK_LEN> m_rest;                                              // bytes that fill no block yet
    u64 m_size = 0;                                                                // bytes of the message so far
};

} // namespace tovi
