#include "toviCommonLib/OS/linux/linuxOSTermination.h"

#include <atomic>
#include <csignal>

namespace platform
{
namespace
{

sOSEvent terminationEvent;
std::atomic<bool> terminationRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

void onTerminationSignal(int)
{
    terminationRequested = true;
    event_fire(terminationEvent);
}

void setHandler(int signalNumber, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

// As whoever started the process wants it to outlive the terminal.
bool isIgnored(int signalNumber)
{
    struct sigaction action = {};
    return sigaction(signalNumber, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

bool termination_trap()
{
    for (int ignored : {SIGPIPE, SIGXFSZ, SIGTTIN, SIGTTOU})
        setHandler(ignored, SIG_IGN);
    terminationRequested = false;
    event_close(terminationEvent);
    if (!event_open(&terminationEvent))
        return false;
    for (int trapped : {SIGTERM, SIGINT})
        setHandler(trapped, onTerminationSignal);
    if (!isIgnored(SIGHUP))
        setHandler(SIGHUP, onTerminationSignal);
    return true;
}

bool termination_requested()
{
    return terminationRequested;
}

const sOSEvent &termination_event()
{
    return terminationEvent;
}

} // namespace platform
