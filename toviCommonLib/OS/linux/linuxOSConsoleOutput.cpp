#include "toviCommonLib/OS/linux/linuxOSConsoleOutput.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace platform
{
namespace
{

constexpr u64 LOOK_MSEC = 100;
constexpr size_t PIPE_PIECE_LEN = 4096; // a pipe that polls as writable has room for it
constexpr size_t GATHERED_LEN_MAX = PIPE_PIECE_LEN;
constexpr size_t SHARED_PIECE_LEN = 64; // as much as a terminal that polls as writable is trusted with

u64 nowMSec()
{
    using namespace std::chrono;
    return static_cast<u64>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

bool isSame(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_rdev == b.st_rdev && a.st_mode == b.st_mode;
}

u64 lineCount(std::string_view lines)
{
    return static_cast<u64>(std::count(lines.begin(), lines.end(), '\n'));
}

int openAnew(int descriptor)
{
    const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
    return open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

} // namespace

ConsoleOutput::~ConsoleOutput()
{
    if (m_terminal >= 0)
        close(m_terminal);
}

void ConsoleOutput::write(std::string_view text, bool more)
{
    const std::lock_guard lock(m_mutex);
    const bool isGathered = more && text.size() <= GATHERED_LEN_MAX;
    if (!isGathered || m_gathered.size() + text.size() > GATHERED_LEN_MAX)
        sendGathered();
    if (isGathered)
        m_gathered += text;
    else
        sendLines(text);
}

void ConsoleOutput::flush()
{
    const std::lock_guard lock(m_mutex);
    sendGathered();
}

void ConsoleOutput::sendGathered()
{
    if (m_gathered.empty())
        return;
    sendLines(m_gathered);
    m_gathered.clear();
}

void ConsoleOutput::sendLines(std::string_view lines)
{
    const u64 now = nowMSec();
    look(now);
    if (!catchUp(now))
    {
        m_lost += lineCount(lines);
        return;
    }
    const size_t sent = send(lines, now < m_calmUntilMSec ? now : now + PATIENCE_MSEC);
    if (sent == lines.size())
        return;
    m_calmUntilMSec = nowMSec() + CALM_MSEC;
    const bool isCut = sent != 0 && lines[sent - 1] != '\n';
    const size_t lostFrom = isCut ? std::min(lines.find('\n', sent), lines.size() - 1) + 1 : sent;
    m_rest = lines.substr(sent, lostFrom - sent);
    m_lost += lineCount(lines.substr(lostFrom));
}

// Tells the kind apart. What the descriptor stands for may change, yet hardly between two lines of a busy moment.
void ConsoleOutput::look(u64 timeMSec)
{
    if (timeMSec < m_lookAtMSec)
        return;
    m_lookAtMSec = timeMSec + LOOK_MSEC;
    struct stat now = {};
    if (fstat(m_descriptor, &now) != 0 || isSame(now, m_seen))
        return;
    m_seen = now;
    if (m_terminal >= 0)
        close(m_terminal);
    m_terminal = -1;
    if (S_ISSOCK(now.st_mode))
        m_kind = eKind::socket;
    else if (S_ISFIFO(now.st_mode))
        m_kind = eKind::pipe;
    else if (!isatty(m_descriptor))
        m_kind = eKind::direct;
    else
    {
        m_terminal = openAnew(m_descriptor);
        m_kind = m_terminal >= 0 ? eKind::terminal : eKind::shared;
    }
}

// The rest of a begun line, then the count of the lost ones. Neither is waited for: this output has failed before.
bool ConsoleOutput::catchUp(u64 timeMSec)
{
    if (!m_rest.empty())
        m_rest.erase(0, send(m_rest, timeMSec));
    if (!m_rest.empty())
        return false;
    if (m_lost == 0)
        return true;
    const std::string told = std::to_string(m_lost).append(" lines lost: the output was not read\n");
    const size_t sent = send(told, timeMSec);
    if (sent == 0)
        return false;
    m_lost = 0;
    m_rest = told.substr(sent);
    return m_rest.empty();
}

// How many bytes of `text` went.
size_t ConsoleOutput::send(std::string_view text, u64 deadlineMSec)
{
    size_t sent = 0;
    while (sent < text.size() && hasRoom(deadlineMSec))
    {
        const long n = writePiece(text.substr(sent));
        if (n > 0)
            sent += static_cast<size_t>(n);
        else if (n == 0 || (errno != EINTR && errno != EAGAIN) || nowMSec() >= deadlineMSec)
            break;
    }
    return sent;
}

bool ConsoleOutput::hasRoom(u64 deadlineMSec) const
{
    if (m_kind == eKind::direct)
        return true;
    for (;;)
    {
        const u64 now = nowMSec();
        pollfd output{m_kind == eKind::terminal ? m_terminal : m_descriptor, POLLOUT, 0};
        const int n = poll(&output, 1, static_cast<int>(deadlineMSec > now ? deadlineMSec - now : 0));
        if (n >= 0 || errno != EINTR)
            return n > 0;
    }
}

long ConsoleOutput::writePiece(std::string_view text) const
{
    switch (m_kind)
    {
    case eKind::socket: return ::send(m_descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case eKind::terminal: return ::write(m_terminal, text.data(), text.size());
    case eKind::pipe: return ::write(m_descriptor, text.data(), std::min(text.size(), PIPE_PIECE_LEN));
    case eKind::shared: return ::write(m_descriptor, text.data(), std::min(text.size(), SHARED_PIECE_LEN));
    case eKind::direct: break;
    }
    return ::write(m_descriptor, text.data(), text.size());
}

} // namespace platform
