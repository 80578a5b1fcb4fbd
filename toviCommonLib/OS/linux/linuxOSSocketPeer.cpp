#include "toviCommonLib/OS/linux/linuxOSSocketPeer.h"

#include "toviCommonLib/OS/linux/linuxOSSocketShared.h"

#include <algorithm>
#include <cstddef>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace platform
{

using namespace internal;

namespace
{

// Keep-alive ends the connection 4 + 3 * 2 s after the peer's last word.
constexpr int KEEPALIVE_IDLE_SEC = 4;
constexpr int KEEPALIVE_INTERVAL_SEC = 2;
constexpr int KEEPALIVE_PROBES = 3;

constexpr u32 SILENCE_MSEC = 9000;
// The last one sent may be on its way still, and the first may have met a short interruption.
constexpr u8 RETRANSMISSIONS_UNANSWERED = 2;
// The probes of a window that is shut come minutes apart in the end: one was lost in an interruption, one is on its way.
constexpr u8 PROBES_UNANSWERED = 3;

} // namespace

// Three things may be under way to a silent peer, and each asks in its own manner:
//   nothing               keep-alive probes
//   bytes                 the system sends them again, ever more rarely, and no keep-alive meanwhile
//   bytes, window shut    probes, ever more rarely: a peer that does not read answers each of them
// Silence alone proves nothing in the third case; what was asked and not answered does in all of them.
bool peer_isGone(const sPeerSigns &signs)
{
    return signs.silenceMSec >= SILENCE_MSEC &&
           (signs.retransmissions >= RETRANSMISSIONS_UNANSWERED || signs.probes >= PROBES_UNANSWERED);
}

// TCP_USER_TIMEOUT is left alone: it also ends the connection to a peer that answers and does not read.
void socket_watchPeer(const sOSSocket &sok)
{
    const auto setTCPOption = [&sok](int option, int value)
    { setsockopt(descriptorOf(sok), IPPROTO_TCP, option, &value, sizeof value); };
    setTCPOption(TCP_KEEPIDLE, KEEPALIVE_IDLE_SEC);
    setTCPOption(TCP_KEEPINTVL, KEEPALIVE_INTERVAL_SEC);
    setTCPOption(TCP_KEEPCNT, KEEPALIVE_PROBES);
    setOption(sok, SO_KEEPALIVE, 1);
}

bool socket_peerIsGone(const sOSSocket &sok)
{
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(descriptorOf(sok), IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
        return false;
    constexpr size_t NEEDED = offsetof(tcp_info, tcpi_last_ack_recv) + sizeof info.tcpi_last_ack_recv;
    if (size < NEEDED) // an emulator gives 4 bytes
        return false;
    // Bytes of the peer that acknowledge nothing new are a sign of life, too.
    return peer_isGone(
        {std::min(info.tcpi_last_ack_recv, info.tcpi_last_data_recv), info.tcpi_retransmits, info.tcpi_probes});
}

} // namespace platform
