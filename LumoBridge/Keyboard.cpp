#include "LumoBridge/Keyboard.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{

// Takes a terminal out of line mode and echo, and puts it back. Nothing typed is discarded by either.
class KeyMode
{
  public:
    KeyMode() : m_isTerminal(tcgetattr(STDIN_FILENO, &m_saved) == 0)
    {
        if (!m_isTerminal)
            return;
        termios keys = m_saved;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
    ~KeyMode()
    {
        if (m_isTerminal)
            tcsetattr(STDIN_FILENO, TCSANOW, &m_saved);
    }
    KeyMode(const KeyMode &) = delete;
    KeyMode &operator=(const KeyMode &) = delete;

  private:
    termios m_saved{};
    bool m_isTerminal;
};

// A controlling terminal in the hands of another process group must not be touched: it is that group's to set.
bool isForeignTerminal()
{
    const pid_t owner = tcgetpgrp(STDIN_FILENO); // -1 for anything but the controlling terminal
    return owner >= 0 && owner != getpgrp();
}

// Whoever shares the input may have taken the key that was there.
std::optional<char> readNoWait()
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    if (flags < 0 || fcntl(STDIN_FILENO, F_SETFL, flags | O_NONBLOCK) != 0)
        return std::nullopt;
    char key = 0;
    const bool hasKey = read(STDIN_FILENO, &key, 1) == 1;
    fcntl(STDIN_FILENO, F_SETFL, flags);
    return hasKey ? std::optional<char>(key) : std::nullopt;
}

} // namespace

std::optional<char> keyboardPoll()
{
    if (isForeignTerminal())
        return std::nullopt;
    const KeyMode keyMode;
    // Asked first, so that the file flags, which other processes share, are touched for a key alone.
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, 0) <= 0 || (input.revents & POLLIN) == 0)
        return std::nullopt;
    return readNoWait();
}
