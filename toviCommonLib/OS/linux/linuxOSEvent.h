// An event that one thread fires and another waits for: an eventfd and a private epoll set. Fired from any thread,
// signal handlers included; waited for by one thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <sys/epoll.h>

struct sOSEvent
{
    epoll_event eventInfo{}; // registration of `evfd` in `h`
    int h = -1;              // private epoll set
    int evfd = -1;           // the eventfd; written once per fire and never read, so its count only grows
};
using OSEvent = sOSEvent;

namespace platform
{

// False when the system gives no descriptor; nothing stays open then.
bool event_open(sOSEvent *out);
void event_close(sOSEvent &event);
void event_fire(const sOSEvent &event);

// True when the event was fired since the last wait that returned true, or is fired within the time.
// 0xFFFFFFFF waits without limit.
bool event_wait(const sOSEvent &event, u32 timeoutMSec);

// True once the event was ever fired, or is fired within the time. Consumes nothing: every later call is true as well.
bool event_wasFired(const sOSEvent &event, u32 timeoutMSec);

} // namespace platform
