// The keyboard on whatever standard input is.
#include "LumoBridge/Keyboard.h"

#include "tests/Descriptor.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
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

// The master end is told of each change of the settings.
TEST_F(KeyboardTest, ATerminalInTheHandsOfOthersIsNotTouched)
{
    const Descriptor watching(posix_openpt(O_RDWR | O_NOCTTY));
    ASSERT_EQ(grantpt(watching.get()) + unlockpt(watching.get()), 0);
    const Descriptor terminal(open(ptsname(watching.get()), O_RDWR | O_NOCTTY));
    const int on = 1;
    termios settings{};
    tcgetattr(terminal.get(), &settings);
    settings.c_lflag |= EXTPROC; // without it some changes alone are told
    tcsetattr(terminal.get(), TCSANOW, &settings);
    ioctl(watching.get(), TIOCPKT, &on);
    const pid_t pid = fork();
    if (pid == 0)
    {
        std::signal(SIGTTOU, SIG_IGN);
        setsid();
        ioctl(terminal.get(), TIOCSCTTY, 0);
        dup2(terminal.get(), STDIN_FILENO);
        const pid_t foreground = fork();
        if (foreground == 0)
        {
            pause();
            _exit(0);
        }
        setpgid(foreground, foreground);
        tcsetpgrp(STDIN_FILENO, foreground);
        const bool hasKey = keyboardPoll().has_value();
        kill(foreground, SIGKILL);
        _exit(hasKey ? 1 : 0);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
    u8 told = 0;
    pollfd source{watching.get(), POLLPRI, 0};
    if (poll(&source, 1, 0) > 0)
        static_cast<void>(read(watching.get(), &told, 1) == 1);
    EXPECT_EQ(told & TIOCPKT_IOCTL, 0);
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
