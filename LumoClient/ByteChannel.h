// What the client link runs over: a TCP connection, a serial port, or a script in a test.
// A channel is used by one thread at a time and owned by the PacketLink above it.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <optional>
#include <span>

namespace LumoClient
{

class ByteChannel
{
  public:
    virtual ~ByteChannel() = default;

    // Waits at most `timeoutMSec` for bytes and reads what is there, at most `into.size()`. Returns the count, 0 when
    // nothing came in time, nothing when the peer is gone.
    virtual std::optional<size_t> read(std::span<u8> into, u32 timeoutMSec) = 0;

    // Hands over all bytes in one piece, so that the peer reads them together. False when the peer is gone.
    virtual bool write(std::span<const u8> bytes) = 0;

    // Closing twice does nothing; reads and writes then find the peer gone.
    virtual void close() = 0;

    // Closes so that the peer finds an error, where the link knows such an end.
    virtual void reset() { close(); }

    // Waits without reading.
    virtual void pause(u32 msec) = 0;

    // Whether the bridge is the main station of a serial line: it polls, and sends a value only in answer to an ACK or a
    // POLLING.
    virtual bool isPolled() const { return false; }

    // How long so many bytes are on the line; 0 where that does not count.
    virtual u32 lineMSec(size_t) const { return 0; }

    // The clock by which `read` measures its time: milliseconds, never set back, of no particular origin.
    virtual u64 nowMSec() const = 0;
};

} // namespace LumoClient
