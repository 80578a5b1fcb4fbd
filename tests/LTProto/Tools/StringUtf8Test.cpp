#include "LTProto/Tools/StringUtf8.h"

#include "LTProto/Tools/MemoryBuffer.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using Tools::MemoryBuffer;
using Tools::StringUtf8;

const u8 *AsBytes(const char *text)
{
    return reinterpret_cast<const u8 *>(text);
}

struct sChangeCase
{
    const char *name;
    std::function<u32(StringUtf8 &)> change; // of the text "abc"
    std::string after;
    u32 result;
};

class StringUtf8Change : public testing::TestWithParam<sChangeCase>
{
};

TEST_P(StringUtf8Change, LeavesATerminatedText)
{
    const sChangeCase &c = GetParam();
    StringUtf8 text("abc");
    EXPECT_EQ(c.change(text), c.result);
    EXPECT_EQ(text.ToStdString(), c.after);
    if (c.after.empty())
        EXPECT_EQ(text.m_ptr, nullptr);
    else
        EXPECT_EQ(text.m_ptr[text.m_len], 0);
}

const sChangeCase CHANGE_CASES[] = {
    {"SetConvertsLatin1", [](auto &s) { return s.Set("\xE9t\xE9"); }, "\xC3\xA9t\xC3\xA9", true},
    {"SetEndsAtTheFirstZero", [](auto &s) { return s.Set(std::string("d\0e", 3)); }, "d", true},
    {"SetOfNullText", [](auto &s) { return s.Set(static_cast<const char *>(nullptr)); }, "", true},
    {"SetOfNullBytes", [](auto &s) { return s.Set(static_cast<const u8 *>(nullptr)); }, "", true},
    {"SetOfEmptyText", [](auto &s) { return s.Set(""); }, "", true},
    {"SetTakesBytesAsTheyAre", [](auto &s) { return s.Set(AsBytes("\xE9z")); }, "\xE9z", true},
    {"SetOfOneByte", [](auto &s) { return s.Set(u8{0xE9}); }, "\xE9", true},
    {"SetOfItsOwnBytes", [](auto &s) { return s.Set(2, s.m_ptr.get() + 1); }, "bc", true},
    {"SetOfALengthOfNothing", [](auto &s) { return s.Set(2, nullptr); }, std::string(2, '\0'), true},
    {"SetOfNoLength", [](auto &s) { return s.Set(0, AsBytes("z")); }, "", true},
    {"SetAbove32BitsWithTerminator", [](auto &s) { return s.Set(0xFFFFFFFF, s.m_ptr.get()); }, "abc", false},
    {"AddConvertsLatin1", [](auto &s) { return s.Add("\xE9"); }, "abc\xC3\xA9", 5},
    {"AddOfItself", [](auto &s) { return s.Add(s); }, "abcabc", 6},
    {"AddOfItsOwnText", [](auto &s) { return s.Add(reinterpret_cast<char *>(s.m_ptr.get() + 1)); }, "abcbc", 5},
    {"AddToNothing", [](auto &s) { return s.Clear(), s.Add(std::string("de")); }, "de", 2},
    {"AddOfNothingToNothing", [](auto &s) { return s.Clear(), s.Add(""); }, "", 0},
    {"AddBehindUnterminatedBytes", [](auto &s) { return s.Set(MemoryBuffer("xyz"), 1), s.Add("w"); }, "yzw", 3},
    {"SelfAssignmentLeavesItEmpty",
     [](auto &s)
     {
         const StringUtf8 &same = s;
         return (s = same).m_len;
     },
     "", 0},
};

INSTANTIATE_TEST_SUITE_P(Operations, StringUtf8Change, testing::ValuesIn(CHANGE_CASES),
                         [](const auto &testInfo) { return testInfo.param.name; });

TEST(StringUtf8, TakesTheTailOfABuffer)
{
    const MemoryBuffer buffer("xyz");
    StringUtf8 text("abc");
    EXPECT_TRUE(text.Set(buffer, 1));
    EXPECT_EQ(text.ToStdString(), "yz");

    const StringUtf8 copy(text);
    EXPECT_TRUE(copy == text);
    EXPECT_EQ(copy.m_ptr[2], 0);
    EXPECT_EQ(MemoryBuffer(text).ToString(), "yz");

    EXPECT_TRUE(text.Set(buffer, 3));
    EXPECT_EQ(text.m_ptr, nullptr);
    text.Set("abc");
    EXPECT_FALSE(text.Set(buffer, 4));
    EXPECT_EQ(text.m_len, 0u);
}

TEST(StringUtf8, ComparesTheCommonPrefix)
{
    const StringUtf8 text("abcd");
    EXPECT_EQ(text.Compare("abc"), 0);
    EXPECT_EQ(text.Compare(static_cast<const char *>(nullptr)), 1);
    EXPECT_EQ(StringUtf8().Compare(text), -1);
    EXPECT_LT(text.Compare(std::string("abd")), 0);
    EXPECT_EQ(StringUtf8("\xE9").Compare("\xC3\xA9"), 0);
    EXPECT_TRUE(text != StringUtf8("abc"));
}

TEST(StringUtf8, SumConvertsTheRightOperand)
{
    const StringUtf8 left(2, AsBytes("abc"));
    EXPECT_EQ((left + left).ToStdString(), "abab");
    EXPECT_EQ((left + "\xE9").ToStdString(), "ab\xC3\xA9");
    EXPECT_EQ((left + std::string("c")).ToStdString(), "abc");
    EXPECT_EQ((StringUtf8() + StringUtf8()).m_ptr, nullptr);
}

TEST(StringUtf8, ExtractsItsBytesWithoutTerminator)
{
    const StringUtf8 text("abc");
    char out[] = "....";
    EXPECT_EQ(text.Extract(9, out), 3u);
    EXPECT_STREQ(out, "abc.");
    EXPECT_EQ(text.ToHex(2, ' '), "61 62");

    void *copy = nullptr;
    ASSERT_EQ(text.Extract(&copy), 3u);
    const std::unique_ptr<u8[]> owner(static_cast<u8 *>(copy));
    EXPECT_EQ(StringUtf8(3, owner.get()), text);
}

TEST(StringUtf8, MoveEmptiesItsSource)
{
    StringUtf8 source("abc");
    StringUtf8 target("z");
    target = std::move(source);
    EXPECT_EQ(target.ToStdString(), "abc");
    EXPECT_EQ(source.m_len, 0u);
    EXPECT_EQ(source.m_ptr, nullptr);
}

} // namespace
