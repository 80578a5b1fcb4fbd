// Whether the journals of a client and of a machine fit together, as the two links promise it:
//   - each answer is under a ticket that was given and is open: none twice;
//   - what one side hears is what the other said: unchanged, in the same order, no more often;
//   - what the bridge acknowledged reaches the machine: a value, a request, a raw buffer, a file whole and once, or
//     once more by the next bridge when one was killed;
//   - the link states that the machine is told alternate, and each has its cause at the client.
// What may be missing: what the bridge sends to a client, which can leave at any time; what was under way when the machine
// ended its link or the bridge was killed; what the bridge traced as left at its own end. What a damaged packet carried may come changed. While a fault of the client draws more than
// one answer, an ACK proves nothing, for it does not say what it is for; a NACK of the client brings the last packet again.
// Both journals come from one computer, so that their times compare.
#pragma once

#include "tools/Faults/Journal.h"

namespace HistoryCheck
{

using LumoFaults::JournalLine;
using Lines = std::vector<JournalLine>;

struct Violation
{
    std::string text;
    const JournalLine *line = nullptr;
    const JournalLine *other = nullptr; // null when there is none
};

// In no particular order. The violations point into the lines. `left`: how many messages for the machine the bridges traced
// as left at their ends.
std::vector<Violation> checkHistory(const Lines &client, const Lines &machine, u32 left = 0);

} // namespace HistoryCheck
