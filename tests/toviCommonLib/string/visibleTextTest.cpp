#include "toviCommonLib/string/visibleText.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(VisibleText, EscapesWhatForgesALineMovesACursorOrIsNoUtf8)
{
    const std::pair<std::string, std::string> CASES[] = {
        {"", ""},
        {"plain \\ ~ \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "plain \\ ~ \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"a\nb\r\t", "a\\x0ab\\x0d\\x09"},
        {"\x1B[2J\x07\x1F \x7F", "\\x1b[2J\\x07\\x1f \\x7f"},
        {"\xC2\x9B"s + "2J\xC2\xA0", "\\xc2\\x9b2J\xC2\xA0"},
        {"\xFF\xC0\x80", "\\xff\\xc0\\x80"},
        {"cut \xE2\x82", "cut \\xe2\\x82"},
        {"a\0b"s, "a\\x00b"},
    };
    for (const auto &[text, expected] : CASES)
        EXPECT_EQ(tovi::string::visible(text), expected);
}
