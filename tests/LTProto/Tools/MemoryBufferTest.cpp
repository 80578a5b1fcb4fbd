#include "LTProto/Tools/MemoryBuffer.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace
{

using Tools::MemoryBuffer;
using namespace std::string_literals;

MemoryBuffer Bytes(const std::string &hex)
{
    MemoryBuffer buffer;
    std::istringstream in(hex);
    for (u32 byte = 0; in >> std::hex >> byte;)
        buffer = buffer + MemoryBuffer(static_cast<u8>(byte));
    return buffer;
}

struct sChangeCase
{
    const char *name;
    const char *before;
    std::function<u32(MemoryBuffer &)> change;
    const char *after;
    u32 result;
};

const sChangeCase CHANGE_CASES[] = {
    {"Set pads", "01", [](auto &b) { return b.Set(3, "ab\0", 6, '*'); }, "61 62 00 2a 2a 2a", true},
    {"Set of null is filler", "01", [](auto &b) { return b.Set(0, nullptr, 4, 0); }, "00 00 00 00", true},
    {"Set beyond the minimum", "", [](auto &b) { return b.Set("a\0b"s, 2, '*'); }, "61 00 62", true},
    {"Set of its own bytes", "01 02 03", [](auto &b) { return b.Set(2, b.m_ptr.get() + 1); }, "02 03", true},
    {"Add of itself", "01 02", [](auto &b) { return b.Add(b); }, "01 02 01 02", 4},
    {"Add of its own bytes", "01 02", [](auto &b) { return b.Add(1, b.m_ptr.get() + 1); }, "01 02 02", 3},
    {"Add of texts", "", [](auto &b) { return b.Add("a"), b.Add("\0b"s); }, "61 00 62", 3},
    {"Add above 32 bits", "01", [](auto &b) { return b.Add(0xFFFFFFFF, b.m_ptr.get()); }, "01", 1},
    {"SizeReduce, then Add", "01 02", [](auto &b) { return b.SizeReduce(1), b.Add("a"); }, "01 61", 2},
    {"SizeReduce to nothing", "01 02", [](auto &b) { return b.SizeReduce(2); }, "", 0},
    {"SizeReduce by too much", "01 02", [](auto &b) { return b.SizeReduce(3); }, "01 02", 2},
    {"Sanitize", "1f 20 7e 7f 09 e9", [](auto &b) { return b.SanitizeAsAsciiString('?'); }, "3f 20 7e 3f 3f 3f", true},
    {"Sanitize of text", "41 20", [](auto &b) { return b.SanitizeAsAsciiString('?'); }, "41 20", false},
    {"ToLsbMsb", "AA", [](auto &b) { return b.ToLsbMsb(0x0102, 3); }, "02 01 00", true},
    {"ToLsbMsb of 8", "", [](auto &b) { return b.ToLsbMsb(0x0102030405060708, 8); }, "08 07 06 05 04 03 02 01", true},
    {"ToLsbMsb of 9", "AA", [](auto &b) { return b.ToLsbMsb(1, 9); }, "aa", false},
    {"ToMsbLsb", "AA", [](auto &b) { return b.ToMsbLsb(0x0102, 3); }, "00 01 02", true},
    {"AddLsbMsb", "AA", [](auto &b) { return b.AddLsbMsb(0x11223344, 6); }, "aa 44 33 22 11 00 00", 7},
    {"AddLsbMsb of 9", "AA", [](auto &b) { return b.AddLsbMsb(1, 9); }, "aa 01 00 00 00 00 00 00 00 00", 10},
    {"AddLsbMsb of 9 to none", "", [](auto &b) { return b.AddLsbMsb(1, 9); }, "", 0},
    {"AddLsbMsb above 32 bits", "AA", [](auto &b) { return b.AddLsbMsb(1, 0xFFFFFFFF); }, "aa", 1},
    {"AddMsbLsb", "AA", [](auto &b) { return b.AddMsbLsb(0x11223344, 3); }, "aa 22 33 44", 4},
    {"AddMsbLsb of 9", "AA", [](auto &b) { return b.AddMsbLsb(1, 9); }, "aa 00 00 00 00 00 00 00 00 01", 10},
    {"AddMsbLsb of 9 to none", "", [](auto &b) { return b.AddMsbLsb(1, 9); }, "", 0},
    {"InsertLsbMsb", "AA", [](auto &b) { return b.InsertLsbMsb(0x11223344, 8); }, "44 33 22 11 aa", 4},
};

TEST(MemoryBuffer, ChangesLeaveTheirBytes)
{
    for (const sChangeCase &c : CHANGE_CASES)
    {
        MemoryBuffer buffer = Bytes(c.before);
        EXPECT_EQ(c.change(buffer), c.result) << c.name;
        EXPECT_EQ(buffer.ToHex(0, ' '), c.after) << c.name;
    }
}

TEST(MemoryBuffer, SelfAssignmentLeavesItEmpty)
{
    MemoryBuffer buffer = Bytes("01 02");
    const MemoryBuffer &same = buffer;
    buffer = same;
    EXPECT_EQ(buffer.m_len, 0u);
    EXPECT_EQ(buffer.m_ptr, nullptr);
}

TEST(MemoryBuffer, CopiesAndMovesGoByTheLength)
{
    MemoryBuffer shortened = Bytes("01 02 03");
    shortened.SizeReduce(1);
    MemoryBuffer copy(shortened);
    EXPECT_TRUE(copy == Bytes("01 02"));
    EXPECT_TRUE(MemoryBuffer(std::move(copy)) == shortened);
    EXPECT_EQ(copy.m_len, 0u);
    shortened.SizeReduce(2);
    EXPECT_EQ(MemoryBuffer(shortened).m_ptr, nullptr);
    EXPECT_TRUE(shortened == MemoryBuffer(static_cast<const char *>(nullptr), 4));
}

TEST(MemoryBuffer, ComparesTheCommonPrefix)
{
    const MemoryBuffer empty;
    const MemoryBuffer abc("abc");
    EXPECT_EQ(abc.Compare("abcd"), 0);
    EXPECT_EQ(empty.Compare("a"s), -1);
    EXPECT_EQ(abc.Compare(empty), 1);
    EXPECT_EQ(empty.Compare(MemoryBuffer()), 0);
    EXPECT_GT(abc.Compare(2, "aa"), 0);
    EXPECT_TRUE(abc != abc + "d");
    EXPECT_TRUE(abc != MemoryBuffer("abd"));
}

TEST(MemoryBuffer, ReadsNumbersWithinItsBytes)
{
    const MemoryBuffer five = Bytes("F1 02 03 04 F5");
    EXPECT_EQ(five.FromLsbMsb(5, 0), 0x040302F1u);
    EXPECT_EQ(five.FromLsbMsb(4, 3), 0xF504u);
    EXPECT_EQ(five.FromLsbMsb(1, 5), 0u);
    EXPECT_EQ(five.FromMsbLsb(5, 0), 0xF1020304u);
    EXPECT_EQ(five.FromMsbLsb(2, 3), 0x04F5u);
    EXPECT_EQ(five.FromMsbLsb(4, 3), 0u);
    EXPECT_EQ(five.FromMsbLsb(0xFFFFFFFF, 3), 0u);
}

TEST(MemoryBuffer, SubTakesAnEndExtractTakesACount)
{
    const MemoryBuffer ten = Bytes("00 01 02 03 04 05 06 07 08 09");
    EXPECT_EQ(ten.Sub(2, 5).ToHex(), "020304");
    EXPECT_EQ(ten.Sub(5, 5).ToHex(), "");
    EXPECT_EQ(ten.Sub(0, 0), ten);
    EXPECT_EQ(ten.Sub(8, 12).ToHex(), "0809");
    EXPECT_EQ(ten.Extract(2u, 5u).ToHex(), "0203040506");
    EXPECT_EQ(ten.Extract(8u, 0xFFFFFFFFu).ToHex(), "0809");
    EXPECT_EQ(ten.Extract(10u, 1u).ToHex(), "");
}

TEST(MemoryBuffer, FillsTheCallersMemory)
{
    const MemoryBuffer three = Bytes("01 02 03");
    u8 out[6] = {};
    EXPECT_EQ(three.Extract(2, out), 2u);
    EXPECT_EQ(three.Extract(out + 2, 2, 9), 1u);
    EXPECT_EQ(three.Extract(out, 3, 1), 0u);
    EXPECT_EQ(MemoryBuffer::ToLsbMsb(0x11223344, out + 3, 2), 2u);
    EXPECT_EQ(MemoryBuffer(6, out).ToHex(0, ' '), "01 02 03 44 33 00");

    void *copy = nullptr;
    EXPECT_EQ(MemoryBuffer().Extract(&copy), 0u);
    EXPECT_EQ(copy, nullptr);
    ASSERT_EQ(three.Extract(&copy), 3u);
    const std::unique_ptr<u8[]> owner(static_cast<u8 *>(copy));
    EXPECT_EQ(three.Compare(3, owner.get()), 0);
}

TEST(MemoryBuffer, TextForms)
{
    const MemoryBuffer buffer = Bytes("41 0A 42 00 43 09 FF");
    EXPECT_EQ(buffer.ToString(), "A\nB");
    EXPECT_EQ(buffer.ToString(2), "A\n");
    EXPECT_EQ(buffer.ToStringFromPos(4, 9), "C\t");
    EXPECT_EQ(buffer.ToStringFromPos(4, 1), "C");
    EXPECT_EQ(buffer.ToStringFromPos(7), "");
    EXPECT_EQ(buffer.ToHex(), "410a42004309ff");
    EXPECT_EQ(buffer.ToHex(2, '-'), "41-0a");
    EXPECT_EQ(buffer.ToHex(1, '-'), "41");
}

} // namespace
