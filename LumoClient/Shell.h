// The subcommand `shell`: commands from a stream, one a line, over one link. A command that fails prints so and the next
// one runs, over a new link when the old one is lost or left the command without a reply.
#pragma once

#include "LumoClient/Commands.h"
#include "tools/Faults/FaultPlan.h"

#include <functional>
#include <istream>

namespace LumoClient
{

struct ShellSetup
{
    std::function<std::unique_ptr<ByteChannel>()> open; // null when the bridge cannot be reached
    std::string bridge;                                 // as it is shown
    TransferSettings transfer;
    LumoFaults::FaultPlan &plan; // what `fault` orders goes there
};

// Runs to the end of the stream, to `quit` or until `stop` is set. Returns EXIT_DONE when no command failed.
int runShell(std::istream &in, const ShellSetup &setup, const volatile std::sig_atomic_t &stop);

std::string shellHelp();

} // namespace LumoClient
