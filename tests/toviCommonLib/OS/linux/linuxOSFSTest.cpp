#include "toviCommonLib/OS/linux/linuxOSFS.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <set>

using namespace platform;
using tovi::utils::asBytes;
using tovi::utils::asChars;

namespace
{

class LinuxOSFS : public testing::Test
{
  protected:
    bool create(const std::string &name) const { return FS_DirectoryCreate(asBytes(m_temp.path(name).c_str())); }
    bool exists(const std::string &name) const { return FS_DirectoryExists(asBytes(m_temp.path(name).c_str())); }
    bool rename(const std::string &from, const std::string &to) const
    {
        return FS_fileRename(asBytes(m_temp.path().c_str()), asBytes(from.c_str()), asBytes(to.c_str()));
    }
    bool findFirst(sOSFileFind &find, const char *jolly) const
    {
        return FS_findFirst(&find, asBytes(m_temp.path().c_str()), asBytes(jolly));
    }

    TempFolder m_temp;
};

TEST_F(LinuxOSFS, CreatesEveryFolderAlongThePath)
{
    EXPECT_TRUE(create("a/b//c/"));
    EXPECT_TRUE(exists("a/b/c"));
    EXPECT_TRUE(create("a\\d")); // a level too
    EXPECT_TRUE(create("e\\f"));
    EXPECT_TRUE(exists("e"));
}

TEST_F(LinuxOSFS, CreationStopsAtTheFirstFailure)
{
    m_temp.write("file", "");
    EXPECT_FALSE(FS_DirectoryCreate(asBytes("")));
    EXPECT_FALSE(create("file"));
    EXPECT_FALSE(create("a/../file/b"));
    EXPECT_FALSE(create("a/" + std::string(5000, 'x') + "/b"));
    EXPECT_TRUE(exists("a"));
    EXPECT_FALSE(exists("file"));
}

TEST_F(LinuxOSFS, RenameReplacesAndPutsNamesIntoCanonicalForm)
{
    m_temp.write("a b", "new");
    m_temp.write("c", "old");
    EXPECT_TRUE(rename("/a%20b", ".//c"));
    EXPECT_EQ(m_temp.read("c"), "new");
    EXPECT_FALSE(rename("a b", "d"));
    EXPECT_TRUE(FS_fileDelete(asBytes(m_temp.path("c").c_str())));
    EXPECT_FALSE(FS_fileDelete(asBytes(m_temp.path("c").c_str())));
}

TEST_F(LinuxOSFS, RenameRefusesNamesAbove512Bytes)
{
    m_temp.write("f", "");
    const std::string slashes(511 - m_temp.path("f").size(), '/'); // with its NUL the full name takes 512 bytes
    EXPECT_FALSE(rename(slashes + "/f", "g"));
    EXPECT_FALSE(rename("f", slashes + "/g"));
    EXPECT_TRUE(rename(slashes + "f", "g"));
}

TEST_F(LinuxOSFS, ListsMatchingFilesAndEveryFolder)
{
    create("folder");
    for (const char *name : {"1.tmp", "2.log", "3.bin"})
        m_temp.write(name, "");
    std::filesystem::create_symlink("folder", m_temp.path("link"));
    std::filesystem::create_symlink("nowhere", m_temp.path("dead"));
    std::set<std::string> files, folders;
    sOSFileFind find;
    for (bool found = findFirst(find, "*.tmp *.log"); found; found = FS_findNext(find))
        (FS_findIsDirectory(find) ? folders : files).insert(asChars(FS_findGetFileName(find)));
    EXPECT_EQ(files, (std::set<std::string>{"1.tmp", "2.log"}));
    EXPECT_EQ(folders, (std::set<std::string>{".", "..", "folder", "link"}));
}

TEST_F(LinuxOSFS, ListingIsSafeBeforeItStartsAndAfterItEnds)
{
    sOSFileFind find;
    EXPECT_FALSE(FS_findNext(find));
    ASSERT_TRUE(findFirst(find, "*"));
    EXPECT_FALSE(FS_findFirst(&find, asBytes(m_temp.path("missing").c_str()), asBytes("*")));
    EXPECT_FALSE(FS_findIsDirectory(find));
    EXPECT_STREQ(asChars(FS_findGetFileName(find)), "");
    ASSERT_TRUE(findFirst(find, "*"));
    ASSERT_TRUE(findFirst(find, "*")); // closes the listing in progress
    FS_findClose(find);
    FS_findClose(find);
    EXPECT_FALSE(FS_findNext(find));
}

TEST_F(LinuxOSFS, OpensForReadWriteAndAppend)
{
    const std::string path = m_temp.path("f");
    EXPECT_EQ(FS_fileOpenForReadBinary(asBytes(path.c_str())), nullptr);
    EXPECT_EQ(FS_fileOpenForReadText(asBytes(path.c_str())), nullptr);
    for (const auto open : {FS_fileOpenForWriteBinary, FS_fileOpenForWriteText, FS_fileOpenForAppendText})
        std::fputs("x", OwnedFile(open(asBytes(path.c_str()))).get());
    EXPECT_EQ(m_temp.read("f"), "xx"); // writing truncates, appending does not
}

TEST_F(LinuxOSFS, SyncRunsTheCommandTwiceAndReadsItsOutput)
{
    m_temp.write("sync", "#!/bin/sh\nhead -c 100000 /dev/zero && echo run >> '" + m_temp.path("runs") + "'\n");
    std::filesystem::permissions(m_temp.path("sync"), std::filesystem::perms::owner_all);
    const std::string path = std::getenv("PATH");
    setenv("PATH", (m_temp.path() + ":" + path).c_str(), 1);
    testing::internal::CaptureStdout();
    FS_sync();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "*** LINUX::FS_sync*** LINUX::FS_sync");
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(m_temp.read("runs"), "run\nrun\n");
}

} // namespace
