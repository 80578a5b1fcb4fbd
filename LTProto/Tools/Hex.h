// Bytes as hexadecimal text. Stateless: any thread may call it.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>

namespace Tools
{

// Two lower-case digits for each byte; a `separator` other than 0 stands between bytes, never at the ends.
std::string ToHex(const u8 *bytes, u32 len, char separator);

} // namespace Tools
