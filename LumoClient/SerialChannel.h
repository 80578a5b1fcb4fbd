// ByteChannel over a serial device, 115200 baud, 8N1. Owns its port; used by one thread at a time.
#pragma once

#include "LumoClient/ByteChannel.h"
#include "LumoClient/DescriptorWait.h"
#include "toviCommonLib/OS/linux/linuxOSSerialPort.h"

#include <memory>
#include <string>

namespace LumoClient
{

class SerialChannel final : public ByteChannel
{
  public:
    // What came before is thrown away. Null when the device cannot be opened.
    static std::unique_ptr<SerialChannel> open(const std::string &device);

    explicit SerialChannel(const OSSerialPort &openPort) : m_port(openPort) {} // takes it over
    ~SerialChannel() override { close(); }
    SerialChannel(const SerialChannel &) = delete;
    SerialChannel &operator=(const SerialChannel &) = delete;

    std::optional<size_t> read(std::span<u8> into, u32 timeoutMSec) override;
    // Waits at most for as long as the bytes need on the line and 1 s more.
    bool write(std::span<const u8> bytes) override;
    void close() override { platform::serialPort_close(m_port); }
    void pause(u32 msec) override { pauseMSec(msec); }
    bool isPolled() const override { return true; }
    u32 lineMSec(size_t byteCount) const override;
    u64 nowMSec() const override;

  private:
    OSSerialPort m_port;
};

} // namespace LumoClient
