#include "toviCommonLib/toviFSPath.h"

#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <string>

using namespace tovi::fs;
using tovi::utils::asBytes;

static std::string sanitized(std::string path, u32 len = 0xFFFFFFFF)
{
    sanitizePathInPlace(reinterpret_cast<u8 *>(path.data()), len);
    return path.c_str();
}

TEST(SanitizePath, GivesTheCanonicalForm)
{
    const struct
    {
        const char *name, *path, *canonical;
    } CASES[] = {
        {"root alone", "///", "/"},
        {"backslashes, runs and a trailing slash", "\\x//y/", "/x/y"},
        {"escapes in either case, once, if whole", "a%20b%c3%A8%2541%g1%1g%2", "a b\xC3\xA8%41%g1%1g%2"},
        {"escaped NUL stays, backslash belongs to the name", "a%00%5Cb", "a%00\\b"},
        {"escaped parent is a parent", "/tmp/%2e%2e%2fetc", "/etc"},
        {"dot segments but none at the start, in names, at the end", "./.a/./b./..c/d../..", "./.a/b./..c/d../.."},
        {"parents stop at the root", "/../a/../../b/c/../d", "/b/d"},
        {"parent of a relative folder makes no root, above it stays", "a/..//../../b/../c", "../../c"},
        {"parent of a dot or a parent stays", "./../../b", "./../../b"},
    };
    for (const auto &c : CASES)
        EXPECT_EQ(sanitized(c.path), c.canonical) << c.name;
    EXPECT_EQ(sanitized("a/b//", 3), "a/b//") << "nothing behind the length is touched";
}

TEST(Jolly, Matches)
{
    const struct
    {
        const char *name, *file, *jolly;
        bool matches;
    } CASES[] = {
        {"pattern ends first", "ab", "a", false},
        {"second of two patterns", "g.log", "  *.txt   *.log ", true},
        {"first star needs a character", ".txt", "*.txt *.log", false},
        {"last star needs a character", "a", "a*", false},
        {"star tries again, the last takes the rest", "a.tmp.tmpx", "*.tmp*", true},
        {"stars out of order", "xbyaz", "*a*b*", false},
        {"'?' is one character, stray bytes too", "a\xC3\xA8\x80\xE2\x82", "a???", true},
        {"star skips whole characters", "\xE2\x82\xAC\xC3\xA8", "*\xC3\xA8", true},
        {"UTF-8 characters differ", "\xC3\xA9", "\xC3\xA8", false},
        {"case matters", "A.TMP", "a.tmp", false},
        {"letters are reduced by 97", "\x01", "b", true},         // b is 98
        {"other characters are not reduced", "\x1A", "{", false}, // { is 123
        {"'?' after a star is searched as it stands", "abc", "*?", false},
        {"star after a star is searched as it stands", "ab*", "a**", true},
    };
    for (const auto &c : CASES)
        EXPECT_EQ(doesFileNameMatchJolly(asBytes(c.file), asBytes(c.jolly)), c.matches) << c.name;
    // A search that tries every star again would not end.
    EXPECT_FALSE(doesFileNameMatchJolly(asBytes(std::string(250, 'a').c_str()), asBytes("*a*a*a*a*a*a*a*a*a*a*a*ab")));
}
