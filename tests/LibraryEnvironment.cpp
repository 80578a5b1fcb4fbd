// Starts the common library before the first test of a program and ends it after the last.
#include "tests/TempFolder.h"
#include "toviCommonLib/tovi.h"

#include <csignal>
#include <gtest/gtest.h>

namespace
{

class LibraryEnvironment : public testing::Environment
{
  public:
    void SetUp() override
    {
        std::signal(SIGPIPE, SIG_IGN);
        std::filesystem::current_path(m_folder.path()); // what the library writes beside the program stays here
        ASSERT_TRUE(tovi::init("tests", nullptr));
    }
    void TearDown() override { tovi::deinit(); }

  private:
    TempFolder m_folder;
};

const testing::Environment *const environment = testing::AddGlobalTestEnvironment(new LibraryEnvironment);

} // namespace
