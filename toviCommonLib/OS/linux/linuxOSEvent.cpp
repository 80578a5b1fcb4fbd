#include "toviCommonLib/OS/linux/linuxOSEvent.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform
{

bool event_open(sOSEvent *out)
{
    *out = sOSEvent{};
    out->evfd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    out->h = epoll_create1(EPOLL_CLOEXEC);
    out->eventInfo.events = EPOLLIN | EPOLLERR | EPOLLHUP | EPOLLET;
    if (out->evfd >= 0 && out->h >= 0 && epoll_ctl(out->h, EPOLL_CTL_ADD, out->evfd, &out->eventInfo) == 0)
        return true;
    event_close(*out);
    return false;
}

void event_close(sOSEvent &event)
{
    if (event.h >= 0)
        close(event.h);
    if (event.evfd >= 0)
        close(event.evfd);
    event.h = -1;
    event.evfd = -1;
}

void event_fire(const sOSEvent &event)
{
    // Only an interrupted write is worth repeating: the counter cannot fill up in the life of a machine.
    const int savedErrno = errno;
    const u64 one = 1;
    while (write(event.evfd, &one, sizeof one) < 0 && errno == EINTR)
    {
    }
    errno = savedErrno;
}

bool event_wait(const sOSEvent &event, u32 timeoutMSec)
{
    for (;;)
    {
        epoll_event fired{};
        const int n = epoll_pwait(event.h, &fired, 1, static_cast<int>(timeoutMSec), nullptr);
        if (n >= 0 || errno != EINTR)
            return n > 0;
    }
}

bool event_wasFired(const sOSEvent &event, u32 timeoutMSec)
{
    pollfd source{event.evfd, POLLIN, 0};
    for (;;)
    {
        const int n = poll(&source, 1, static_cast<int>(timeoutMSec));
        if (n >= 0 || errno != EINTR)
            return n > 0;
    }
}

} // namespace platform
