#include "toviCommonLib/tovimd5.h"

#include <gtest/gtest.h>
#include <string>

using tovi::MD5;

namespace
{

std::string hex(const MD5::Digest &digest)
{
    std::string text;
    for (const u8 byte : digest)
    {
        char two[3];
        std::snprintf(two, sizeof(two), "%02x", byte);
        text += two;
    }
    return text;
}

const struct
{
    std::string text;
    const char *digest;
} RFC_1321_A5[] = {
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"a", "0cc175b9c0f1b6a831c399e269772661"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
};

TEST(MD5, GivesTheDigestsOfTheRfc)
{
    for (const auto &c : RFC_1321_A5)
        EXPECT_EQ(hex(MD5::of(c.text.data(), static_cast<u32>(c.text.size()))), c.digest) << c.text;
}

TEST(MD5, DoesNotDependOnTheCutAndStartsAnewAfterEachMessage)
{
    MD5 md5;
    for (const auto &c : RFC_1321_A5)
        for (u32 cut = 0; cut <= c.text.size(); cut++)
        {
            md5.update(c.text.data(), cut);
            md5.update(c.text.data() + cut, static_cast<u32>(c.text.size()) - cut);
            EXPECT_EQ(hex(md5.finish()), c.digest) << c.text << " cut at " << cut;
        }
}

} // namespace
