#include "toviCommonLib/toviSocket.h"

#include <arpa/inet.h>

namespace tovi
{

std::string netaddr_toDottedText(const sOSNetAddr &address)
{
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.addr.sin_addr, text, sizeof text);
    return text;
}

u16 netaddr_port(const sOSNetAddr &address)
{
    return ntohs(address.addr.sin_port);
}

eSocketError socket_openAsTCPClient(sOSSocket *out, const sOSNetAddr &address)
{
    return platform::socket_openAsTCPClient(out, netaddr_toDottedText(address).c_str(), netaddr_port(address));
}

} // namespace tovi
