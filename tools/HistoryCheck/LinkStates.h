// The link states that the machine is told, held against the connections of the client.
#pragma once

#include "tools/HistoryCheck/Sessions.h"

namespace HistoryCheck
{

// What the machine must have been told and was not comes off `left`, the number of messages that bridges traced as left at
// their ends, before it counts as a violation.
void checkLinks(const Lines &client, const Lines &machine, const Heard &heard, u32 &left,
                std::vector<Violation> &violations);

} // namespace HistoryCheck
