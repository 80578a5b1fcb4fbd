// Tools::StringUtf8: an owned UTF-8 text, such as a file name.
// Used by one thread at a time. There is no spare capacity: every change reallocates to the exact length.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <memory>
#include <string>

namespace Tools
{
class MemoryBuffer;

// Text that comes as char is made UTF-8 by tovi::string::utf8::makeStr up to its first zero; text that comes as u8 is
// UTF-8 already. Pointer arguments may point into the string itself. What would bring the length above 32 bits,
// terminator included, is refused: the string stays as it was.
class StringUtf8
{
  public:
    // m_len bytes and a terminator, which Set from a MemoryBuffer alone does not write; null when empty.
    std::unique_ptr<u8[]> m_ptr;
    u32 m_len = 0; // bytes, terminator excluded

    // Each constructor does what Set does with the same argument.
    StringUtf8() = default;
    StringUtf8(const StringUtf8 &o) { Set(o); }
    StringUtf8(StringUtf8 &&o) noexcept;
    StringUtf8(u32 len, const u8 *ptr) { Set(len, ptr); }
    explicit StringUtf8(const std::string &str) { Set(str); }
    explicit StringUtf8(const char *str) { Set(str); }
    explicit StringUtf8(const u8 *str) { Set(str); }
    ~StringUtf8() = default;

    StringUtf8 &operator=(const StringUtf8 &o); // as Set: assigned to itself the string is left empty
    StringUtf8 &operator=(StringUtf8 &&o) noexcept;

    // False when the text is too long: unchanged. A null `str` is the empty string; a null `ptr` gives `len` zeros.
    bool Set(u32 len, const u8 *ptr);
    bool Set(const std::string &str);
    bool Set(const char *str);
    bool Set(const u8 *str);
    bool Set(u8 c);
    bool Set(const StringUtf8 &o);
    // Takes the bytes from `startPos` to the end of `mb` and puts no terminator behind them: its readers go by m_len.
    // False when `startPos` is behind the end: the string is then empty.
    bool Set(const MemoryBuffer &mb, u32 startPos);
    bool Clear(); // always true

    // Append; return the new length.
    u32 Add(const StringUtf8 &o);
    u32 Add(const std::string &str);
    u32 Add(const char *str); // not null

    // Copies at most `len` bytes, no terminator, into `buf`; returns the count.
    u32 Extract(u32 len, void *buf) const;
    // Stores a new array of m_len bytes in `*ptr`, owned by the caller, who frees it by delete[] as u8; returns m_len.
    // When empty, returns 0 and leaves `*ptr`.
    u32 Extract(void **ptr) const;
    std::string ToStdString() const;
    // The first `maxlen` bytes, 0 for all, as Tools::ToHex writes them.
    std::string ToHex(u32 maxlen = 0, char separator = 0) const;

    // Compare is CompareBytes, a prefix compares as 0; == compares the length too.
    bool operator==(const StringUtf8 &o) const;
    int Compare(const StringUtf8 &o) const;
    int Compare(const std::string &str) const;
    int Compare(const char *str) const;

  private:
    u32 Append(u32 len, const u8 *bytes);
};

StringUtf8 operator+(const StringUtf8 &left, const StringUtf8 &right);
StringUtf8 operator+(const StringUtf8 &left, const std::string &right);
StringUtf8 operator+(const StringUtf8 &left, const char *right);

} // namespace Tools
