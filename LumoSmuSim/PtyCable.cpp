#include "LumoSmuSim/PtyCable.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace LumoSmuSim
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr size_t READ_MAX = 4096;
constexpr size_t LINE_CHUNK = 16; // what a serial chip hands over at once
constexpr size_t FIFO_LEN = 64;   // what one keeps ready, so that the line does not pause between chunks

// One direction of the cable. With a rate, a chunk arrives when its last byte has been on the line.
struct Wire
{
    int from;
    int to;
    Clock::duration byteTime;
    std::function<std::vector<u8>(const std::vector<u8> &)> pass; // what is left of the bytes read
    std::vector<u8> held = {};
    size_t onLine = 0; // bytes of it, from the front
    Clock::time_point arrival = {};

    bool isPaced() const { return byteTime > Clock::duration::zero(); }
    size_t room() const { return isPaced() ? FIFO_LEN - held.size() : held.empty() ? READ_MAX : 0; }
    bool isDue(Clock::time_point now) const { return onLine != 0 && now >= arrival; }

    void startChunk(Clock::time_point at)
    {
        onLine = isPaced() ? std::min(held.size(), LINE_CHUNK) : held.size();
        arrival = at + byteTime * static_cast<int>(onLine);
    }

    void take()
    {
        std::vector<u8> bytes(room());
        const ssize_t n = read(from, bytes.data(), bytes.size());
        bytes.resize(static_cast<size_t>(std::max<ssize_t>(n, 0)));
        bytes = pass(bytes);
        held.insert(held.end(), bytes.begin(), bytes.end());
        if (onLine == 0)
            startChunk(std::max(arrival, Clock::now()));
    }

    // What waited behind the chunk has followed it without a pause, however late this is called.
    void deliver()
    {
        const size_t n = static_cast<size_t>(std::max<ssize_t>(write(to, held.data(), onLine), 0));
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(n));
        onLine -= n;
        if (onLine == 0)
            startChunk(arrival);
    }
};

} // namespace

PtyPort::PtyPort() : m_farEnd(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
{
    char name[128];
    if (grantpt(m_farEnd.get()) != 0 || unlockpt(m_farEnd.get()) != 0 ||
        ptsname_r(m_farEnd.get(), name, sizeof name) != 0)
        std::abort();
    m_device = name;
    m_keptOpen = platform::FileDescriptor(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    tcgetattr(m_keptOpen.get(), &settings);
    cfmakeraw(&settings);
    tcsetattr(m_keptOpen.get(), TCSANOW, &settings);
}

PtyCable::PtyCable(u32 bytesPerSecond)
{
    if (!platform::event_open(&m_stop))
        std::abort();
    m_thread = std::thread(&PtyCable::carry, this, bytesPerSecond);
}

PtyCable::~PtyCable()
{
    platform::event_fire(m_stop);
    m_thread.join();
    platform::event_close(m_stop);
}

void PtyCable::swallow(eEnd from, u32 nth, bool isEvery)
{
    const std::lock_guard lock(m_mutex);
    m_losses[static_cast<size_t>(from)].swallow(nth, isEvery);
}

u32 PtyCable::swallowed(eEnd from) const
{
    const std::lock_guard lock(m_mutex);
    return m_losses[static_cast<size_t>(from)].swallowed();
}

std::vector<u8> PtyCable::pass(eEnd from, const std::vector<u8> &bytes)
{
    const std::lock_guard lock(m_mutex);
    return m_losses[static_cast<size_t>(from)].pass(bytes);
}

void PtyCable::carry(u32 bytesPerSecond)
{
    const Clock::duration byteTime =
        bytesPerSecond != 0 ? Clock::duration(std::chrono::seconds(1)) / bytesPerSecond : Clock::duration::zero();
    Wire wires[] = {
        {m_a.farEnd(), m_b.farEnd(), byteTime, [this](const std::vector<u8> &bytes) { return pass(eEnd::A, bytes); }},
        {m_b.farEnd(), m_a.farEnd(), byteTime, [this](const std::vector<u8> &bytes) { return pass(eEnd::B, bytes); }}};
    pollfd sources[5] = {{m_stop.evfd, POLLIN, 0}};
    do
    {
        const Clock::time_point now = Clock::now();
        Clock::duration wait = std::chrono::seconds(60);
        for (size_t i = 0; i < 2; ++i)
        {
            const Wire &wire = wires[i];
            if (wire.onLine != 0 && !wire.isDue(now))
                wait = std::min(wait, wire.arrival - now);
            sources[1 + i] = {wire.room() != 0 ? wire.from : -1, POLLIN, 0};
            sources[3 + i] = {wire.isDue(now) ? wire.to : -1, POLLOUT, 0};
        }
        const auto nanoSeconds = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
        const timespec limit{static_cast<time_t>(nanoSeconds / 1000000000),
                             static_cast<long>(nanoSeconds % 1000000000)};
        ppoll(sources, 5, &limit, nullptr);
        for (size_t i = 0; i < 2; ++i)
        {
            if (sources[3 + i].revents != 0)
                wires[i].deliver();
            if (sources[1 + i].revents != 0)
                wires[i].take();
        }
    } while (sources[0].revents == 0);
}

} // namespace LumoSmuSim
