// tovi::ComDevUart: the client link over a serial line of 8 data bits, no parity, one stop bit, no flow control.
#pragma once

#include "LTProto/ComDevice/ComDevice.h"

#include <string>

namespace tovi
{

class ComDevUart : public ComDevice
{
  public:
    static constexpr int SPEED_DEFAULT = 115200; // baud

    explicit ComDevUart(Tools::LogTracer *logTracer) : ComDevice(logTracer) {}
    ~ComDevUart() override;

    // Opens the device `channel`, or the one last opened when that is null or empty, at 115200, 230400, 1000000, 1500000,
    // 2000000 or 4000000 baud. A port that was open before is closed.
    bool Set(const char *channel, int speed) override;
    bool WaitableGroup(OSWaitableGrp &group, u32 id, u32 idDummy) override;
    bool WaitableGroupRelink() override;
    using ComDevice::Send;

    // Waits for room as long as the bytes need on the line plus 1 s; true when the port accepted all of them.
    bool Send(u32 size, void *buffer) override;

    // The count, 0 when nothing is there, RECEIVE_PEER_CLOSED when the line is gone (it is then unlinked and closed).
    int Receive(u32 size, void *buffer) override;
    void ReceivePause(bool peer, bool newcomers) override;
    bool Close() override;
    bool Reset() override { return ReceiveBufferClear(); }
    bool IsConnected() const override { return !platform::serialPort_isInvalid(m_com); }
    u32 SendingMSec() const override;

    // Discards what was received and not read, and what was accepted and not sent; true.
    bool ReceiveBufferClear();

  private:
    u32 LineMSec(u32 bytes) const;

    std::string m_device; // last opened
    OSSerialPort m_com;
    u32 m_speed = SPEED_DEFAULT;
    bool m_paused = false;
    u64 m_lineFreeAtMSec = 0; // when the last byte accepted has left, counted by the speed
};

} // namespace tovi
