#include "toviCommonLib/toviFS.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <vector>

using namespace tovi::fs;
using platform::OwnedFile;
using tovi::utils::asBytes;
using tovi::utils::asChars;

TEST(FSFind, ComposesTheFullNameAndCutsItToTheBuffer)
{
    const TempFolder temp; // holds "." and ".." alone
    platform::sOSFileFind find;
    ASSERT_TRUE(platform::FS_findFirst(&find, asBytes(temp.path().c_str()), asBytes("*")));
    for (const auto &[size, text] : {std::pair(0u, "unchanged"), {3u, "/x"}, {5u, "/x/."}})
    {
        u8 out[16] = "unchanged";
        findComposeFullFilePathAndName(find, asBytes("/x"), out, size);
        EXPECT_STREQ(asChars(out), text);
    }
}

TEST(FSOpenForWrite, CreatesTheFolderOnlyWhenAskedAndNotTooLong)
{
    const TempFolder temp;
    const std::string longest = temp.path("a") + std::string(2047 - temp.path("a").size(), '/'); // 2048 with its NUL
    for (const auto open : {fileOpenForWriteBinary, fileOpenForWriteText})
    {
        EXPECT_EQ(open(asBytes(temp.path("a/f").c_str()), false), nullptr);
        EXPECT_EQ(open(asBytes((longest + "//f").c_str()), true), nullptr);
        EXPECT_FALSE(temp.holds("a"));
        EXPECT_NE(OwnedFile(open(asBytes((longest + "/f").c_str()), true)), nullptr);
        std::filesystem::remove_all(temp.path("a"));
    }
}

TEST(FSContent, IsWrittenSizedAndReadBack)
{
    const TempFolder temp;
    for (const u32 size : {0u, 1u, 1023u, 1024u, 1025u, 2048u, 2500u})
    {
        std::vector<u8> content(size);
        for (u32 i = 0; i < size; i++)
            content[i] = static_cast<u8>(i * 7);
        const OwnedFile file(std::fopen(temp.path("f").c_str(), "w+b"));
        EXPECT_EQ(fileWrite(file.get(), content.data(), size), size);
        std::rewind(file.get());
        EXPECT_EQ(fileSize(file.get()), size);
        std::vector<u8> back(3000);
        EXPECT_EQ(fileRead(file.get(), back.data(), 3000), size); // fileSize left the position at the start
        back.resize(size);
        EXPECT_EQ(back, content);
    }
    std::filesystem::resize_file(temp.path("f"), 0x100000001); // sparse, beyond 32 bits
    EXPECT_EQ(fileSize(OwnedFile(std::fopen(temp.path("f").c_str(), "rb")).get()), 0x100000001u);
}

TEST(FSContent, FailureIsAShortCount)
{
    const OwnedFile full(std::fopen("/dev/full", "wb"));
    std::setbuf(full.get(), nullptr);
    u8 data[2000] = {};
    EXPECT_EQ(fileWrite(full.get(), data, sizeof(data)), 0u);
    EXPECT_EQ(fileRead(full.get(), data, sizeof(data)), 0u); // open for writing only
}
