// The numbers of received files.
#include "LTProto/LTProto/RcvFileList.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

using LTProtocol::RcvFileList;

TEST(RcvFileListTest, TheNextFreeNumberIsNeitherListedNorOnDiskNorZero)
{
    const TempFolder folder;
    folder.write("00000007.tmp", "");
    RcvFileList list;
    for (u32 number : {5U, 6U, 9U, 0xFFFFFFFFU})
        list.Add({1, number, true});
    list.Remove(9);
    struct Row
    {
        const char *name;
        u32 from, free;
    };
    for (const Row &row : {Row{"free", 4, 4}, Row{"listed, then on disk", 5, 8}, Row{"removed", 9, 9},
                           Row{"behind the last", 0xFFFFFFFF, 1}, Row{"none", 0, 1}})
        EXPECT_EQ(list.FreeNumber(row.from, Tools::StringUtf8(folder.path() + "/")), row.free) << row.name;
}
