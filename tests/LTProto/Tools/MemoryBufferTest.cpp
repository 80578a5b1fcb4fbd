#include "LTProto/Tools/MemoryBuffer.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using Tools::MemoryBuffer;
using namespace std::string_literals;

MemoryBuffer Bytes(const std::string &hex)
{
    const std::vector<u8> bytes = Hex(hex);
    return MemoryBuffer(static_cast<u32>(bytes.size()), bytes.data());
}

TEST(MemoryBuffer, EveryChangeLeavesItsBytes)
{
    const struct
    {
        const char *name;
        std::function<u32(MemoryBuffer &)> change; // of AA BB
        const char *after;
        u32 result;
    } CASES[] = {
        {"Set pads to the minimum", [](auto &b) { return b.Set(3, "ab\0", 6, '*'); }, "61 62 00 2a 2a 2a", true},
        {"Set of null with a length", [](auto &b) { return b.Set(2, nullptr, 1, '\xFF'); }, "ff ff", true},
        {"Set of a string keeps its zeros", [](auto &b) { return b.Set("a\0b"s, 4, ' '); }, "61 00 62 20", true},
        {"Set of its own bytes", [](auto &b) { return b.Set(1, b.m_ptr.get() + 1); }, "bb", true},
        {"Add of itself", [](auto &b) { return b.Add(b); }, "aa bb aa bb", 4},
        {"Add of its own bytes", [](auto &b) { return b.Add(1, b.m_ptr.get() + 1); }, "aa bb bb", 3},
        {"Add of texts", [](auto &b) { return b.Add("a"), b.Add("\0b"s); }, "aa bb 61 00 62", 5},
        {"Add above 32 bits", [](auto &b) { return b.Add(0xFFFFFFFF, b.m_ptr.get()); }, "aa bb", 2},
        {"Add after SizeReduce", [](auto &b) { return b.SizeReduce(1), b.Add("a"); }, "aa 61", 2},
        {"SizeReduce by too much", [](auto &b) { return b.SizeReduce(3); }, "aa bb", 2},
        {"ToLsbMsb", [](auto &b) { return b.ToLsbMsb(0x0102, 3); }, "02 01 00", true},
        {"ToLsbMsb of 9 bytes", [](auto &b) { return b.ToLsbMsb(1, 9); }, "aa bb", false},
        {"ToMsbLsb", [](auto &b) { return b.ToMsbLsb(0x0102, 3); }, "00 01 02", true},
        {"ToMsbLsb of 9 bytes", [](auto &b) { return b.ToMsbLsb(1, 9); }, "aa bb", false},
        {"AddLsbMsb", [](auto &b) { return b.AddLsbMsb(0x11223344, 6); }, "aa bb 44 33 22 11 00 00", 8},
        {"AddLsbMsb of 9 to none", [](auto &b) { return b.Clear(), b.AddLsbMsb(1, 9); }, "", 0},
        {"AddMsbLsb", [](auto &b) { return b.AddMsbLsb(0x11223344, 6); }, "aa bb 00 00 11 22 33 44", 8},
        {"AddMsbLsb of 9 to none", [](auto &b) { return b.Clear(), b.AddMsbLsb(1, 9); }, "", 0},
        {"AddMsbLsb above 32 bits", [](auto &b) { return b.AddMsbLsb(1, 0xFFFFFFFF); }, "aa bb", 2},
        {"InsertLsbMsb of at most 4", [](auto &b) { return b.InsertLsbMsb(0x11223344, 8); }, "44 33 22 11 aa bb", 4},
        {"Sanitize", [](auto &b) { return b.Set(" ~\x7f\n"), b.SanitizeAsAsciiString('?'); }, "20 7e 3f 3f", true},
        {"Sanitize finds none", [](auto &b) { return b.Set(" ~"), b.SanitizeAsAsciiString('?'); }, "20 7e", false},
    };
    for (const auto &c : CASES)
    {
        MemoryBuffer buffer = Bytes("AA BB");
        EXPECT_EQ(c.change(buffer), c.result) << c.name;
        EXPECT_EQ(buffer.ToHex(0, ' '), c.after) << c.name;
    }
}

TEST(MemoryBuffer, CopiesMovesAndSumsGoByTheLengthComparisonsByThePrefix)
{
    MemoryBuffer shortened = Bytes("01 02 03");
    shortened.SizeReduce(1);
    MemoryBuffer copy(shortened);
    EXPECT_EQ(copy, Bytes("01 02"));
    const MemoryBuffer taken(std::move(copy));
    EXPECT_EQ(taken, shortened);
    EXPECT_EQ(copy.m_len, 0);
    EXPECT_EQ(copy.m_ptr, nullptr);
    EXPECT_EQ(taken + taken + "a" + "\0b"s, Bytes("01 02 01 02 61 00 62"));
    EXPECT_EQ(MemoryBuffer(static_cast<const char *>(nullptr), 4).m_len, 0u);
    const MemoryBuffer &same = shortened;
    shortened = same;
    EXPECT_EQ(shortened.m_len, 0u) << "assigned to itself it is empty";

    const MemoryBuffer empty, abc("abc");
    EXPECT_EQ(abc.Compare("abcd"), 0);
    EXPECT_TRUE(empty.Compare(static_cast<const char *>(nullptr)) == 0);
    EXPECT_EQ(empty.Compare("a"s), -1);
    EXPECT_EQ(abc.Compare(empty), 1);
    EXPECT_TRUE(abc.Compare(2, "aa") > 0);
    EXPECT_TRUE(abc.Compare("abd") < 0);
    EXPECT_TRUE(abc != MemoryBuffer("abcd"));
    EXPECT_TRUE(abc != MemoryBuffer("abd"));
}

TEST(MemoryBuffer, ReadsAndWritesNumbersWithinItsBytes)
{
    const MemoryBuffer five = Bytes("F1 02 03 04 05");
    EXPECT_EQ(five.FromLsbMsb(5, 0), 0x040302F1u);
    EXPECT_EQ(five.FromLsbMsb(4, 4), 0x05u);
    EXPECT_EQ(five.FromMsbLsb(2, 1), 0x0203u);
    EXPECT_EQ(five.FromMsbLsb(5, 0), 0xF1020304u);
    EXPECT_EQ(five.FromMsbLsb(5, 1), 0u);
    EXPECT_EQ(five.FromMsbLsb(0xFFFFFFFF, 2), 0u);
    u8 out[5] = {};
    EXPECT_EQ(MemoryBuffer::ToLsbMsb(0x11223344, out, 9), 4u);
    EXPECT_EQ(MemoryBuffer::ToLsbMsb(0xAABBCCDD, out, 2), 2u);
    EXPECT_EQ(MemoryBuffer(5, out), Bytes("dd cc 22 11 00"));
}

TEST(MemoryBuffer, SubTakesAnEndExtractTakesACount)
{
    const MemoryBuffer ten = Bytes("00 01 02 03 04 05 06 07 08 09");
    EXPECT_EQ(ten.Sub(2, 5), Bytes("02 03 04"));
    EXPECT_EQ(ten.Sub(8, 0), Bytes("08 09"));
    EXPECT_EQ(ten.Sub(5, 5).m_len, 0);
    EXPECT_EQ(ten.Sub(10, 0).m_len, 0);
    EXPECT_EQ(ten.Extract(10u, 1u).m_len, 0);
    EXPECT_EQ(ten.Extract(2u, 5u), Bytes("02 03 04 05 06"));
    EXPECT_EQ(ten.Extract(8u, 0xFFFFFFFFu), Bytes("08 09"));
    u8 out[4] = {};
    EXPECT_EQ(ten.Extract(2, out), 2);
    EXPECT_EQ(ten.Extract(out + 2, 9, 9), 1);
    EXPECT_EQ(ten.Extract(out, 10, 1), 0);
    EXPECT_EQ(MemoryBuffer(4, out), Bytes("00 01 09 00"));
    void *copy = nullptr;
    EXPECT_EQ(MemoryBuffer().Extract(&copy), 0);
    EXPECT_EQ(copy, nullptr);
    ASSERT_EQ(ten.Extract(&copy), 10u);
    EXPECT_TRUE(MemoryBuffer(10, std::unique_ptr<u8[]>(static_cast<u8 *>(copy)).get()) == ten);
}

TEST(MemoryBuffer, ToStringEndsAtTheFirstByteThatIsNoText)
{
    const MemoryBuffer buffer = Bytes("41 0A 42 00 43 09 E9");
    EXPECT_EQ(buffer.ToString(), "A\nB");
    EXPECT_EQ(buffer.ToString(2), "A\n");
    EXPECT_EQ(buffer.ToStringFromPos(4, 1), "C");
    EXPECT_EQ(buffer.ToStringFromPos(4, 0xFFFFFFFF), "C\t");
    EXPECT_EQ(buffer.ToStringFromPos(3) + buffer.ToStringFromPos(7), "");
    EXPECT_EQ(buffer.ToHex(2, '-') + Bytes("00 FF").ToHex(3, 0), "41-0a00ff");
    const std::string longer = "00 01 0a 10 99 a0 7f 80 f0 ff 5c"; // than what is written at once
    EXPECT_EQ(Bytes(longer).ToHex(0, ' '), longer);
    EXPECT_EQ(Bytes(longer).ToHex(10, '-') + Bytes(longer).ToHex(), "00-01-0a-10-99-a0-7f-80-f0-ff"
                                                                    "00010a1099a07f80f0ff5c");
}

} // namespace
