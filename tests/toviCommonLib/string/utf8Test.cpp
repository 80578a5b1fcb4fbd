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

class Utf8MakeStr : public testing::TestWithParam<sMakeCase>
{
};

TEST_P(Utf8MakeStr, WritesWholeTerminatedCharacters)
{
    const sMakeCase &c = GetParam();
    const std::string expected = c.expected;
    std::vector<u8> dst(c.dstSize, 0xEE); // of the exact size, so that the sanitizer sees a byte too many

    ASSERT_EQ(utf8::makeStr(dst.data(), c.dstSize, c.src), expected.size());
    EXPECT_EQ(std::string(dst.begin(), dst.begin() + static_cast<std::ptrdiff_t>(expected.size())), expected);
    EXPECT_EQ(dst[expected.size()], 0);
    EXPECT_EQ(utf8::lengthInByte(dst.data()), expected.size());
}

const sMakeCase MAKE_CASES[] = {
    {"Empty", 1, "", ""},
    {"Null", 4, nullptr, ""},
    {"Ascii", 16, "abc\x7F", "abc\x7F"},
    {"OneToFourBytes", 16, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
    {"LowestOfEachLength", 16, "\x01\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80", "\x01\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80"},
    {"HighestOfEachLength", 16, "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF"},
    {"AroundTheSurrogates", 16, "\xED\x9F\xBF\xEE\x80\x80", "\xED\x9F\xBF\xEE\x80\x80"},
    {"Latin1LetterBeforeAscii", 16, "\xE9t\xE9", "\xC3\xA9t\xC3\xA9"},
    {"LowestAndHighestLatin1", 16, "\x80\xFF", "\xC2\x80\xC3\xBF"},
    {"OverlongSlash", 16, "\xC0\xAF", "\xC3\x80\xC2\xAF"},
    {"OverlongThreeBytes", 16, "\xE0\x9F\xBF", "\xC3\xA0\xC2\x9F\xC2\xBF"},
    {"OverlongFourBytes", 16, "\xF0\x8F\xBF\xBF", "\xC3\xB0\xC2\x8F\xC2\xBF\xC2\xBF"},
    {"Surrogate", 16, "\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},
    {"AboveTheLastCodePoint", 16, "\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
    {"CharacterCutByTheEnd", 16, "\xE2\x82", "\xC3\xA2\xC2\x82"},
    {"CharacterBrokenInside", 16, "\xF0\x9F\x98z", "\xC3\xB0\xC2\x9F\xC2\x98z"},
    {"FitsExactly", 4, "a\xC3\xA9", "a\xC3\xA9"},
    {"NoHalfOfTwoBytes", 3, "a\xC3\xA9", "a"},
    {"NoHalfOfFourBytes", 5, "a\xF0\x9F\x98\x80", "a"},
    {"NoHalfOfLatin1", 2, "\xE9", ""},
    {"NothingBehindWhatDoesNotFit", 3, "a\xC3\xA9z", "a"},
};

INSTANTIATE_TEST_SUITE_P(Texts, Utf8MakeStr, testing::ValuesIn(MAKE_CASES),
                         [](const auto &testInfo) { return testInfo.param.name; });

TEST(Utf8, NoRoomWritesNothing)
{
    u8 untouched = 0xEE;
    EXPECT_EQ(utf8::makeStr(&untouched, 0, "a"), 0u);
    EXPECT_EQ(untouched, 0xEE);
}

TEST(Utf8, LengthOfNullIsZero)
{
    EXPECT_EQ(utf8::lengthInByte(nullptr), 0u);
}

} // namespace
