// ProtocolBuffer: the growable byte buffer of the machine link. Used by one thread at a time.
#pragma once

#include "toviCommonLib/toviMemory.h"

namespace tovi
{

class ProtocolBuffer
{
  public:
    ProtocolBuffer() = default;
    ~ProtocolBuffer();
    ProtocolBuffer(const ProtocolBuffer &) = delete;
    ProtocolBuffer &operator=(const ProtocolBuffer &) = delete;

    // Releases what it held and takes `size` bytes from the allocator, owned; size 0 takes none.
    void setup(Allocator *allocatorToUse, u32 size);

    // Uses the caller's memory, which must outlive the buffer; a later growth moves to owned memory.
    void setupWithBase(u8 *baseMem, u32 size, Allocator *allocatorToUse);

    // The growths keep the contents. False when the allocator has no memory; the buffer is then as before.
    bool growIncremental(u32 n);
    bool growUpTo(u32 n);
    bool append(const u8 *bytes, u32 n);

    // Moves the first `size` bytes to a block of exactly that size, from `other` or from the buffer's own allocator.
    bool shrink(u32 size, Allocator *other = nullptr);

    // Drops the first n valid bytes, all when there are fewer; those behind them move to the front.
    void removeFirstNByte(u32 n);

    void reset() { cursor = 0; }
    void moveCursorTo(u32 pos) { cursor = pos; }
    void advanceCursor(u32 n) { cursor += n; }
    u32 getCursor() const { return cursor; }
    u32 getTotalSizeAllocated() const { return allocatedSize; }
    u32 getFree() const { return allocatedSize - cursor; }
    Allocator *getAllocator() const { return allocator; }
    u8 *data() { return mem; }
    const u8 *data() const { return mem; }

  private:
    bool priv_moveTo(Allocator *newAllocator, u32 newSize);
    void priv_release();

    Allocator *allocator = nullptr;
    u8 *mem = nullptr;
    u32 allocatedSize = 0;
    u32 cursor = 0;       // number of valid bytes
    u8 bFreeMemBlock = 0; // `mem` is owned and goes back to `allocator`
};

} // namespace tovi
