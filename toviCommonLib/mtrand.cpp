#include "toviCommonLib/mtrand.h"

namespace tovi
{

namespace
{

constexpr u32 MIDDLE = 397; // distance of the word that is mixed in
constexpr u32 MATRIX_A = 0x9908B0DF;
constexpr u32 TOP_BIT = 0x80000000;
constexpr u32 SEED_FACTOR = 1812433253;

u32 mixed(u32 upper, u32 lower, u32 middle)
{
    const u32 joined = (upper & TOP_BIT) | (lower & ~TOP_BIT);
    return middle ^ (joined >> 1) ^ ((lower & 1) ? MATRIX_A : 0);
}

} // namespace

void MTRand_int32::seed(u32 value)
{
    m_state[0] = value;
    for (u32 i = 1; i < STATE_LEN; ++i)
        m_state[i] = SEED_FACTOR * (m_state[i - 1] ^ (m_state[i - 1] >> 30)) + i;
    m_used = STATE_LEN;
}

u32 MTRand_int32::next()
{
    if (m_used == STATE_LEN)
        renewState();
    u32 word = m_state[m_used++];
    word ^= word >> 11;
    word ^= (word << 7) & 0x9D2C5680;
    word ^= (word << 15) & 0xEFC60000;
    return word ^ (word >> 18);
}

// Three loops instead of indices modulo 624.
void MTRand_int32::renewState()
{
    u32 i = 0;
    for (; i < STATE_LEN - MIDDLE; ++i)
        m_state[i] = mixed(m_state[i], m_state[i + 1], m_state[i + MIDDLE]);
    for (; i < STATE_LEN - 1; ++i)
        m_state[i] = mixed(m_state[i], m_state[i + 1], m_state[i + MIDDLE - STATE_LEN]);
    m_state[i] = mixed(m_state[i], m_state[0], m_state[MIDDLE - 1]);
    m_used = 0;
}

} // namespace tovi
