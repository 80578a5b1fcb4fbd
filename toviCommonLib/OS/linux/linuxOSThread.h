// POSIX threads behind three calls.
#pragma once

#include "toviCommonLib/toviEnums.h"

#include <pthread.h>

using OSThread = pthread_t;

namespace platform
{

// Runs `fn(arg)` on a new thread with a stack of at least 16384 bytes. The thread must be joined with `waitThreadEnd`.
eThreadError createThread(OSThread &out, void *(*fn)(void *), u32 stackSizeInKb, void *arg);

// A thread ends by returning from its function; there is nothing to kill.
void killThread(OSThread &thread);

void waitThreadEnd(OSThread &thread);

} // namespace platform
