// platform::ConsoleOutput: lines to a descriptor whose other end may be anything: a file, a terminal that was stopped, a
// pipe that nobody reads. Any thread may write; locks itself. Borrows the descriptor and never changes its flags, which
// other processes share.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <mutex>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace platform
{

// A line waits for its reader for at most PATIENCE_MSEC. What finds no room by then is lost as a whole line; one that was
// begun is finished before any other. From then on nothing waits until the output takes lines again, and at least for
// CALM_MSEC; the first line that fits then tells how many were lost.
class ConsoleOutput
{
  public:
    static constexpr u32 PATIENCE_MSEC = 200;
    static constexpr u32 CALM_MSEC = 2000;

    explicit ConsoleOutput(int descriptor) : m_descriptor(descriptor) {}
    ~ConsoleOutput();
    ConsoleOutput(const ConsoleOutput &) = delete;
    ConsoleOutput &operator=(const ConsoleOutput &) = delete;

    // `text` is one line or several, line feeds included. With `more` to come soon it may be gathered with the lines before
    // and behind it; it goes out with the next text that has none behind it, or by `flush`.
    void write(std::string_view text, bool more = false);
    void flush();

  private:
    enum class eKind
    {
        direct, // a file, a device without a reader: never waits for anybody
        pipe,
        socket,
        terminal, // through a descriptor of its own, m_terminal
        shared    // a terminal that cannot be opened anew
    };

    void look(u64 timeMSec);
    bool hasRoom(u64 deadlineMSec) const;
    long writePiece(std::string_view text) const;
    size_t send(std::string_view text, u64 deadlineMSec);
    void sendLines(std::string_view lines);
    void sendGathered();
    bool catchUp(u64 timeMSec);

    const int m_descriptor; // not owned
    // Guards what follows. A thread that finds no memory inside comes in once more, to flush.
    std::recursive_mutex m_mutex;
    eKind m_kind = eKind::direct;
    struct stat m_seen
    {
    };                   // what the descriptor was when m_kind was told
    int m_terminal = -1; // owned
    std::string m_gathered;
    std::string m_rest; // of a line that was begun
    u64 m_lost = 0;     // lines that the output was not yet told of
    u64 m_calmUntilMSec = 0;
    u64 m_lookAtMSec = 0;
};

} // namespace platform
