// ByteChannel over a TCP connection. Owns its socket; used by one thread at a time.
#pragma once

#include "LumoClient/ByteChannel.h"
#include "LumoClient/DescriptorWait.h"

#include <memory>
#include <string>

namespace LumoClient
{

class TcpChannel final : public ByteChannel
{
  public:
    // Connects to an IPv4 address or host name; the time-out spans all addresses of the name, but not the look-up of
    // the name itself. Null when none of them answers.
    static std::unique_ptr<TcpChannel> open(const std::string &host, u16 port, u32 timeoutMSec);

    explicit TcpChannel(int connectedSocket) : m_socket(connectedSocket) {} // takes it over
    ~TcpChannel() override { close(); }
    TcpChannel(const TcpChannel &) = delete;
    TcpChannel &operator=(const TcpChannel &) = delete;

    std::optional<size_t> read(std::span<u8> into, u32 timeoutMSec) override;
    // Waits at most 5 s for a peer that does not read, then gives it up.
    bool write(std::span<const u8> bytes) override;
    void close() override;
    void reset() override;
    void pause(u32 msec) override { pauseMSec(msec); }
    u64 nowMSec() const override;

  private:
    int m_socket;
};

} // namespace LumoClient
