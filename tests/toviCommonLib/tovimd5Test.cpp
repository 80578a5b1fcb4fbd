#include "toviCommonLib/tovimd5.h"

#include <gtest/gtest.h>
#include <string>

using tovi::MD5;

static std::string hex(const MD5::Digest &digest)
{
    std::string text;
    for (const u8 byte : digest)
        text.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 15]);
    return text;
}

TEST(MD5, GivesTheDigestsOfTheRfcWhereverTheTextIsCut)
{
    const struct
    {
        std::string text, digest;
    } RFC_1321_A5[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    MD5 md5; // starts anew after each message
    for (const auto &c : RFC_1321_A5)
    {
        const u32 size = static_cast<u32>(c.text.size());
        for (u32 cut = 0; cut <= size; cut++)
        {
            md5.update(c.text.data(), cut);
            md5.update(c.text.data() + cut, size - cut);
            EXPECT_EQ(hex(md5.finish()), c.digest) << c.text << " cut at " << cut;
        }
    }
    EXPECT_EQ(hex(MD5::of("abc", 3)), "900150983cd24fb0d6963f7d28e17f72");
}
