// The subcommands of LumoClient: each talks over an open link, prints values as lines on standard output and its
// failure as one line on standard error, and returns the program's exit status.
#pragma once

#include "LumoClient/FileTransfer.h"

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

// Why the machine would not get that value, as a line for the user; empty when it gets it.
std::string whyNotSet(const Value &value);

int runSet(ClientLink &link, u32 varId, const Value &value, u32 timeoutMSec);

// Prints the answer in hexadecimal.
int runBuffer(ClientLink &link, const Bytes &bytes, u32 timeoutMSec);

// Prints each value and each file that arrives until `count` were printed (0: without end) or `stop` is set, which a
// signal handler may do. The files go to `saveFolder` under their id, the second of an id as "7.2"; without a folder
// their content is thrown away. When nothing came for `quietMaxMSec`, it fails; 0 waits without end.
int runWatch(ClientLink &link, u32 count, const std::string &saveFolder, const TransferSettings &settings,
             const volatile std::sig_atomic_t &stop, u32 quietMaxMSec = 0);

// Both print the size and the MD5 of what was moved.
int runUpload(ClientLink &link, u16 fileId, const std::string &path, const TransferSettings &settings,
              const volatile std::sig_atomic_t &stop);
int runDownload(ClientLink &link, u16 fileId, const std::string &path, const TransferSettings &settings,
                const volatile std::sig_atomic_t &stop);

int runPoll(ClientLink &link, u32 timeoutMSec);

} // namespace LumoClient
