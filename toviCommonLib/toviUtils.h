// Byte sums, numbers in text, and the step between the library's UTF-8 bytes and the C library's text.
// Free functions without state: any thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi::utils
{

// Sum of all bytes modulo 256; 0 for no bytes.
u8 simpleChecksum8_calc(const void *data, u32 size);

// Sum of all bytes (of each byte, not of 16-bit words) modulo 65536; 0 for no bytes.
u16 simpleChecksum16_calc(const void *data, u32 size);

// Value of the digits that `text`, at most `len` characters, starts with; 0 when it starts with none. Modulo 2^32.
u32 decimalValue(const char *text, u32 len);

// As snprintf, but a text that does not fit with its NUL is not cut: it becomes an empty one. Returns the length.
// Nothing is written when `sizeOfOut` is 0.
[[gnu::format(printf, 3, 4)]] u32 formatWhole(char *out, u32 sizeOfOut, const char *format, ...);

// The same bytes as the C library takes them. The view lives as long as `text`.
inline const char *asChars(const u8 *text)
{
    return reinterpret_cast<const char *>(text);
}
inline const u8 *asBytes(const char *text)
{
    return reinterpret_cast<const u8 *>(text);
}

} // namespace tovi::utils
