// Waiting on one descriptor until a moment of the channels' clock.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace LumoClient
{

// Milliseconds, never set back, of no particular origin.
u64 steadyMSec();

// `events` as for poll. False when the time is over. An error counts as ready: the call that follows reports it.
bool waitUntilReady(int descriptor, short events, u64 deadlineMSec);

// A signal ends it early.
void pauseMSec(u32 msec);

} // namespace LumoClient
