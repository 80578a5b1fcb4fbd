#include "LumoClient/PacketCodec.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

namespace
{

using namespace LumoClient;
using LTProtocol::eCommandType;

const Bytes ACK = Hex("60 00 05 2A 01 59 E2");

using Packets = std::vector<std::string>;

// What the decoder yields, as "type/payload length" texts.
Packets Drain(PacketDecoder &decoder)
{
    Packets packets;
    while (const std::optional<Packet> packet = decoder.next())
        packets.push_back(std::to_string(static_cast<int>(packet->type)) + "/" +
                          std::to_string(packet->payload.size()));
    return packets;
}

Packets Decode(PacketDecoder &decoder, const Bytes &bytes)
{
    decoder.feed(bytes);
    return Drain(decoder);
}

Bytes Joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(PacketCodec, EncodesTheAckPacketAndNothingBeyondTheLongest)
{
    EXPECT_EQ(encodePacket(eCommandType::CMD, Hex("01")), ACK);
    EXPECT_TRUE(encodePacket(eCommandType::DATA, Bytes(65530)).empty());
}

TEST(PacketDecoder, TakesEverySplitOfTwoPacketsBehindGarbage)
{
    const Bytes stream = Joined({Hex("00 FF 2A"), ACK, ACK});
    for (size_t split = 0; split <= stream.size(); ++split)
    {
        PacketDecoder decoder;
        const std::span<const u8> all(stream);
        decoder.feed(all.first(split));
        Packets packets = Drain(decoder);
        decoder.feed(all.subspan(split));
        for (const std::string &packet : Drain(decoder))
            packets.push_back(packet);
        EXPECT_EQ(packets, (Packets{"42/1", "42/1"})) << "split at " << split;
        EXPECT_EQ(decoder.damagedCount(), 0u);
    }
}

TEST(PacketDecoder, SkipsAPacketWithAnyByteDamagedAndFindsTheNext)
{
    for (size_t damaged = 1; damaged < ACK.size(); ++damaged)
    {
        Bytes first = ACK;
        first[damaged] ^= 0x80;
        PacketDecoder decoder;
        Packets packets = Decode(decoder, Joined({first, ACK}));
        for (int silence = 0; silence < 2 && packets.empty(); ++silence) // a damaged length waits for bytes
        {
            decoder.skipPartial();
            packets = Drain(decoder);
        }
        EXPECT_EQ(packets, Packets{"42/1"}) << "byte " << damaged;
    }
}

} // namespace
