// Tools::MemoryBuffer: an owned byte array with integer operations in both byte orders.
// Used by one thread at a time. There is no spare capacity: whatever makes it longer reallocates to the exact length.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <memory>
#include <string>

namespace Tools
{
class StringUtf8;

// memcmp over the shorter length: a proper prefix compares as equal (0). Only an empty side orders by length:
// -1 when `a` alone is empty, 1 when `b` alone is.
int CompareBytes(const u8 *a, u32 lenA, const u8 *b, u32 lenB);

// Pointer arguments may point into the buffer itself. What would bring the length above 32 bits is refused: the buffer
// stays as it was. "LsbMsb" is least significant byte first, "MsbLsb" most significant byte first.
class MemoryBuffer
{
  public:
    u32 m_len = 0;               // valid bytes
    std::unique_ptr<u8[]> m_ptr; // at least m_len bytes, longer after SizeReduce; null when nothing was stored

    // Each constructor does what Set does with the same arguments.
    MemoryBuffer() = default;
    MemoryBuffer(const MemoryBuffer &o) { Set(o); }
    MemoryBuffer(MemoryBuffer &&o) noexcept;
    explicit MemoryBuffer(const StringUtf8 &value) { Set(value); }
    explicit MemoryBuffer(u8 c) { Set(c); }
    MemoryBuffer(u32 len, const void *ptr, u32 minlen = 0, char filler = 0) { Set(len, ptr, minlen, filler); }
    explicit MemoryBuffer(const std::string &str, u32 minlen = 0, char filler = 0) { Set(str, minlen, filler); }
    explicit MemoryBuffer(const char *str, u32 minlen = 0, char filler = 0); // null: empty, whatever `minlen`
    ~MemoryBuffer() = default;

    MemoryBuffer &operator=(const MemoryBuffer &o); // as Set: assigned to itself the buffer is left empty
    MemoryBuffer &operator=(MemoryBuffer &&o) noexcept;

    // The length becomes the larger of `len` and `minlen`; what `len` bytes of `ptr` do not cover is `filler`, all of
    // it when `ptr` is null. Strings give their bytes without the terminator; `str` is not null.
    // False when a string is longer than 32 bits count: unchanged.
    bool Set(u32 len, const void *ptr, u32 minlen = 0, char filler = 0);
    bool Set(const std::string &str, u32 minlen = 0, char filler = 0);
    bool Set(const char *str, u32 minlen = 0, char filler = 0);
    bool Set(u8 c);
    bool Set(const MemoryBuffer &o);
    bool Set(const StringUtf8 &value);
    bool Clear(); // always true

    // Append; return the new length. `ptr` and `str` are not null.
    u32 Add(u32 len, const void *ptr);
    u32 Add(const MemoryBuffer &o); // reallocates even when `o` is empty
    u32 Add(const std::string &str);
    u32 Add(const char *str);
    MemoryBuffer operator+(const MemoryBuffer &o) const;
    MemoryBuffer operator+(const std::string &str) const;
    MemoryBuffer operator+(const char *str) const;

    // Drops the last `delta` bytes and keeps the array; more than there are drops none. Returns the length.
    u32 SizeReduce(u32 delta);

    // Copy out at most `len` bytes from the front or from `startPos`; return the count.
    u32 Extract(u32 len, void *buf) const;
    u32 Extract(void *ptr, u32 startPos, u32 len) const;
    // Stores a new array of m_len bytes in `*ptr`, owned by the caller, who frees it by delete[] as u8; returns m_len.
    // When empty, returns 0 and leaves `*ptr`.
    u32 Extract(void **ptr) const;
    // At most `len` bytes from `start`, cut at the end of the buffer.
    MemoryBuffer Extract(u32 start, u32 len) const;
    // The bytes from `start` up to, not including, position `end`; `end` 0 is the end of the buffer, and so is any
    // position behind it.
    MemoryBuffer Sub(u32 start, u32 end) const;

    // The run of printable ASCII, tabs and line feeds at the front or at `startPos`: at most `maxlen` bytes, 0 for no
    // bound.
    std::string ToString(u32 maxlen = 0) const;
    std::string ToStringFromPos(u32 startPos, u32 maxlen = 0) const;
    // The first `maxlen` bytes, 0 for all, as Tools::ToHex writes them.
    std::string ToHex(u32 maxlen = 0, char separator = 0) const;
    // Overwrites every byte that is not printable ASCII, tab and line feed included. True when there was one.
    bool SanitizeAsAsciiString(u8 replace);

    // Compare is CompareBytes, a prefix compares as 0; == compares the length too.
    bool operator==(const MemoryBuffer &o) const;
    int Compare(const MemoryBuffer &o) const;
    int Compare(u32 len, const void *ptr) const;
    int Compare(const std::string &str) const;
    int Compare(const char *str) const;

    // The buffer becomes the low `len` bytes of `value`. False when `len` is above 8: unchanged.
    bool ToLsbMsb(u64 value, u32 len);
    bool ToMsbLsb(u64 value, u32 len);
    // Writes min(`numBytes`, 4) bytes to `ptr`; returns that count.
    static u32 ToLsbMsb(u32 value, u8 *ptr, u32 numBytes);
    // The number of min(`len`, 4) bytes at `pos`. FromLsbMsb reads fewer where the buffer ends; FromMsbLsb gives 0
    // when the `len` bytes are not all there.
    u32 FromLsbMsb(u32 len, u32 pos) const;
    u32 FromMsbLsb(u32 len, u32 pos) const;
    // Append `numBytes` bytes, those beyond the fourth 0; on an empty buffer more than 8 append nothing.
    // Return the new length.
    u32 AddLsbMsb(u32 value, u32 numBytes);
    u32 AddMsbLsb(u32 value, u32 numBytes);
    // Prepends min(`numBytes`, 4) bytes; returns that count.
    u32 InsertLsbMsb(u32 value, u32 numBytes);

  private:
    bool HasRoomFor(u32 extra) const { return extra <= UINT32_MAX - m_len; }
    void Resize(u32 len);
    std::unique_ptr<u8[]> Widen(u32 before, u32 after);
    u32 Append(u32 len, const u8 *bytes);
};

} // namespace Tools
