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

// Changes of the text "abc".
struct sChangeCase
{
    const char *name;
    std::function<u32(StringUtf8 &)> change;
    std::string after;
    u32 result;
};

const sChangeCase CHANGE_CASES[] = {
    {"Set converts Latin-1", [](auto &s) { return s.Set("\xE9t\xE9"); }, "\xC3\xA9t\xC3\xA9", true},
    {"Set ends at the first zero", [](auto &s) { return s.Set(std::string("d\0e", 3)); }, "d", true},
    {"Set of null text", [](auto &s) { return s.Set(static_cast<const char *>(nullptr)); }, "", true},
    {"Set takes bytes as they are", [](auto &s) { return s.Set(AsBytes("\xE9z")); }, "\xE9z", true},
    {"Set of its own bytes", [](auto &s) { return s.Set(2, s.m_ptr.get() + 1); }, "bc", true},
    {"Set above 32 bits", [](auto &s) { return s.Set(0xFFFFFFFF, s.m_ptr.get()); }, "abc", false},
    {"Add converts Latin-1", [](auto &s) { return s.Add("\xE9"); }, "abc\xC3\xA9", 5},
    {"Add of itself", [](auto &s) { return s.Add(s); }, "abcabc", 6},
    {"Add to unterminated bytes", [](auto &s) { return s.Set(MemoryBuffer("xyz"), 1), s.Add("w"); }, "yzw", 3},
    {"copy of unterminated bytes", [](auto &s) { return s.Set(MemoryBuffer("xyz"), 1), (s = StringUtf8(s)).m_len; },
     "yz", 2},
    {"Set behind a buffer's end", [](auto &s) { return s.Set(MemoryBuffer("xyz"), 4); }, "", false},
    {"assignment to itself", [](auto &s) { return (s = static_cast<const StringUtf8 &>(s)).m_len; }, "", 0},
    {"sums", [](auto &s) { return (s = s + s + "\xE9" + std::string("d")).m_len; },
     "abcabc\xC3\xA9"
     "d",
     9},
};

TEST(StringUtf8, ChangesLeaveATerminatedText)
{
    for (const sChangeCase &c : CHANGE_CASES)
    {
        StringUtf8 text("abc");
        EXPECT_EQ(c.change(text), c.result) << c.name;
        EXPECT_EQ(text.ToStdString(), c.after) << c.name;
        EXPECT_EQ(text.m_ptr == nullptr, c.after.empty()) << c.name;
        if (text.m_ptr != nullptr)
        {
            EXPECT_EQ(text.m_ptr[text.m_len], 0) << c.name;
        }
    }
}

TEST(StringUtf8, GivesItsBytesWithoutTerminator)
{
    const StringUtf8 text("abc");
    char out[] = "....";
    EXPECT_EQ(text.Extract(9, out), 3u);
    EXPECT_STREQ(out, "abc.");
    EXPECT_EQ(text.ToHex(2, ' '), "61 62");
    EXPECT_EQ(text.Compare("ab"), 0) << "a prefix compares as equal";
    EXPECT_TRUE(text != StringUtf8("ab")) << "a prefix compares as equal";
    EXPECT_EQ(MemoryBuffer(text).ToHex(), "616263");

    void *copy = nullptr;
    ASSERT_EQ(text.Extract(&copy), 3u);
    const std::unique_ptr<u8[]> owner(static_cast<u8 *>(copy));
    EXPECT_EQ(StringUtf8(3, owner.get()), text);
}

} // namespace
