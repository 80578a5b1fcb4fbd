// The keyboard on whatever standard input is.
#include "LumoBridge/Keyboard.h"

#include "tests/Descriptor.h"

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <thread>

// Standard input is another file until the end of the test.
struct KeyboardTest : testing::Test
{
    ~KeyboardTest() override { dup2(m_before.get(), STDIN_FILENO); }
    void readFrom(int descriptor)
    {
        dup2(descriptor, STDIN_FILENO);
        close(descriptor);
    }

    Descriptor m_before{dup(STDIN_FILENO)};
};

TEST_F(KeyboardTest, APipeGivesByteForByteAndNothingAtItsEnd)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    readFrom(ends[0]);
    Descriptor typed(ends[1]);
    EXPECT_EQ(keyboardPoll(), std::nullopt);
    typed.write({'a', 'X'});
    EXPECT_EQ(keyboardPoll(), 'a');
    EXPECT_EQ(keyboardPoll(), 'X');
    typed.reset();
    EXPECT_EQ(keyboardPoll(), std::nullopt);
}

TEST_F(KeyboardTest, ATerminalGivesKeysWithoutALineEndAndIsAsBefore)
{
    const Descriptor typed(posix_openpt(O_RDWR | O_NOCTTY));
    ASSERT_EQ(grantpt(typed.get()) + unlockpt(typed.get()), 0);
    readFrom(open(ptsname(typed.get()), O_RDWR | O_NOCTTY));
    termios before{}, after{};
    tcgetattr(STDIN_FILENO, &before);
    EXPECT_EQ(keyboardPoll(), std::nullopt);
    typed.write({'x'});
    EXPECT_EQ(keyboardPoll(), 'x');
    tcgetattr(STDIN_FILENO, &after);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(KeyboardTest, AKeyThatAnotherReaderTakesFirstIsNotWaitedFor)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const Descriptor other(dup(ends[0]));
    readFrom(ends[0]);
    const Descriptor typed(ends[1]);
    std::atomic<int> taken{0};
    std::jthread thief(
        [&](const std::stop_token &end)
        {
            for (char key; !end.stop_requested();)
                taken += recv(other.get(), &key, 1, MSG_DONTWAIT) == 1 ? 1 : 0;
        });
    int typedCount = 0, polled = 0;
    for (; typedCount < 200000 && taken < 2000; ++typedCount)
    {
        typed.write({'k'});
        polled += keyboardPoll() ? 1 : 0;
    }
    thief.request_stop();
    thief.join();
    while (keyboardPoll())
        ++polled;
    EXPECT_EQ(polled + taken, typedCount);
}

TEST_F(KeyboardTest, NoInputAtAllGivesNothing)
{
    close(STDIN_FILENO);
    EXPECT_EQ(keyboardPoll(), std::nullopt);
}
