// The wish to end the process, told by SIGTERM, SIGINT or SIGHUP. Process-wide; set up by the main thread, read by any.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"

namespace platform
{

// From here to the end of the process SIGTERM, SIGINT and, unless it was ignored before, SIGHUP fire the termination event
// instead of killing the process, a closed peer (SIGPIPE) or a file at its size limit (SIGXFSZ) never kills it, and a
// terminal that it does not own (SIGTTIN, SIGTTOU) never stops it. Nothing gives the signals back: one that comes while
// the process ends would take its exit status. False without a
// descriptor: then only what would kill or stop it is ignored. Called again it starts with no request.
bool termination_trap();

bool termination_requested();

// Fired at the first request and never consumed; valid from `termination_trap` on.
const sOSEvent &termination_event();

} // namespace platform
