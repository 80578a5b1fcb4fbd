// CRC-16/DECT-X, the checksum of a packet of the client link. Pure functions, safe from any thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi
{

// CRC-16/DECT-X of the catalogue of parametrised CRC algorithms: polynomial 0x0589, start value 0, most significant
// bit first, nothing reflected or inverted; the check value of "123456789" is 0x007F.
// `data` needs no alignment and may be null when `len` is 0, which gives 0.
u16 Crc16(const u8 *data, u32 len);

} // namespace tovi
