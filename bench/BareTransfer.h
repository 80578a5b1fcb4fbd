// The limit that the bridge's files are held against: stop and wait with a checksum and a file, and nothing else. A file
// that is sent is shown as hexadecimal text as well. It speaks the client link's blocks, so that the same client drives
// it: a negotiation of the client begins a file to it, a POLLING one from it.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>

namespace LumoBench
{

// As a program: listens for one client, runs until it leaves. `folder` gets what is received; `source` names the file
// that is sent.
void runBareTransfer(const std::string &clientIp, u16 clientPort, const std::string &received,
                     const std::string &source);

} // namespace LumoBench
