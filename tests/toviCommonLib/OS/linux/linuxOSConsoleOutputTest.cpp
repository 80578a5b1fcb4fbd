// What becomes of lines when the reader of the output stops, and when it comes back.
#include "toviCommonLib/OS/linux/linuxOSConsoleOutput.h"

#include "tests/Descriptor.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <thread>

using platform::ConsoleOutput;

namespace
{

constexpr size_t LINE_LEN = 10000; // more than one piece, and no divisor of any buffer

enum class eOutput
{
    pipe,
    socket,
    terminal
};

struct sEnds
{
    Descriptor reader;
    Descriptor writer;
};

sEnds makeTerminal()
{
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY));
    EXPECT_EQ(grantpt(master.get()) + unlockpt(master.get()), 0);
    Descriptor terminal(open(ptsname(master.get()), O_RDWR | O_NOCTTY));
    termios raw{};
    tcgetattr(terminal.get(), &raw);
    cfmakeraw(&raw);
    tcsetattr(terminal.get(), TCSANOW, &raw);
    return {std::move(master), std::move(terminal)};
}

sEnds make(eOutput kind)
{
    if (kind == eOutput::terminal)
        return makeTerminal();
    int ends[2] = {-1, -1};
    EXPECT_EQ(kind == eOutput::pipe ? pipe(ends) : socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

u64 msecOf(const auto &work)
{
    const auto before = std::chrono::steady_clock::now();
    work();
    const auto taken = std::chrono::steady_clock::now() - before;
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::milliseconds>(taken).count());
}

// The lines that a reader finds, as the first character of each and its length where it is no whole line.
std::string shapeOf(const std::string &read)
{
    std::string shape;
    for (size_t at = 0; at < read.size();)
    {
        const size_t end = std::min(read.find('\n', at), read.size());
        const bool isWhole = end - at == LINE_LEN - 1 && read.find_first_not_of(read[at], at) == end;
        shape += isWhole ? std::string(1, read[at]) : std::string("<").append(read, at, end - at).append(">");
        at = end + 1;
    }
    return shape;
}

std::string line(char c)
{
    return std::string(LINE_LEN - 1, c) + "\n";
}

// All that stands there to be read; a terminal hands it on a little later.
std::string drained(const Descriptor &reader)
{
    std::vector<u8> bytes;
    for (pollfd source{reader.get(), POLLIN, 0}; poll(&source, 1, 100) == 1;)
        reader.readInto(bytes);
    return {bytes.begin(), bytes.end()};
}

} // namespace

TEST(ConsoleOutput, WaitsOnceDropsWholeLinesAndTellsHowManyWereLost)
{
    constexpr int LINES = 100; // 1 MB: more than any of them holds
    for (eOutput kind : {eOutput::pipe, eOutput::socket, eOutput::terminal})
    {
        SCOPED_TRACE(static_cast<int>(kind));
        sEnds ends = make(kind);
        const int flags = fcntl(ends.writer.get(), F_GETFL);
        ConsoleOutput output(ends.writer.get());
        const u64 taken = msecOf(
            [&]
            {
                for (int i = 0; i < LINES; ++i)
                    output.write(line('a'));
            });
        EXPECT_GE(taken, ConsoleOutput::PATIENCE_MSEC - 1);
        EXPECT_LT(taken, 5 * ConsoleOutput::PATIENCE_MSEC) << "one wait for all of them";
        EXPECT_EQ(fcntl(ends.writer.get(), F_GETFL), flags);

        std::string read = drained(ends.reader);
        output.write("b\n");
        output.write("c\n");
        read += drained(ends.reader);
        const std::string shape = shapeOf(read);
        const size_t kept = shape.find_first_not_of('a');
        ASSERT_NE(kept, std::string::npos);
        const std::string lost = std::to_string(static_cast<size_t>(LINES) - kept);
        EXPECT_EQ(shape.substr(kept),
                  std::string("<").append(lost).append(" lines lost: the output was not read><b><c>"));
    }
}

TEST(ConsoleOutput, LinesWithMoreBehindThemGoOutTogether)
{
    sEnds ends = make(eOutput::pipe);
    ConsoleOutput output(ends.writer.get());
    output.write("a\n", true);
    EXPECT_EQ(drained(ends.reader), "");
    output.write("b\n");
    EXPECT_EQ(drained(ends.reader), "a\nb\n");
    output.write("c\n", true);
    output.flush();
    EXPECT_EQ(drained(ends.reader), "c\n");
}

TEST(ConsoleOutput, GatheredLinesAreLostWholeAndCountedEach)
{
    constexpr size_t LINES = 40000; // 320 KB: more than a pipe holds
    sEnds ends = make(eOutput::pipe);
    ConsoleOutput output(ends.writer.get());
    for (size_t i = 0; i < LINES; ++i)
        output.write("1234567\n", true);
    output.flush();
    std::string read = drained(ends.reader);
    output.flush();
    output.write("end\n");
    read += drained(ends.reader);
    const size_t whole = std::min(read.find_first_not_of("1234567\n"), read.size()) / 8;
    const std::string lost = std::to_string(LINES - whole).append(" lines lost: the output was not read\nend\n");
    EXPECT_EQ(read.substr(whole * 8), lost);
}

TEST(ConsoleOutput, AReaderThatIsSlowGetsEveryLine)
{
    sEnds ends = make(eOutput::pipe);
    std::vector<u8> bytes;
    std::jthread reader(
        [&]
        {
            while (ends.reader.readInto(bytes, 4096))
            {
            }
        });
    ConsoleOutput output(ends.writer.get());
    for (int i = 0; i < 50; ++i)
        output.write(line('a'));
    ends.writer.reset();
    reader.join();
    EXPECT_EQ(shapeOf({bytes.begin(), bytes.end()}), std::string(50, 'a'));
}
