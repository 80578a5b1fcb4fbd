#include "toviCommonLib/toviFS.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>

using namespace tovi::fs;
using platform::OwnedFile;
using tovi::utils::asBytes;
using tovi::utils::asChars;

TEST(FSFind, ComposesTheFullNameAndCutsItToTheBuffer)
{
    const TempFolder temp; // holds "." and ".." alone
    platform::sOSFileFind find;
    ASSERT_TRUE(platform::FS_findFirst(&find, asBytes(temp.path().c_str()), asBytes("*")));
    u8 out[16] = "unchanged";
    findComposeFullFilePathAndName(find, asBytes("/x"), out, 0);
    EXPECT_STREQ(asChars(out), "unchanged");
    findComposeFullFilePathAndName(find, asBytes("/x"), out, 5);
    EXPECT_STREQ(asChars(out), "/x/.");
}

TEST(FSOpenForWrite, CreatesTheFolderOnlyWhenAskedAndNotTooLong)
{
    const TempFolder temp;
    const std::string longest = temp.path("a") + std::string(2047 - temp.path("a").size(), '/'); // 2048 with its NUL
    for (const auto open : {fileOpenForWriteBinary, fileOpenForWriteText})
    {
        EXPECT_FALSE(open(asBytes(temp.path("a/f").c_str()), false));
        EXPECT_FALSE(open(asBytes((longest + "//f").c_str()), true));
        EXPECT_FALSE(temp.holds("a"));
        EXPECT_TRUE(OwnedFile(open(asBytes((longest + "/f").c_str()), true)));
        std::filesystem::remove_all(temp.path("a"));
    }
}

TEST(FSContent, IsWrittenSizedAndReadBackWithAShortCountWhereItEnds)
{
    const TempFolder temp;
    std::string back(3000, ' ');
    for (const u32 size : {0u, 1023u, 1024u, 1025u, 2500u})
    {
        std::string content;
        while (content.size() < size)
            content += static_cast<char>(content.size() * 7);
        const OwnedFile file(std::fopen(temp.path("f").c_str(), "w+b"));
        EXPECT_EQ(fileWrite(file.get(), content.data(), size), size);
        std::rewind(file.get());
        EXPECT_EQ(fileSize(file.get()), size);
        EXPECT_EQ(fileRead(file.get(), back.data(), 3000), size); // fileSize left the position at the start
        EXPECT_EQ(back.substr(0, size), content);
    }
    std::filesystem::resize_file(temp.path("f"), 0x100000001); // sparse, beyond 32 bits
    EXPECT_EQ(fileSize(OwnedFile(std::fopen(temp.path("f").c_str(), "rb")).get()), 0x100000001u);
    const OwnedFile full(std::fopen("/dev/full", "wb"));
    std::setbuf(full.get(), nullptr);
    EXPECT_EQ(fileWrite(full.get(), back.data(), 2000), 0u);
    EXPECT_EQ(fileRead(full.get(), back.data(), 2000), 0u); // open for writing only
}
