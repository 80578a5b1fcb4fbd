// Starts the common library before the first test of a program and ends it after the last.
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
        ASSERT_TRUE(tovi::init("tests", nullptr));
    }
    void TearDown() override { tovi::deinit(); }
};

const testing::Environment *const environment = testing::AddGlobalTestEnvironment(new LibraryEnvironment);

} // namespace
