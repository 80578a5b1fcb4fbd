// Whether the peer of a connected TCP socket has vanished without a word: a cable that was pulled, a power that failed. A
// socket is used by one thread at a time; nothing is logged.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSSocket.h"

namespace platform
{

// What the system knows of a peer. Each answer sets both counts back.
struct sPeerSigns
{
    u32 silenceMSec = 0;    // since anything of the peer came
    u8 retransmissions = 0; // of the oldest bytes on their way
    u8 probes = 0;          // of keep-alive and of a window that is shut
};

// Below 8 s of silence a peer is never gone, nor because it does not read.
bool peer_isGone(const sPeerSigns &signs);

// From here on the system asks a peer that says nothing whether it is there, and ends the connection about 10 s after the
// peer's last word. It asks while nothing is on its way to the peer; for the rest see `socket_peerIsGone`.
void socket_watchPeer(const sOSSocket &sok);

// Worth a call every half second: bytes on their way to a peer that is gone keep a connection alive for 15 minutes. False
// where the system does not tell.
bool socket_peerIsGone(const sOSSocket &sok);

} // namespace platform
