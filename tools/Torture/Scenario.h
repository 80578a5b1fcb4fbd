// The scenario that every run goes through, and the judgement on it.
//
// TCP: start, a client connects, a request is answered, a value goes each way, a file comes up and another one down, the
// client leaves, the next one comes and is answered, the machine ends it. Serial line: the same with one client, and
// SIGTERM ends it. A file of an earlier life lies in the folder and must outlive all of it.
#pragma once

#include "tools/Torture/Daemon.h"

#include <array>

namespace LumoTorture
{

enum class eLink
{
    TCP,
    LINE
};

enum class eOutcome
{
    SERVED,      // to the end, nothing missing
    LOST,        // served on, after a connection, a value or a file was lost
    ENDED,       // by itself, with a message and a stated exit status
    NOT_REACHED, // served, and the call that was to fail did not come
    FAULT
};
constexpr u32 OUTCOMES_COUNT = static_cast<u32>(eOutcome::FAULT) + 1;

struct sSettings
{
    std::string bridge;  // the daemon's program
    std::string preload; // libraries, separated by blanks, FailNth the last
    std::string folder;  // for the files of this worker's runs, emptied for each
    std::string ip;      // of this worker
};

// What the undisturbed daemon shows.
struct sMeasure
{
    std::array<u32, CALLS_COUNT> counts{};
    u32 descriptors = 0;
    u64 processorNSec = 0;
};

struct sResult
{
    eOutcome outcome = eOutcome::FAULT;
    std::string why; // it is a FAULT, or what it printed last
    sMeasure measure;
    std::vector<u64> callers; // of the first call that failed
};

// `usual`: what to hold the measure against; null for none. Throws std::runtime_error when the run cannot be made.
sResult run(const sSettings &settings, eLink link, const sTorment &torment, const sMeasure *usual);

} // namespace LumoTorture
