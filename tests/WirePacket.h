// Packets of both links as tests write them: Framed("2A 01") is the whole ACK packet. Checksums are computed by their
// definition, the CRC one bit at a time, apart from the code under test.
#pragma once

#include "tests/HexBytes.h"

#include <algorithm>
#include <span>

inline u16 Crc16BitByBit(std::span<const u8> data)
{
    u32 crc = 0;
    for (u8 byte : data)
        for (int bit = 7; bit >= 0; --bit)
        {
            const u32 feedback = (crc >> 15) ^ ((u32{byte} >> bit) & 1u);
            crc = ((crc << 1) & 0xFFFF) ^ (feedback != 0 ? 0x0589u : 0u);
        }
    return static_cast<u16>(crc);
}

// `content` is the command type and the payload.
inline std::vector<u8> Framed(const std::vector<u8> &content)
{
    std::vector<u8> packet(3 + content.size());
    packet[0] = 0x60;
    std::copy(content.begin(), content.end(), packet.begin() + 3);
    packet[1] = static_cast<u8>(packet.size() >> 8);
    packet[2] = static_cast<u8>(packet.size());
    const u16 crc = Crc16BitByBit(packet);
    packet.push_back(static_cast<u8>(crc >> 8));
    packet.push_back(static_cast<u8>(crc));
    return packet;
}

inline std::vector<u8> Framed(const std::string &content)
{
    return Framed(Hex(content));
}

// A message of the machine link in its frame.
inline std::vector<u8> consoleFrame(const std::vector<u8> &message)
{
    u32 sum = 0;
    for (u8 byte : message)
        sum += byte;
    const size_t n = message.size();
    std::vector<u8> frame = {0xC8, 0xA6, static_cast<u8>(n > 255 ? 0xFE : 0xFD)};
    if (n > 255)
        frame.push_back(static_cast<u8>(n >> 8));
    frame.push_back(static_cast<u8>(n));
    frame.insert(frame.end(), message.begin(), message.end());
    if (n > 255)
        frame.push_back(static_cast<u8>(sum >> 8));
    frame.push_back(static_cast<u8>(sum));
    return frame;
}
