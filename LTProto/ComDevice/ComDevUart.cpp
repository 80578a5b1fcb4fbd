#include "LTProto/ComDevice/ComDevUart.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSConsole.h"

#include <algorithm>
#include <utility>

namespace tovi
{
namespace
{

constexpr int SPEEDS[] = {115200, 230400, 1000000, 1500000, 2000000, 4000000};
constexpr u32 WAITING_TIMEOUT_MSEC = 250;
constexpr u32 WRITE_RESERVE_MSEC = 1000;
constexpr u64 BITS_PER_BYTE = 10; // start, 8 data, stop

} // namespace

ComDevUart::~ComDevUart()
{
    Close();
    WaitableGroupClean(true);
}

bool ComDevUart::Set(const char *channel, int speed)
{
    const std::string device = channel != nullptr && *channel != '\0' ? channel : m_device;
    if (device.empty() || std::find(std::begin(SPEEDS), std::end(SPEEDS), speed) == std::end(SPEEDS))
        return false;
    Close();
    if (!platform::serialPort_open(&m_com, device.c_str(), static_cast<eRS232BaudRate>(speed), false, false,
                                   eRS232DataBits::b8, eRS232Parity::no, eRS232StopBits::one, eRS232FlowControl::no,
                                   eRS232Mode::waitable))
    {
        platform::serialPort_close(m_com);
        return false;
    }
    m_speed = static_cast<u32>(speed);
    m_waitingTimeout = WAITING_TIMEOUT_MSEC;
    m_device = device;
    return true;
}

bool ComDevUart::WaitableGroup(OSWaitableGrp &group, u32 id, u32 idDummy)
{
    ComDevice::WaitableGroup(group, id, idDummy);
    return WaitableGroupLink(m_com);
}

bool ComDevUart::WaitableGroupRelink()
{
    if (WaitableGroupIsNull() || !IsConnected())
        return false;
    WaitableGroupUnlink(m_com);
    return WaitableGroupLink(m_com);
}

u32 ComDevUart::LineMSec(u32 bytes) const
{
    return static_cast<u32>((bytes * BITS_PER_BYTE * 1000 + m_speed - 1) / m_speed);
}

bool ComDevUart::Send(u32 size, void *buffer)
{
    if (!IsConnected())
        return false;
    m_lineFreeAtMSec = std::max(m_lineFreeAtMSec, platform::getTimeNowMSec()) + LineMSec(size);
    const u32 sended = platform::serialPort_writeWait(m_com, buffer, size, LineMSec(size) + WRITE_RESERVE_MSEC);
    if (sended == size)
        return true;
    platform::console_printLine("ERR UartSend len %u sended %u", size, sended);
    return false;
}

// A port need not tell what its buffers hold, so the bytes are counted by the speed as well.
u32 ComDevUart::SendingMSec() const
{
    const u64 now = platform::getTimeNowMSec();
    const u64 counted = m_lineFreeAtMSec > now ? m_lineFreeAtMSec - now : 0;
    return std::max(static_cast<u32>(counted), LineMSec(platform::serialPort_bytesToSend(m_com)));
}

int ComDevUart::Receive(u32 size, void *buffer)
{
    // Reading no bytes gives 0, which would look like a lost line.
    if (!IsConnected() || size == 0)
        return 0;
    const int n = platform::serialPort_readNoWait(m_com, buffer, size);
    if (n != 0)
        return std::max(n, 0);
    Close();
    return RECEIVE_PEER_CLOSED;
}

void ComDevUart::ReceivePause(bool peer, bool)
{
    if (!WaitableGroupIsNull() && IsConnected() && peer != std::exchange(m_paused, peer))
        m_waitableGroup->setSerialPortInterest(m_com, !peer);
}

bool ComDevUart::Close()
{
    if (!IsConnected())
        return false;
    WaitableGroupUnlink(m_com);
    platform::serialPort_close(m_com);
    m_paused = false;
    m_lineFreeAtMSec = 0; // nothing leaves any more
    return true;
}

bool ComDevUart::ReceiveBufferClear()
{
    platform::serialPort_flushIO(m_com);
    return true;
}

} // namespace tovi
