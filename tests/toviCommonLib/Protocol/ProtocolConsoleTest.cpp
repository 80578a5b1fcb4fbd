#include "toviCommonLib/Protocol/ProtocolConsole.h"
#include "toviCommonLib/toviUtils.h"

#include <functional>
#include <gtest/gtest.h>

using namespace tovi;
using namespace std::string_literals;

const std::string SHORT = "\xC8\xA6\xFD\x02\x41\x42\x83"; // AB
const std::string LONG = "\xC8\xA6\xFE\x01\x2C" + std::string(300, 1) + "\x01\x2C";

// The protocol over a channel that takes `room` bytes per write and may answer what was sent, with a log.
struct Console : testing::Test, IProtocolChannell, ISimpleLogger
{
    Console() : IProtocolChannell(memory_getSysHeapAllocator(), 64, 65535) {}
    bool virt_isOpen() const override { return true; }
    void virt_close() override {}
    u32 virt_read(u8 *buffer, u32 maxBytes, u32) override
    {
        if (failure != 0)
            return failure;
        const std::string now = incoming.substr(0, maxBytes);
        incoming.erase(0, maxBytes);
        return static_cast<u32>(std::copy(now.begin(), now.end(), buffer) - buffer);
    }
    u32 virt_write(const u8 *bytes, u32 nBytes) override
    {
        sent.append(bytes, bytes + std::min(nBytes, room));
        incoming += answer ? answer(sent) : "";
        return std::min(nBytes, room);
    }
    void incIndent() override {}
    void decIndent() override {}
    void vlog(const char *format, va_list args) override { std::vsnprintf(lastLog, sizeof lastLog, format, args); }
    void vlog(u8, const char *, va_list) override {}
    void vlogWithPrefix(const char *, const char *, va_list) override {}
    void vlogWithPrefix(const char *, u8, const char *, va_list) override {}

    // The payload that one read gives when these bytes have arrived.
    std::string receive(const std::string &arriving)
    {
        incoming += arriving;
        ProtocolBuffer out;
        out.setup(memory_getSysHeapAllocator(), 0);
        result = console.read(this, 0, out);
        return {out.data(), out.data() + out.getCursor()};
    }
    // What goes out for this payload.
    std::string send(const std::string &payload, u32 roomPerWrite = 0xFFFF)
    {
        room = roomPerWrite;
        sent.clear();
        console.write(this, utils::asBytes(payload.data()), static_cast<u16>(payload.size()), 0);
        return sent;
    }
    bool greet(std::function<std::string(std::string)> peer)
    {
        answer = peer;
        sent.clear();
        return console.handshake_clientSend(this, this);
    }

    ProtocolConsole console{memory_getSysHeapAllocator(), 16};
    std::function<std::string(std::string)> answer;
    std::string incoming, sent;
    u32 room = 0xFFFF, result = 0, failure = 0;
    char lastLog[128] = "";
};

TEST_F(Console, SendsShortAndLongFramesAndTheRestOfATornOneFirst)
{
    EXPECT_EQ(send(std::string(300, 1)), LONG);
    EXPECT_TRUE(send(std::string(255, 1)).starts_with("\xC8\xA6\xFD\xFF\x01"));
    EXPECT_TRUE(send(std::string(256, 1)).starts_with("\xC8\xA6\xFE\x01\0"s));
    EXPECT_EQ(send(""), "");
    EXPECT_EQ(console.write(this, nullptr, 1, 0), 0u);
    EXPECT_EQ(send("CD", 0), "") << "of a frame that did not begin nothing is kept";
    EXPECT_EQ(send("AB", 3), "\xC8\xA6\xFD");
    EXPECT_EQ(send("CD", 2), "\x02\x41") << "nothing of a new frame while the old one is stuck";
    EXPECT_EQ(send("AB"), "\x42\x83" + SHORT);
}

TEST_F(Console, FindsAFrameSplitAnywhereAndOneBehindADamagedOne)
{
    for (const std::string &frame : {SHORT, LONG})
        for (size_t at = 0; at < frame.size(); ++at)
        {
            EXPECT_EQ(receive(frame.substr(0, at)), "");
            EXPECT_EQ(receive(frame.substr(at)), frame == SHORT ? "AB" : std::string(300, 1)) << at;
            std::string damaged = frame;
            damaged[at] ^= 1;
            EXPECT_EQ(receive(damaged + SHORT), "AB") << at;
        }
}

TEST_F(Console, SkipsWhatIsNoFrameAndEndsAtACloseFrame)
{
    for (const std::string &garbage : {"xx"s, "\xC8"s, "\xC8\xA6\xFD\0\0"s, "\xC8\xA6\xFE\xFF\xF9"s})
        EXPECT_EQ(receive(garbage + SHORT), "AB") << testing::PrintToString(garbage);
    EXPECT_TRUE(receive("xxxxx").empty());
    EXPECT_EQ(bufferR.getCursor(), 0);
    EXPECT_TRUE(receive("\xC8\xA6\x02" + SHORT).empty());
    EXPECT_EQ(result, RES_PROTOCOL_CLOSED);
    EXPECT_EQ(sent, "");
}

TEST_F(Console, OnlyTheComplementOfTheKeyAnswersAGreeting)
{
    EXPECT_TRUE(greet([](auto s) { return s.substr(0, 11) + static_cast<char>(~s.back()) + SHORT; }));
    EXPECT_EQ(receive(""), "AB") << "a message right behind the answer";
    EXPECT_FALSE(greet([](auto s) { return s; }));
    const int key = static_cast<u8>(sent[11]);
    EXPECT_EQ(lastLog, "Invalid answer: [TOVICONSOLE], received key=" + std::to_string(key) +
                           ", expected=" + std::to_string(255 - key) + "\n");
    EXPECT_FALSE(greet([](auto s) { return s.substr(0, 11); }));
    EXPECT_STREQ(lastLog, "FAIL\n");
    incoming = "TOVICONSOLE";
    EXPECT_EQ(read(0), 11);
    EXPECT_FALSE(console.handshake_serverAnswer(this, nullptr));
    incoming = "*"; // 2A
    EXPECT_EQ(read(0), 1);
    EXPECT_TRUE(console.handshake_serverAnswer(this, nullptr));
    EXPECT_TRUE(sent.ends_with("TOVICONSOLE\xD5"));
    failure = RES_CHANNEL_CLOSED;
    EXPECT_FALSE(greet(nullptr));
    EXPECT_STREQ(lastLog, "error while waiting. Error code is [-268435454]r\n");
}
