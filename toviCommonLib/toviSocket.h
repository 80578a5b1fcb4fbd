// Sockets opened by address record instead of text.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSSocket.h"

#include <string>

namespace tovi
{

// The address as dotted text, without the port.
std::string netaddr_toDottedText(const sOSNetAddr &address);
u16 netaddr_port(const sOSNetAddr &address);

eSocketError socket_openAsTCPClient(sOSSocket *out, const sOSNetAddr &address);

} // namespace tovi
