#include "toviCommonLib/toviFS.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <vector>

using namespace tovi::fs;
using platform::OwnedFile;
using tovi::utils::asBytes;

namespace
{

TEST(FSFind, ComposesTheFullNameAndCutsItToTheBuffer)
{
    platform::sOSFileFind find; // without an entry the name is empty
    char out[16] = "unchanged";
    u8 *bytes = reinterpret_cast<u8 *>(out);
    findComposeFullFilePathAndName(find, asBytes("/x"), bytes, 0);
    EXPECT_STREQ(out, "unchanged");

    const TempFolder temp;
    temp.write("entry", "");
    bool found = platform::FS_findFirst(&find, asBytes(temp.path().c_str()), asBytes("entry"));
    while (found && platform::FS_findIsDirectory(find))
        found = platform::FS_findNext(find);
    ASSERT_TRUE(found);
    findComposeFullFilePathAndName(find, asBytes("/x"), bytes, 6);
    EXPECT_STREQ(out, "/x/en");
    findComposeFullFilePathAndName(find, asBytes("/x"), bytes, sizeof(out));
    EXPECT_STREQ(out, "/x/entry");
}

TEST(FSOpenForWrite, CreatesTheFolderOnlyWhenAsked)
{
    const TempFolder temp;
    const std::string path = temp.path("a/f");
    for (const auto open : {fileOpenForWriteBinary, fileOpenForWriteText})
    {
        EXPECT_EQ(open(asBytes(path.c_str()), false), nullptr);
        EXPECT_NE(OwnedFile(open(asBytes(path.c_str()), true)), nullptr);
        std::filesystem::remove_all(temp.path("a"));
    }
}

TEST(FSOpenForWrite, RefusesAFolderPartThatIsTooLong)
{
    const TempFolder temp;
    const std::string folder = temp.path() + std::string(2047 - temp.path().size(), '/'); // 2048 bytes with its NUL
    EXPECT_NE(OwnedFile(fileOpenForWriteText(asBytes((folder + "/f").c_str()), true)), nullptr);
    EXPECT_EQ(fileOpenForWriteText(asBytes((folder + "//f").c_str()), true), nullptr);
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
}

TEST(FSContent, SizeGoesBeyond32Bits)
{
    const TempFolder temp;
    temp.write("f", "");
    std::filesystem::resize_file(temp.path("f"), 0x100000001); // sparse
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

} // namespace
