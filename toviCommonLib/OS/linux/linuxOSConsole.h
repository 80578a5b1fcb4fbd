// Standard output, the terminal's title and its Ctrl-C. Process-wide: the latter two are called by the one thread that drives
// the terminal. A process that ends on SIGINT uses linuxOSTermination.h instead.
#pragma once

#include <string_view>

namespace platform
{

// Runs in a signal handler, on any thread: it may do only what a signal handler may.
using TrapFunction = void (*)(void *userParam);

// Forgets the callback; leaves the signal as it is.
void console_internal_init();

// Does nothing: what was trapped stays trapped.
void console_internal_deinit();

// Writes whole lines to standard output, past stdio; what nobody reads is lost: ConsoleOutput. Any thread may call it.
void console_write(std::string_view text);

// Sends what turns have gathered. Of a thread that is about to end the process, wherever it stands.
void console_flush();

// While one lives, what its thread writes is gathered and goes out with one call: at its end, with the next line of another
// thread, or when some 4 KB are there. For the time between two waits.
class ConsoleTurn
{
  public:
    ConsoleTurn();
    ~ConsoleTurn();
    ConsoleTurn(const ConsoleTurn &) = delete;
    ConsoleTurn &operator=(const ConsoleTurn &) = delete;
};

// As console_write with the formatted text and a line feed. What would forge a line or move a cursor comes out as
// tovi::string::visible has it.
[[gnu::format(printf, 1, 2)]] void console_printLine(const char *format, ...);

// `title` is a format without arguments: tovi::string::expandWithoutArguments. No terminator is written behind it: a
// caller whose terminal needs one puts it at the end of the title.
void console_setTitle(const char *title);

// From here on SIGINT calls `callback(userParam)`, both borrowed, instead of ending the process.
void console_trap_CTRL_C(TrapFunction callback, void *userParam);

} // namespace platform
