#include "toviCommonLib/string/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace utf8 = tovi::string::utf8;

namespace
{

struct sMakeCase
{
    const char *name;
    u32 dstSize;
    const char *src;
    const char *expected;
};

const sMakeCase MAKE_CASES[] = {
    {"lowest of each length", 16, "\x01\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80",
     "\x01\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80"},
    {"highest of each", 16, "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF"},
    {"Latin-1 among ASCII", 16, "\xE9t\xFF\x80", "\xC3\xA9t\xC3\xBF\xC2\x80"},
    {"overlong of three bytes", 16, "\xE0\x9F\xBF", "\xC3\xA0\xC2\x9F\xC2\xBF"},
    {"surrogate", 16, "\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},
    {"above the last code point", 16, "\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
    {"broken inside", 16, "\xF0\x9F\x98z", "\xC3\xB0\xC2\x9F\xC2\x98z"},
    {"no half character, nothing behind it", 3, "a\xC3\xA9z", "a"},
};

TEST(Utf8, MakeStrWritesWholeTerminatedCharacters)
{
    for (const sMakeCase &c : MAKE_CASES)
    {
        std::vector<u8> dst(c.dstSize, 0xEE); // of the exact size, so that the sanitizer sees a byte too many
        const u32 written = utf8::makeStr(dst.data(), c.dstSize, c.src);
        EXPECT_STREQ(reinterpret_cast<const char *>(dst.data()), c.expected) << c.name;
        EXPECT_EQ(written, utf8::lengthInByte(dst.data())) << c.name;
    }
}

} // namespace
