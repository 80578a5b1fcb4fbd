// The subcommands of LumoClient: each talks over an open link, prints values as lines on standard output and its
// failure as one line on standard error, and returns the program's exit status.
#pragma once

#include "LumoClient/ClientLink.h"

#include <csignal>
#include <string>

namespace LumoClient
{

constexpr int EXIT_DONE = 0;
constexpr int EXIT_REFUSED_OR_LOST = 1;
constexpr int EXIT_USAGE = 2;
constexpr int EXIT_NO_ANSWER = 3;

int exitStatus(eResult result);

// Prints "<what>: <the result's text>" and returns the exit status of the result.
int reportFailure(const std::string &what, eResult result);

// Values are printed as the id, name ("-" for none), type and text, parted by tabs.
// An id that finds no answer does not keep the next ones from being asked.
int runGet(ClientLink &link, const std::vector<u32> &varIds, u32 timeoutMSec);

int runSet(ClientLink &link, u32 varId, const Value &value, u32 timeoutMSec);

// Prints the answer in hexadecimal.
int runBuffer(ClientLink &link, const Bytes &bytes, u32 timeoutMSec);

// Prints each value that arrives until `count` were printed (0: without end) or `stop` is set, which a signal handler
// may do.
int runWatch(ClientLink &link, u32 count, const volatile std::sig_atomic_t &stop);

int runPoll(ClientLink &link, u32 timeoutMSec);

} // namespace LumoClient
