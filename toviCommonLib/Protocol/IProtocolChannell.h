// IProtocolChannell: moves bytes for a protocol and keeps those received and not yet consumed.
// Used by one thread; nothing locks.
#pragma once

#include "toviCommonLib/toviProtocolBuffer.h"

namespace tovi
{

// Results of reads and writes: values up to 0xF0000000 are byte counts, all above are failures.
constexpr u32 RES_COUNT_MAX = 0xF0000000;
constexpr u32 RES_ERROR = 0xF0000001;
constexpr u32 RES_CHANNEL_CLOSED = 0xF0000002;
constexpr u32 RES_PROTOCOL_CLOSED = 0xF0000003;
constexpr u32 RES_PROTOCOL_WRITEBUFFER_TOOSMALL = 0xF0000004;

constexpr bool isFailure(u32 result)
{
    return result > RES_COUNT_MAX;
}

class IProtocolChannell
{
  public:
    // The read buffer starts at the smaller of both sizes and never grows beyond the second.
    IProtocolChannell(Allocator *allocator, u32 startingSizeOfReadBuffer, u32 maxSizeOfReadBuffer);
    virtual ~IProtocolChannell() = default;
    IProtocolChannell(const IProtocolChannell &) = delete;
    IProtocolChannell &operator=(const IProtocolChannell &) = delete;

    virtual bool virt_isOpen() const = 0;
    virtual void virt_close() = 0;

    // One read into `buffer`: the count, 0 when nothing came within the time, or a failure. A time-out of 0 never waits.
    virtual u32 virt_read(u8 *buffer, u32 maxBytes, u32 timeoutMSec) = 0;

    // One write: the count that went out, maybe less than asked for, or a failure.
    virtual u32 virt_write(const u8 *buffer, u32 nBytes) = 0;

    // As virt_write, without waiting for room.
    virtual u32 virt_writeNow(const u8 *buffer, u32 nBytes) { return virt_write(buffer, nBytes); }

    // Appends what arrives within the time to `bufferR`. The count, 0 also when the buffer is full, or a failure.
    u32 read(u32 timeoutMSec);

    // Writes as much as goes within the time, trying every 50 ms; the count or a failure. What is left of a write that
    // had begun goes out before anything else at the next one, so the stream is never torn; while that tail is stuck,
    // nothing of the new bytes is taken and the count is 0.
    u32 write(const u8 *buffer, u32 nBytes, u32 timeoutMSec);

    // As `write`, for a caller that waits elsewhere: what does not go at once is kept as the tail, all of it if need be, and
    // the count is that of the bytes taken. Nothing is taken while a tail is there.
    u32 writeNow(const u8 *buffer, u32 nBytes);

    // Writes what goes of the tail at once: its bytes that are left, or a failure.
    u32 flush();
    bool hasTail() const { return unsentTail.getCursor() != 0; }

    ProtocolBuffer bufferR;

  private:
    u32 priv_writeUntil(const u8 *buffer, u32 nBytes, u64 deadlineMSec);

    u32 maxSizeOfReadBuffer;
    ProtocolBuffer unsentTail;
};

} // namespace tovi
