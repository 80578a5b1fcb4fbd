#include "LumoClient/DescriptorWait.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>

#include <poll.h>

namespace LumoClient
{

u64 steadyMSec()
{
    using namespace std::chrono;
    return static_cast<u64>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

bool waitUntilReady(int descriptor, short events, u64 deadlineMSec)
{
    while (true)
    {
        const u64 now = steadyMSec();
        const u64 left = deadlineMSec > now ? deadlineMSec - now : 0;
        pollfd waited{.fd = descriptor, .events = events, .revents = 0};
        const int ready = poll(&waited, 1, static_cast<int>(std::min<u64>(left, std::numeric_limits<int>::max())));
        if (ready >= 0 || errno != EINTR)
            return ready != 0;
    }
}

void pauseMSec(u32 msec)
{
    poll(nullptr, 0, static_cast<int>(std::min<u32>(msec, std::numeric_limits<int>::max())));
}

} // namespace LumoClient
