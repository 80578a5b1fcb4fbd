// The limit that the bridge's round trips are held against: a relay of the same topology that knows no protocol. Two
// threads, each with its own epoll; two queues with a mutex and an eventfd; one packet at a time, notice, then value.
// What it sends was made before it began.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>

namespace LumoBench
{

// The relay as a program: connects to the machine, listens for one client, runs until one of them leaves.
void runBareRelay(u16 machinePort, const std::string &clientIp, u16 clientPort);

} // namespace LumoBench
