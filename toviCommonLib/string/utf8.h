// UTF-8 texts as zero-terminated bytes. Stateless: any thread may call these.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi::string::utf8
{

// Bytes (1 to 4) of the well-formed character at the front of the zero-terminated `s`; 0 when none starts there.
u32 charLength(const u8 *s);

// Bytes before the terminator; 0 when `s` is null.
u32 lengthInByte(const u8 *s);

// Writes the zero-terminated `src` as UTF-8 into `dst` of `dstSize` bytes. What is valid UTF-8 is copied; any other
// byte is read as Latin-1 and becomes two bytes, so 2 * length + 1 bytes hold every text. What does not fit is left
// out from a whole character on. `dst` is always terminated, except when `dstSize` is 0. A null `src` is empty.
// Returns the bytes written, terminator excluded.
u32 makeStr(u8 *dst, u32 dstSize, const char *src);

} // namespace tovi::string::utf8
