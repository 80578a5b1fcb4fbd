// The wish to end the process, told by SIGTERM, SIGINT or SIGHUP. Process-wide; set up by the main thread, read by any.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"

namespace platform
{

// From here on SIGTERM, SIGINT and, unless it was ignored before, SIGHUP fire the termination event instead of killing the
// process, a closed peer (SIGPIPE) or a file at its size limit (SIGXFSZ) never kills it, and a terminal that it does not own (SIGTTIN, SIGTTOU) never
// stops it. False without a descriptor.
bool termination_trap();

// Gives the signals back to the system and closes the event.
void termination_release();

bool termination_requested();

// Fired at the first request and never consumed; valid from `termination_trap` to `termination_release`.
const sOSEvent &termination_event();

} // namespace platform
