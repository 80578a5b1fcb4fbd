#include "bench/MachineEnd.h"

#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviSMUMessageKinds.h"

#include <algorithm>
#include <chrono>
#include <netinet/tcp.h>
#include <stdexcept>

namespace LumoBench
{

using namespace tovi::smu;
using tovi::utils::readMsbLsbU16;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr size_t HANDSHAKE_LEN = 12;
constexpr size_t IDENTIFY_FRAME_LEN = 20;
constexpr u8 FRAME_SHORT = 0xFD;
constexpr u8 FRAME_CLOSE = 0x02;
constexpr size_t ID_LEN = 4;
constexpr size_t LINK_STATE_OFFSET = 4;
constexpr u32 TEMPERATURE = 925;
constexpr size_t READ_MAX = 65536;
constexpr u32 FLOOD_BURST = 64;

[[noreturn]] void fail(const std::string &why)
{
    throw std::runtime_error("machine: " + why);
}

} // namespace

MachineEnd::MachineEnd() : m_listener(listenAnywhere(&m_port)) {}

MachineEnd::~MachineEnd()
{
    if (m_link.get() >= 0)
        shutdown(m_link.get(), SHUT_RDWR); // which ends the thread
}

void MachineEnd::takeConnection()
{
    pollfd source{m_listener.get(), POLLIN, 0};
    if (::poll(&source, 1, PATIENCE_MSEC) != 1)
        fail("no bridge came");
    m_link = Descriptor(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    const int on = 1;
    setsockopt(m_link.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void MachineEnd::greet()
{
    Bytes greeting = m_link.readExactly(HANDSHAKE_LEN);
    if (greeting.size() < HANDSHAKE_LEN)
        fail("no handshake");
    greeting.back() = static_cast<u8>(~greeting.back());
    m_link.write(greeting);
    if (m_link.readExactly(IDENTIFY_FRAME_LEN).size() < IDENTIFY_FRAME_LEN)
        fail("no IDENTIFY");
    Bytes frame;
    makeFrame(frame, WHAT_IDENTIFY_ANSW, {});
    m_link.write(frame);
}

void MachineEnd::serve()
{
    m_thread = std::jthread(&MachineEnd::run, this);
}

// ---- The thread.

void MachineEnd::run()
{
    Bytes held;
    ssize_t n = 0;
    do
    {
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(takeFrames(held)));
        const size_t before = held.size();
        held.resize(before + READ_MAX);
        floodUntilReadable();
        n = read(m_link.get(), &held[before], READ_MAX);
        held.resize(before + static_cast<size_t>(std::max<ssize_t>(n, 0)));
    } while (n > 0);
}

void MachineEnd::floodUntilReadable() const
{
    Bytes frame;
    makeFrame(frame, WHAT_VARIABLE, machineValueOf(VARIABLE_SET, TEMPERATURE));
    Bytes burst;
    for (u32 i = 0; i < FLOOD_BURST; ++i)
        burst.insert(burst.end(), frame.begin(), frame.end());
    pollfd source{m_link.get(), POLLIN, 0};
    while (m_floods && ::poll(&source, 1, 0) == 0)
        m_link.write(burst);
}

// The bytes of the whole frames at the front, which are handled.
size_t MachineEnd::takeFrames(std::span<const u8> bytes)
{
    size_t done = 0;
    while (true)
    {
        const std::span<const u8> rest = bytes.subspan(done);
        if (rest.size() < 5 || rest[2] == FRAME_CLOSE)
            return done;
        const size_t width = rest[2] == FRAME_SHORT ? 1 : 2;
        const size_t len = width == 1 ? rest[3] : readMsbLsbU16(&rest[3]);
        const size_t frameLen = 3 + width + len + width;
        if (rest.size() < frameLen)
            return done;
        takeMessage(rest.subspan(3 + width, len));
        done += frameLen;
    }
}

void MachineEnd::takeMessage(std::span<const u8> message)
{
    const u16 what = readMsbLsbU16(message.data());
    const std::span<const u8> payload = message.subspan(MESSAGE_HEADER_LEN);
    if (what == WHAT_VARIABLE)
    {
        takeVariable(payload);
        return;
    }
    const std::lock_guard lock(m_mutex);
    if (what == WHAT_COMMAND)
        m_isLinkUp = payload[LINK_STATE_OFFSET] != 0;
    else if (what == WHAT_FILE)
        m_file.assign(payload.begin() + ID_LEN, payload.end());
    m_changed.notify_all();
}

void MachineEnd::takeVariable(std::span<const u8> payload)
{
    const u32 variable = readMsbLsbU32(payload.data());
    if (variable == VARIABLE_ASKED)
    {
        makeFrame(m_answer, WHAT_VARIABLE, machineValueOf(variable, TEMPERATURE));
        m_link.write(m_answer);
    }
    else if (variable == VARIABLE_SET)
    {
        const std::lock_guard lock(m_mutex);
        ++m_valuesTaken;
        m_changed.notify_all();
    }
}

// ---- Its user's thread.

template <typename Condition>
void MachineEnd::await(const char *what, Condition condition)
{
    std::unique_lock lock(m_mutex);
    if (!m_changed.wait_for(lock, std::chrono::milliseconds(PATIENCE_MSEC), condition))
        fail(std::string("no ") + what);
}

void MachineEnd::awaitLinkUp()
{
    await("link up", [this] { return m_isLinkUp; });
}

void MachineEnd::sendValues(u32 variable, u32 count) const
{
    Bytes frame;
    for (u32 i = 0; i < count; ++i)
    {
        makeFrame(frame, WHAT_VARIABLE, machineValueOf(variable, i));
        m_link.write(frame);
    }
}

void MachineEnd::sendBuffers(u32 variable, u32 size, u32 count) const
{
    Bytes payload, frame;
    addNumber(payload, variable, ID_LEN);
    payload.push_back(static_cast<u8>(LTProtocol::eDataType::DATA_BUFFER));
    payload.resize(payload.size() + size);
    makeFrame(frame, WHAT_VARIABLE, payload);
    for (u32 i = 0; i < count; ++i)
        m_link.write(frame);
}

void MachineEnd::flood(bool on)
{
    m_floods = on;
}

void MachineEnd::announceFile(u16 fileId, const std::string &path) const
{
    Bytes payload;
    addNumber(payload, fileId, ID_LEN);
    payload.insert(payload.end(), path.begin(), path.end());
    Bytes frame;
    makeFrame(frame, WHAT_FILE, payload);
    m_link.write(frame);
}

u64 MachineEnd::valuesTaken()
{
    const std::lock_guard lock(m_mutex);
    return m_valuesTaken;
}

void MachineEnd::awaitValues(u64 count)
{
    await("values", [this, count] { return m_valuesTaken >= count; });
}

std::string MachineEnd::awaitFile()
{
    await("file", [this] { return !m_file.empty(); });
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_file, {});
}

} // namespace LumoBench
