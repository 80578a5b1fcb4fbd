// MT19937, the Mersenne Twister with outputs of 32 bits (M. Matsumoto, T. Nishimura, 1998; their seeding of 2002).
// For keys of a handshake and for chance, not for secrets. An instance belongs to one thread; instances share nothing.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <array>

namespace tovi
{

class MTRand_int32
{
  public:
    static constexpr u32 DEFAULT_SEED = 5489; // the authors' own

    explicit MTRand_int32(u32 value = DEFAULT_SEED) { seed(value); }

    // Starts the sequence of this seed from its first output.
    void seed(u32 value);

    // Any 32-bit number; the sequence repeats after 2^19937 - 1 outputs.
    u32 next();

  private:
    static constexpr u32 STATE_LEN = 624;

    void renewState();

    std::array<u32, STATE_LEN> m_state;
    u32 m_used; // words of m_state already put out
};

} // namespace tovi
