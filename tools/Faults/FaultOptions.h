// The options of misbehaviour and journal, the same for each peer.
#pragma once

#include "tools/Faults/FaultPlan.h"
#include "tools/Faults/Journal.h"

namespace CLI
{
class App;
}

namespace LumoFaults
{

struct FaultOptions
{
    std::vector<std::string> faults;
    u32 percent = 0;
    std::optional<u32> seed;
    std::string journal; // file name, empty for none
};

void describeFaults(CLI::App &app, FaultOptions &options, eSide side);

// Orders the faults and opens the journal. Returns what is wrong, an empty text when all is well. Faults by chance have a
// seed afterwards, and it has to be shown.
std::string applyFaults(FaultOptions &options, FaultPlan &plan, Journal &journal, eSide side);

} // namespace LumoFaults
