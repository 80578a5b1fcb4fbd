// Threads of the library: a main function, its user parameter, and a handle to wait for its end.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSThread.h"
#include "toviCommonLib/toviTypes.h"

namespace tovi
{

using ThMainFunction = i16 (*)(void *userParam);

struct ThreadInfo
{
    OSThread osThreadHandle{};
    ThMainFunction threadMainFn = nullptr;
    void *userParam = nullptr;
};
using HThread = ThreadInfo *;

namespace thread
{

// Runs `fn(userParam)` on a new thread. On `none` the handle is set and owned by the caller until `waitEnd`, which must
// be called once; on any other result the handle is left as it is.
eThreadError create(HThread *out, ThMainFunction fn, void *userParam, u16 stackSizeInKb);

// Returns when the thread's main function has returned, and frees the handle.
void waitEnd(HThread thread);

void sleepMSec(u32 msec);

} // namespace thread
} // namespace tovi
