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
        buffer.Add(1, MemoryBuffer(static_cast<u8>(byte)).m_ptr.get());
    return buffer;
}

std::string Hex(const MemoryBuffer &buffer)
{
    return buffer.ToHex(0, ' ');
}

// One operation on a buffer: what it leaves there and what it returns.
struct sChangeCase
{
    const char *name;
    const char *before;
    std::function<u32(MemoryBuffer &)> change;
    const char *after;
    u32 result;
};

class MemoryBufferChange : public testing::TestWithParam<sChangeCase>
{
};

TEST_P(MemoryBufferChange, LeavesTheBytes)
{
    const sChangeCase &c = GetParam();
    MemoryBuffer buffer = Bytes(c.before);
    EXPECT_EQ(c.change(buffer), c.result);
    EXPECT_EQ(Hex(buffer), c.after);
}

const sChangeCase CHANGE_CASES[] = {
    {"SetPadsToTheMinimum", "01", [](auto &b) { return b.Set(3, "ab\0", 6, '*'); }, "61 62 00 2a 2a 2a", true},
    {"SetOfNullIsFiller", "01", [](auto &b) { return b.Set(0, nullptr, 4, 0); }, "00 00 00 00", true},
    {"SetOfNullWithALength", "01", [](auto &b) { return b.Set(2, nullptr, 1, '\xFF'); }, "ff ff", true},
    {"SetLongerThanTheMinimum", "", [](auto &b) { return b.Set("abc", 2, '*'); }, "61 62 63", true},
    {"SetOfStringKeepsItsZeros", "", [](auto &b) { return b.Set("a\0b"s, 4, ' '); }, "61 00 62 20", true},
    {"SetOfOneByte", "01 02", [](auto &b) { return b.Set(u8{0xFE}); }, "fe", true},
    {"SetOfItsOwnBytes", "01 02 03", [](auto &b) { return b.Set(2, b.m_ptr.get() + 1); }, "02 03", true},
    {"AddOfNothing", "01", [](auto &b) { return b.Add(0, nullptr); }, "01", 1},
    {"AddOfItself", "01 02", [](auto &b) { return b.Add(b); }, "01 02 01 02", 4},
    {"AddOfItsOwnBytes", "01 02 03", [](auto &b) { return b.Add(2, b.m_ptr.get() + 1); }, "01 02 03 02 03", 5},
    {"AddOfTexts", "", [](auto &b) { return b.Add("a"), b.Add("\0b"s); }, "61 00 62", 3},
    {"AddAbove32Bits", "01", [](auto &b) { return b.Add(0xFFFFFFFF, b.m_ptr.get()); }, "01", 1},
    {"AddAfterSizeReduce", "01 02", [](auto &b) { return b.SizeReduce(1), b.Add("a"); }, "01 61", 2},
    {"SizeReduceToNothing", "01 02", [](auto &b) { return b.SizeReduce(2); }, "", 0},
    {"SizeReduceByTooMuch", "01 02", [](auto &b) { return b.SizeReduce(3); }, "01 02", 2},
    {"ClearIsAlwaysTrue", "01", [](auto &b) { return b.Clear(); }, "", true},
    {"SanitizeReplacesTabsToo", "1f 20 7e 7f 09 0a e9", [](auto &b) { return b.SanitizeAsAsciiString('?'); },
     "3f 20 7e 3f 3f 3f 3f", true},
    {"SanitizeFindsNothing", "41 20", [](auto &b) { return b.SanitizeAsAsciiString('?'); }, "41 20", false},
    {"ToLsbMsb", "AA", [](auto &b) { return b.ToLsbMsb(0x0102, 3); }, "02 01 00", true},
    {"ToLsbMsbOf8Bytes", "", [](auto &b) { return b.ToLsbMsb(0x0102030405060708, 8); }, "08 07 06 05 04 03 02 01",
     true},
    {"ToLsbMsbOf9Bytes", "AA", [](auto &b) { return b.ToLsbMsb(1, 9); }, "aa", false},
    {"ToLsbMsbOfNoByte", "AA", [](auto &b) { return b.ToLsbMsb(1, 0); }, "", true},
    {"ToMsbLsb", "AA", [](auto &b) { return b.ToMsbLsb(0x0102, 3); }, "00 01 02", true},
    {"ToMsbLsbKeepsTheLowBytes", "AA BB", [](auto &b) { return b.ToMsbLsb(0x010203, 2); }, "02 03", true},
    {"ToMsbLsbOf9Bytes", "AA", [](auto &b) { return b.ToMsbLsb(1, 9); }, "aa", false},
    {"AddLsbMsb", "AA", [](auto &b) { return b.AddLsbMsb(0x11223344, 2); }, "aa 44 33", 3},
    {"AddLsbMsbBeyond8Bytes", "AA", [](auto &b) { return b.AddLsbMsb(0x11223344, 9); }, "aa 44 33 22 11 00 00 00 00 00",
     10},
    {"AddLsbMsbBeyond8BytesToNothing", "", [](auto &b) { return b.AddLsbMsb(1, 9); }, "", 0},
    {"AddLsbMsbAbove32Bits", "AA", [](auto &b) { return b.AddLsbMsb(1, 0xFFFFFFFF); }, "aa", 1},
    {"AddMsbLsb", "AA", [](auto &b) { return b.AddMsbLsb(0x11223344, 3); }, "aa 22 33 44", 4},
    {"AddMsbLsbBeyond8Bytes", "AA", [](auto &b) { return b.AddMsbLsb(0x11223344, 9); }, "aa 00 00 00 00 00 11 22 33 44",
     10},
    {"AddMsbLsbBeyond8BytesToNothing", "", [](auto &b) { return b.AddMsbLsb(1, 9); }, "", 0},
    {"AddMsbLsbAbove32Bits", "AA", [](auto &b) { return b.AddMsbLsb(1, 0xFFFFFFFF); }, "aa", 1},
    {"InsertLsbMsbOfAtMost4Bytes", "AA", [](auto &b) { return b.InsertLsbMsb(0x11223344, 8); }, "44 33 22 11 aa", 4},
    {"InsertLsbMsbIntoNothing", "", [](auto &b) { return b.InsertLsbMsb(0x11223344, 2); }, "44 33", 2},
};

INSTANTIATE_TEST_SUITE_P(Operations, MemoryBufferChange, testing::ValuesIn(CHANGE_CASES),
                         [](const auto &testInfo) { return testInfo.param.name; });

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
    EXPECT_EQ(Hex(copy), "01 02");
    EXPECT_TRUE(copy == shortened);

    const MemoryBuffer taken(std::move(copy));
    EXPECT_EQ(Hex(taken), "01 02");
    EXPECT_EQ(copy.m_len, 0u);
    EXPECT_EQ(copy.m_ptr, nullptr);

    shortened.SizeReduce(2);
    EXPECT_EQ(MemoryBuffer(shortened).m_ptr, nullptr);
    EXPECT_TRUE(shortened == MemoryBuffer(static_cast<const char *>(nullptr), 4));
}

TEST(MemoryBuffer, SumLeavesTheLeftOperand)
{
    const MemoryBuffer left = Bytes("01");
    EXPECT_EQ(Hex(left + left), "01 01");
    EXPECT_EQ(Hex(left + "a"), "01 61");
    EXPECT_EQ(Hex(left + "\0a"s), "01 00 61");
    EXPECT_EQ(Hex(left), "01");
}

TEST(MemoryBuffer, ComparesTheCommonPrefix)
{
    const MemoryBuffer empty;
    const MemoryBuffer abc("abc");
    EXPECT_EQ(abc.Compare("abcd"), 0);
    EXPECT_EQ(empty.Compare("a"s), -1);
    EXPECT_EQ(abc.Compare(empty), 1);
    EXPECT_EQ(empty.Compare(static_cast<const char *>(nullptr)), 0);
    EXPECT_GT(abc.Compare(2, "aa"), 0);
    EXPECT_LT(abc.Compare("abd"), 0);
    EXPECT_TRUE(abc != MemoryBuffer("abcd"));
    EXPECT_TRUE(abc != MemoryBuffer("abd"));
}

TEST(MemoryBuffer, ReadsNumbersWithinItsBytes)
{
    const MemoryBuffer three = Bytes("01 02 F3");
    EXPECT_EQ(three.FromLsbMsb(2, 0), 0x0201u);
    EXPECT_EQ(three.FromLsbMsb(4, 2), 0xF3u);
    EXPECT_EQ(three.FromLsbMsb(1, 3), 0u);
    EXPECT_EQ(three.FromMsbLsb(2, 1), 0x02F3u);
    EXPECT_EQ(three.FromMsbLsb(4, 2), 0u);
    EXPECT_EQ(three.FromMsbLsb(0xFFFFFFFF, 2), 0u);

    const MemoryBuffer five = Bytes("F1 02 03 04 05");
    EXPECT_EQ(five.FromLsbMsb(5, 0), 0x040302F1u);
    EXPECT_EQ(five.FromMsbLsb(5, 0), 0xF1020304u);
    EXPECT_EQ(five.FromMsbLsb(5, 1), 0u);
}

TEST(MemoryBuffer, WritesNumbersToTheCaller)
{
    u8 out[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(MemoryBuffer::ToLsbMsb(0x11223344, out, 2), 2u);
    EXPECT_EQ(Hex(MemoryBuffer(4, out)), "44 33 ee ee");
    EXPECT_EQ(MemoryBuffer::ToLsbMsb(0x11223344, out, 9), 4u);
    EXPECT_EQ(Hex(MemoryBuffer(4, out)), "44 33 22 11");
}

TEST(MemoryBuffer, SubTakesAnEndExtractTakesACount)
{
    const MemoryBuffer ten = Bytes("00 01 02 03 04 05 06 07 08 09");
    EXPECT_EQ(Hex(ten.Sub(2, 5)), "02 03 04");
    EXPECT_EQ(Hex(ten.Sub(5, 5)), "");
    EXPECT_TRUE(ten.Sub(0, 0) == ten);
    EXPECT_EQ(Hex(ten.Sub(8, 0)), "08 09");
    EXPECT_EQ(Hex(ten.Sub(10, 0)), "");
    EXPECT_EQ(Hex(ten.Sub(8, 12)), "08 09");
    EXPECT_EQ(Hex(ten.Extract(2u, 5u)), "02 03 04 05 06");
    EXPECT_EQ(Hex(ten.Extract(8u, 0xFFFFFFFFu)), "08 09");
    EXPECT_EQ(Hex(ten.Extract(10u, 1u)), "");
}

TEST(MemoryBuffer, ExtractsIntoTheCallersMemory)
{
    const MemoryBuffer three = Bytes("01 02 03");
    u8 out[4] = {};
    EXPECT_EQ(three.Extract(2, out), 2u);
    EXPECT_EQ(three.Extract(out + 2, 2, 9), 1u);
    EXPECT_EQ(three.Extract(out, 3, 1), 0u);
    EXPECT_EQ(Hex(MemoryBuffer(4, out)), "01 02 03 00");

    void *copy = nullptr;
    EXPECT_EQ(MemoryBuffer().Extract(&copy), 0u);
    EXPECT_EQ(copy, nullptr);
    ASSERT_EQ(three.Extract(&copy), 3u);
    const std::unique_ptr<u8[]> owner(static_cast<u8 *>(copy));
    EXPECT_EQ(Hex(MemoryBuffer(3, owner.get())), "01 02 03");
}

TEST(MemoryBuffer, ToStringEndsAtTheFirstByteThatIsNoText)
{
    const MemoryBuffer buffer = Bytes("41 0A 42 00 43 09 E9");
    EXPECT_EQ(buffer.ToString(), "A\nB");
    EXPECT_EQ(buffer.ToString(2), "A\n");
    EXPECT_EQ(buffer.ToStringFromPos(4), "C\t");
    EXPECT_EQ(buffer.ToStringFromPos(4, 1), "C");
    EXPECT_EQ(buffer.ToStringFromPos(4, 0xFFFFFFFF), "C\t");
    EXPECT_EQ(buffer.ToStringFromPos(3), "");
    EXPECT_EQ(buffer.ToStringFromPos(7), "");
}

TEST(MemoryBuffer, ToHexOfTheFirstBytes)
{
    const MemoryBuffer buffer = Bytes("00 FF");
    EXPECT_EQ(buffer.ToHex(0, 0), "00ff");
    EXPECT_EQ(buffer.ToHex(1, '-'), "00");
    EXPECT_EQ(buffer.ToHex(3, '-'), "00-ff");
}

} // namespace
