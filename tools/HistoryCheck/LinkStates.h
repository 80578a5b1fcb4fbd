// The link states that the machine is told, held against the connections of the client.
#pragma once

#include "tools/HistoryCheck/History.h"

namespace HistoryCheck
{

// How long what was acknowledged may be under way; a machine that stalls makes it long.
constexpr u64 PATIENCE_MSEC = 5000;

void checkLinks(const Lines &client, const Lines &machine, std::vector<Violation> &violations);

// The machine was without a bridge at some time from here to there.
bool lostBridge(const Lines &machine, u64 fromMSec, u64 untilMSec);

} // namespace HistoryCheck
