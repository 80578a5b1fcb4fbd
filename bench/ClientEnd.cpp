#include "bench/ClientEnd.h"

#include "LTProto/ComDevice/Crc16.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <netinet/tcp.h>
#include <stdexcept>

namespace LumoBench
{

using namespace LTProtocol;
using tovi::utils::readMsbLsbU16;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr useconds_t RETRY_USEC = 1000;
constexpr size_t NOTICE_TICKET_OFFSET = 5; // behind ticket and type
constexpr int CONNECT_TRIES = 5000;
constexpr useconds_t READ_CHECK_USEC = 200;
constexpr int READ_CHECKS = 25000;
constexpr useconds_t POLL_PAUSE_USEC = 20000; // else the line would never be quiet
constexpr size_t LENGTH_OFFSET = 1;
constexpr size_t TYPE_OFFSET = 3;

[[noreturn]] void fail(const char *why)
{
    throw std::runtime_error(std::string("client: ") + why);
}

// An end of a connection as the kernel's table writes it.
std::string tableName(const sockaddr_in &end)
{
    char text[16];
    std::snprintf(text, sizeof text, "%08X:%04X", end.sin_addr.s_addr, ntohs(end.sin_port));
    return text;
}

// Bytes that wait to be read at the end `local` of a connection.
u64 unreadBytes(const std::string &local, const std::string &remote)
{
    std::ifstream table("/proc/net/tcp");
    std::string slot, localHere, remoteHere, state, queues;
    std::getline(table, slot);
    for (std::string rest; table >> slot >> localHere >> remoteHere >> state >> queues && std::getline(table, rest);)
    {
        if (localHere == local && remoteHere == remote)
            return std::stoull(queues.substr(queues.find(':') + 1), nullptr, 16);
    }
    fail("the bridge's end of the connection is gone");
}

} // namespace

ClientEnd ClientEnd::onTcp(const std::string &ip, u16 port)
{
    for (int i = 0; i < CONNECT_TRIES; ++i)
    {
        Descriptor socket = connectTo(ip, port);
        if (socket.get() >= 0)
        {
            ClientEnd client(std::move(socket), false);
            client.setNoDelay(true);
            const timeval patience{PATIENCE_MSEC / 1000, 0};
            setsockopt(client.m_link.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
            return client;
        }
        usleep(RETRY_USEC);
    }
    fail("nobody listens");
}

ClientEnd ClientEnd::onLine(const std::string &device)
{
    Descriptor line(open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (line.get() < 0)
        fail("no such line");
    return ClientEnd(std::move(line), true);
}

void ClientEnd::setNoDelay(bool on) const
{
    const int value = on ? 1 : 0;
    setsockopt(m_link.get(), IPPROTO_TCP, TCP_NODELAY, &value, sizeof value);
}

// ---- Packets.

void ClientEnd::send(eCommandType type, std::span<const u8> head, std::span<const u8> body)
{
    makePacket(m_out, type, head, body);
    if (write(m_link.get(), m_out.data(), m_out.size()) != static_cast<ssize_t>(m_out.size()))
        fail("a packet did not go out");
}

void ClientEnd::acknowledge()
{
    send(eCommandType::CMD, {&ACK_BYTE, 1});
}

void ClientEnd::poll()
{
    send(eCommandType::CMD, {&POLLING_BYTE, 1});
}

void ClientEnd::awaitRead() const
{
    sockaddr_in here{}, there{};
    socklen_t size = sizeof here;
    getsockname(m_link.get(), reinterpret_cast<sockaddr *>(&here), &size);
    getpeername(m_link.get(), reinterpret_cast<sockaddr *>(&there), &size);
    for (int i = 0; i < READ_CHECKS; ++i)
    {
        usleep(READ_CHECK_USEC);
        if (unreadBytes(tableName(there), tableName(here)) == 0)
            return;
    }
    fail("the bridge does not read");
}

bool ClientEnd::isReady(int timeoutMSec) const
{
    pollfd source{m_link.get(), POLLIN, 0};
    return ::poll(&source, 1, timeoutMSec) == 1;
}

// Reads until `wanted` bytes stand at the front.
void ClientEnd::fill(size_t wanted)
{
    if (m_begin + wanted > m_in.size())
    {
        std::copy(m_in.begin() + static_cast<std::ptrdiff_t>(m_begin),
                  m_in.begin() + static_cast<std::ptrdiff_t>(m_end), m_in.begin());
        m_end -= std::exchange(m_begin, 0);
    }
    while (m_end - m_begin < wanted)
    {
        const ssize_t n = read(m_link.get(), &m_in[m_end], m_in.size() - m_end);
        if (n <= 0)
            fail("no answer, or the bridge left");
        m_end += static_cast<size_t>(n);
    }
}

ClientEnd::Packet ClientEnd::receive()
{
    if (m_begin == m_end)
        m_begin = m_end = 0;
    fill(PACKET_HEADER_LEN);
    const u32 crcAt = readMsbLsbU16(&m_in[m_begin + LENGTH_OFFSET]);
    fill(crcAt + PACKET_CRC_LEN);
    const u8 *packet = &m_in[m_begin];
    if (packet[0] != PACKET_START_MARK || crcAt < PACKET_HEADER_LEN ||
        tovi::Crc16(packet, crcAt) != readMsbLsbU16(packet + crcAt))
        fail("a damaged packet");
    m_begin += crcAt + PACKET_CRC_LEN;
    return {eCommandType{packet[TYPE_OFFSET]}, {packet + PACKET_HEADER_LEN, packet + crcAt}};
}

std::optional<ClientEnd::Packet> ClientEnd::receiveWithin(int timeoutMSec)
{
    if (m_begin == m_end && !isReady(timeoutMSec))
        return std::nullopt;
    return receive();
}

ClientEnd::Packet ClientEnd::receive(eCommandType type)
{
    while (true)
    {
        if (m_isLine && m_begin == m_end && !isReady(PATIENCE_MSEC))
            fail("no answer");
        const Packet packet = receive();
        const bool isPoll = packet.type == eCommandType::CMD && packet.payload[0] == POLLING_BYTE;
        if (packet.type == type && !isPoll)
            return packet;
        if (!m_isLine || !isPoll)
            fail("an unexpected packet");
        usleep(POLL_PAUSE_USEC);
        acknowledge();
    }
}

void ClientEnd::awaitPoll()
{
    while (receive().type != eCommandType::CMD)
    {
    }
}

// ---- What is measured.

void ClientEnd::askVariable(u32 variable)
{
    askSilent(variable);
    if (m_isLine)
        acknowledge(); // the value is held back until then
    if (readMsbLsbU32(receive(eCommandType::DATA).payload.data()) == TICKET_NONE)
        fail("a second notice");
}

void ClientEnd::askSilent(u32 variable)
{
    send(eCommandType::REQUEST, requestOf(variable));
    const Packet notice = receive(eCommandType::DATA);
    if (readMsbLsbU32(notice.payload.data()) != TICKET_NONE)
        fail("no notice");
}

// The machine sends values all the time; the request stands in the place of the ACK of one of them.
void ClientEnd::askInFlood(u32 variable)
{
    receive(eCommandType::DATA);
    send(eCommandType::REQUEST, requestOf(variable));
    std::optional<u32> awaited;
    while (true)
    {
        const Packet packet = receive(eCommandType::DATA);
        const u32 ticket = readMsbLsbU32(packet.payload.data());
        if (ticket == TICKET_NONE)
            awaited = readMsbLsbU32(packet.payload.data() + NOTICE_TICKET_OFFSET);
        else if (ticket == awaited)
            return;
        acknowledge();
    }
}

void ClientEnd::setVariable(u32 variable, u32 value)
{
    send(eCommandType::DATA, spontaneousOf(variable, value));
    const Packet answer = receive(eCommandType::CMD);
    if (answer.payload[0] != ACK_BYTE)
        fail("a value was refused");
}

void ClientEnd::setBuffer(u32 variable, u32 size)
{
    Bytes head = spontaneousOf(variable, 0);
    head.resize(head.size() - sizeof(u32));
    head.back() = static_cast<u8>(LTProtocol::eDataType::DATA_BUFFER);
    send(eCommandType::DATA, head, Bytes(size));
    while (receive().type != eCommandType::CMD)
    {
    }
}

void ClientEnd::takeValues(u32 count)
{
    for (u32 i = 0; i < count; ++i)
    {
        if (i > 0)
            acknowledge();
        receive(eCommandType::DATA);
    }
}

void ClientEnd::rest()
{
    acknowledge();
    if (m_isLine)
        awaitPoll();
    else
        awaitRead();
}

} // namespace LumoBench
