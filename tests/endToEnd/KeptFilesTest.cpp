// The folder of received files through crashes, damage, and what others do in it.
#include "tests/endToEnd/FileFixture.h"

using KeptFilesTest = FileTest;

TEST_F(KeptFilesTest, ALinkInThePlaceOfTheNewIndexGoesAndNotWhatItPointsTo)
{
    startAgainWithClient();
    ASSERT_FALSE(HasFatalFailure());
    m_folder.write("target", "kept");
    std::filesystem::create_symlink(m_folder.path("target"), m_received + "index.dat.new");
    ASSERT_NO_FATAL_FAILURE(upload(contentOf(10), 1000, "05 00 07"));
    EXPECT_EQ(readFile(announced(7)), textOf(contentOf(10)));
    EXPECT_EQ(m_folder.read("target"), "kept");
}
