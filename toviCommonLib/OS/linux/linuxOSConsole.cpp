#include "toviCommonLib/OS/linux/linuxOSConsole.h"

#include "toviCommonLib/OS/linux/linuxOSConsoleOutput.h"
#include "toviCommonLib/string/formatText.h"
#include "toviCommonLib/string/visibleText.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <thread>

#include <unistd.h>

namespace platform
{
namespace
{

struct sLinuxConsoleData
{
    TrapFunction trapFN_CTRL_C = nullptr;
    void *trapFN_CTRL_C_userParam = nullptr;
};

// One is read by the handler while the other is filled, so a callback never runs with another one's parameter.
sLinuxConsoleData linuxConsoleData[2];
std::atomic<const sLinuxConsoleData *> trapped{nullptr};
std::atomic<int> handlersReading{0};
static_assert(std::atomic<const sLinuxConsoleData *>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "used by a signal handler");

sLinuxConsoleData readTrapped()
{
    ++handlersReading;
    const sLinuxConsoleData *current = trapped;
    const sLinuxConsoleData data = current != nullptr ? *current : sLinuxConsoleData{};
    --handlersReading;
    return data;
}

void onCtrlC(int)
{
    const int savedErrno = errno;
    const sLinuxConsoleData data = readTrapped();
    if (data.trapFN_CTRL_C != nullptr)
        data.trapFN_CTRL_C(data.trapFN_CTRL_C_userParam);
    errno = savedErrno;
}

ConsoleOutput &standardOutput()
{
    static ConsoleOutput output(STDOUT_FILENO);
    return output;
}

thread_local int turns = 0; // of this thread, one inside another

} // namespace

void console_internal_init()
{
    trapped = nullptr;
}

void console_internal_deinit() {}

void console_write(std::string_view text)
{
    standardOutput().write(text, turns != 0);
}

void console_flush()
{
    standardOutput().flush();
}

ConsoleTurn::ConsoleTurn()
{
    ++turns;
}

ConsoleTurn::~ConsoleTurn()
{
    if (--turns == 0)
        console_flush();
}

void console_printLine(const char *format, ...)
{
    va_list args, again;
    va_start(args, format);
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string line(static_cast<size_t>(std::max(length, 0)), 0);
    std::vsnprintf(line.data(), line.size() + 1, format, again); // the terminator falls on the string's own
    va_end(again);
    va_end(args);
    console_write(tovi::string::visible(line).append("\n"));
}

void console_setTitle(const char *title)
{
    // The title is a format, and nothing is written behind it.
    std::printf("\x1B]2;%s", tovi::string::expandWithoutArguments(title).c_str());
}

void console_trap_CTRL_C(TrapFunction callback, void *userParam)
{
    sLinuxConsoleData &unread = linuxConsoleData[trapped == &linuxConsoleData[0] ? 1 : 0];
    while (handlersReading != 0) // on another thread, for a few instructions
        std::this_thread::yield();
    unread = {callback, userParam};
    trapped = &unread;

    struct sigaction action = {};
    action.sa_handler = onCtrlC;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace platform
