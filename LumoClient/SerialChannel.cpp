#include "LumoClient/SerialChannel.h"

#include <poll.h>

namespace LumoClient
{
namespace
{

constexpr u32 BYTES_PER_SECOND = 11520;
constexpr u32 WRITE_RESERVE_MSEC = 1000;

} // namespace

std::unique_ptr<SerialChannel> SerialChannel::open(const std::string &device)
{
    OSSerialPort port;
    const bool opened =
        platform::serialPort_open(&port, device.c_str(), eRS232BaudRate::b115200, false, false, eRS232DataBits::b8,
                                  eRS232Parity::no, eRS232StopBits::one, eRS232FlowControl::no, eRS232Mode::waitable);
    auto channel = std::make_unique<SerialChannel>(port);
    if (!opened)
        return nullptr;
    platform::serialPort_flushIO(port);
    return channel;
}

std::optional<size_t> SerialChannel::read(std::span<u8> into, u32 timeoutMSec)
{
    if (platform::serialPort_isInvalid(m_port))
        return std::nullopt;
    if (!waitUntilReady(m_port.fd, POLLIN, steadyMSec() + timeoutMSec))
        return 0;
    const int count = platform::serialPort_readNoWait(m_port, into.data(), static_cast<u32>(into.size()));
    if (count == 0)
        return std::nullopt;
    return count > 0 ? static_cast<size_t>(count) : 0;
}

bool SerialChannel::write(std::span<const u8> bytes)
{
    const u32 count = static_cast<u32>(bytes.size());
    const u32 timeoutMSec = lineMSec(count) + WRITE_RESERVE_MSEC;
    return !platform::serialPort_isInvalid(m_port) &&
           platform::serialPort_writeWait(m_port, bytes.data(), count, timeoutMSec) == count;
}

u32 SerialChannel::lineMSec(size_t byteCount) const
{
    return static_cast<u32>(u64{byteCount} * 1000 / BYTES_PER_SECOND);
}

u64 SerialChannel::nowMSec() const
{
    return steadyMSec();
}

} // namespace LumoClient
