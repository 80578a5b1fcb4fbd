#include "toviCommonLib/tovimd5.h"

#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <bit>

namespace tovi
{

namespace
{

// Integer part of 2^32 x |sin(i + 1)|.
constexpr u32 SINES[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

constexpr int SHIFTS[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

} // namespace

MD5::Digest MD5::of(const void *data, u32 size)
{
    MD5 md5;
    md5.update(data, size);
    return md5.finish();
}

void MD5::update(const void *data, u32 size)
{
    const u8 *bytes = static_cast<const u8 *>(data);
    u32 filled = static_cast<u32>(m_size % BLOCK_LEN);
    m_size += size;
    if (filled != 0)
    {
        const u32 taken = std::min(BLOCK_LEN - filled, size);
        std::copy_n(bytes, taken, m_rest.begin() + filled);
        bytes += taken;
        size -= taken;
        if (filled + taken < BLOCK_LEN)
            return;
        addBlock(m_rest.data());
    }
    for (; size >= BLOCK_LEN; bytes += BLOCK_LEN, size -= BLOCK_LEN)
        addBlock(bytes);
    std::copy_n(bytes, size, m_rest.begin());
}

// The message ends with the byte 0x80, zeros, and its length in bits as the last 8 bytes of a block.
MD5::Digest MD5::finish()
{
    static constexpr std::array<u8, BLOCK_LEN> PADDING = {0x80};
    std::array<u8, 8> bitCount;
    utils::writeLsbMsbU32(&bitCount[0], static_cast<u32>(m_size << 3));
    utils::writeLsbMsbU32(&bitCount[4], static_cast<u32>(m_size >> 29));
    const u32 filled = static_cast<u32>(m_size % BLOCK_LEN);
    update(PADDING.data(), (filled < 56) ? 56 - filled : 120 - filled);
    update(bitCount.data(), 8);

    Digest digest;
    for (u32 i = 0; i < 4; ++i)
        utils::writeLsbMsbU32(&digest[i * 4], m_state[i]);
    *this = MD5();
    return digest;
}

void MD5::addBlock(const u8 *block)
{
    u32 words[16];
    for (u32 i = 0; i < 16; ++i)
        words[i] = utils::readLsbMsbU32(block + i * 4);

    u32 a = m_state[0], b = m_state[1], c = m_state[2], d = m_state[3];
    const auto step = [&](u32 i, u32 mixed, u32 word)
    {
        const u32 turned = std::rotl(a + mixed + words[word % 16] + SINES[i], SHIFTS[i / 16][i % 4]);
        a = d;
        d = c;
        c = b;
        b += turned;
    };
    for (u32 i = 0; i < 16; ++i)
        step(i, (b & c) | (~b & d), i);
    for (u32 i = 16; i < 32; ++i)
        step(i, (b & d) | (c & ~d), 5 * i + 1);
    for (u32 i = 32; i < 48; ++i)
        step(i, b ^ c ^ d, 3 * i + 5);
    for (u32 i = 48; i < 64; ++i)
        step(i, c ^ (b | ~d), 7 * i);

    m_state = {m_state[0] + a, m_state[1] + b, m_state[2] + c, m_state[3] + d};
}

} // namespace tovi
