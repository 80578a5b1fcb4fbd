#include "toviCommonLib/OS/linux/linuxOSFS.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/toviUtils.h"

#include <gtest/gtest.h>
#include <set>

using namespace platform;
using tovi::utils::asBytes;
using tovi::utils::asChars;

class LinuxOSFS : public testing::Test
{
  protected:
    // Full name of an entry of the test's folder, valid until the next call.
    const u8 *in(const std::string &name) { return asBytes((m_name = m_temp.path(name)).c_str()); }
    bool rename(const std::string &from, const std::string &to)
    {
        return FS_fileRename(in(""), asBytes(from.c_str()), asBytes(to.c_str()));
    }

    TempFolder m_temp;
    std::string m_name;
};

TEST_F(LinuxOSFS, CreatesEveryFolderAlongThePathUpToTheFirstFailure)
{
    m_temp.write("file", "");
    EXPECT_TRUE(FS_DirectoryCreate(in("a/b//c\\d/")));
    EXPECT_TRUE(FS_DirectoryCreate(in("a/b//c\\d/")));
    EXPECT_TRUE(FS_DirectoryExists(in("a/b/c"))); // both slashes separate levels
    EXPECT_FALSE(FS_DirectoryCreate(asBytes("")));
    EXPECT_FALSE(FS_DirectoryCreate(in("file")));
    EXPECT_FALSE(FS_DirectoryExists(in("file")));
    EXPECT_FALSE(FS_DirectoryCreate(in("g/" + std::string(5000, 'x') + "/h")));
    EXPECT_TRUE(FS_DirectoryExists(in("g")));
}

TEST_F(LinuxOSFS, RenamesInCanonicalFormWithin512BytesAndDeletes)
{
    m_temp.write("a b", "new");
    m_temp.write("c", "old");
    EXPECT_TRUE(rename("/a%20b", ".//c"));
    EXPECT_EQ(m_temp.read("c"), "new");
    const std::string slashes(511 - m_temp.path("c").size(), '/'); // with its NUL the full name takes 512 bytes
    EXPECT_FALSE(rename("a b", "d"));
    EXPECT_FALSE(rename(slashes + "/c", "d"));
    EXPECT_FALSE(rename("c", slashes + "/d"));
    EXPECT_TRUE(rename(slashes + "c", "d"));
    EXPECT_TRUE(FS_fileDelete(in("d")));
    EXPECT_FALSE(FS_fileDelete(in("d")));
}

TEST_F(LinuxOSFS, ListsMatchingFilesAndEveryFolderUntilItEnds)
{
    for (const char *name : {"1.tmp", "2.log", "3.bin"})
        m_temp.write(name, "");
    std::filesystem::create_directory(m_temp.path("folder"));
    std::filesystem::create_symlink("folder", m_temp.path("link"));
    std::set<std::string> files, folders;
    sOSFileFind find;
    EXPECT_FALSE(FS_findNext(find));
    for (bool found = FS_findFirst(&find, in(""), asBytes("*.tmp *.log")); found; found = FS_findNext(find))
        (FS_findIsDirectory(find) ? folders : files).insert(asChars(FS_findGetFileName(find)));
    EXPECT_EQ(files, (std::set<std::string>{"1.tmp", "2.log"}));
    EXPECT_EQ(folders, (std::set<std::string>{".", "..", "folder", "link"}));
    EXPECT_TRUE(FS_findFirst(&find, in(""), asBytes("*")));
    EXPECT_FALSE(FS_findFirst(&find, in("missing"), asBytes("*"))) << "ends the listing in progress";
    EXPECT_FALSE(FS_findIsDirectory(find));
    EXPECT_FALSE(FS_findNext(find));
    EXPECT_EQ(*FS_findGetFileName(find), 0);
}

TEST_F(LinuxOSFS, OpensForReadWriteAndAppend)
{
    for (const auto open : {FS_fileOpenForReadBinary, FS_fileOpenForReadText})
        EXPECT_EQ(open(in("f")), nullptr);
    for (const auto open : {FS_fileOpenForWriteBinary, FS_fileOpenForWriteText, FS_fileOpenForAppendText})
        std::fputs("x", OwnedFile(open(in("f"))).get());
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
