// The platform's start, paths, memory and clock. Paths are fixed by `internal_init` and read-only after it.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace platform
{

// Takes the current folder as the application path. False when there is none (it was deleted) or when it is so long
// that the writable folder's path does not fit its 256 bytes; nothing else of the library may be used then.
bool internal_init(const char *appName);
void internal_deinit();

// The folder the program was started in, without a trailing slash; valid from `internal_init` to `internal_deinit`.
const u8 *getAppPathNoSlash();

// The application path, a slash and the application's name.
const u8 *getPhysicalPathToWritableFolder();

// `alignment` is a power of two and divides `size`. Null when the system has no memory. Release with `alignedFree`.
void *alignedAlloc(u32 alignment, u32 size);
void alignedFree(void *p);

// Milliseconds of the raw monotonic clock since the first call, which returns 0.
u64 getTimeNowMSec();

// Sleeps the whole time, signals or not.
void sleepMSec(u32 msec);

} // namespace platform
