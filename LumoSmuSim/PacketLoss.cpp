#include "LumoSmuSim/PacketLoss.h"

#include <utility>

namespace LumoSmuSim
{
namespace
{

// Packet: start mark | L (2), most significant byte first, counts from the mark to the payload's end | ... | CRC (2)
constexpr u8 START_MARK = 0x60;
constexpr u32 HEAD_LEN = 3;
constexpr u32 LENGTH_MIN = 4;
constexpr u32 CRC_LEN = 2;

} // namespace

void PacketLoss::swallow(u32 nth, bool isEvery)
{
    *this = PacketLoss();
    m_nth = nth;
    m_isEvery = isEvery;
}

std::vector<u8> PacketLoss::pass(const std::vector<u8> &bytes)
{
    if (m_nth == 0)
        return bytes;
    std::vector<u8> out;
    for (u8 byte : bytes)
        take(byte, out);
    return out;
}

void PacketLoss::take(u8 byte, std::vector<u8> &out)
{
    if (m_rest != 0)
    {
        --m_rest;
        if (!m_isSwallowing)
            out.push_back(byte);
        return;
    }
    if (m_head.empty() && byte != START_MARK)
    {
        out.push_back(byte);
        return;
    }
    m_head.push_back(byte);
    if (m_head.size() == HEAD_LEN)
        begin(out);
}

// The head is complete. One with a length that no packet has is no packet, and holds no other mark.
void PacketLoss::begin(std::vector<u8> &out)
{
    const std::vector<u8> head = std::exchange(m_head, {});
    const u32 length = u32{head[1]} << 8 | head[2];
    if (length < LENGTH_MIN)
    {
        out.insert(out.end(), head.begin(), head.end());
        return;
    }
    ++m_begun;
    m_isSwallowing = m_isEvery ? m_begun % m_nth == 0 : m_begun == m_nth;
    m_rest = length + CRC_LEN - HEAD_LEN;
    if (m_isSwallowing)
        ++m_swallowed;
    else
        out.insert(out.end(), head.begin(), head.end());
}

} // namespace LumoSmuSim
