// ProtocolChSocketTCP: a channel over one connected TCP socket, which it owns once given.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSSocket.h"
#include "toviCommonLib/Protocol/IProtocolChannell.h"

namespace tovi
{

class ProtocolChSocketTCP : public IProtocolChannell
{
  public:
    ProtocolChSocketTCP(Allocator *allocator, u32 startingSizeOfReadBuffer, u32 maxSizeOfReadBuffer);
    ~ProtocolChSocketTCP() override;

    // Takes over a connected socket.
    void setSocket(const OSSocket &connected) { sok = connected; }
    const OSSocket &getSocket() const { return sok; }

    // See platform::socket_acknowledgeNow.
    void acknowledgeNow() { platform::socket_acknowledgeNow(sok); }

    // True when the peer vanished without a word.
    bool peerIsGone() const;

    // A read that waits ends with RES_ERROR once `event` was fired; borrowed, null for none.
    void setCancelEvent(const sOSEvent *event) { cancelEvent = event; }

    bool virt_isOpen() const override;
    void virt_close() override;
    u32 virt_read(u8 *buffer, u32 maxBytes, u32 timeoutMSec) override;
    u32 virt_write(const u8 *buffer, u32 nBytes) override;
    u32 virt_writeNow(const u8 *buffer, u32 nBytes) override;

  private:
    OSSocket sok;
    const sOSEvent *cancelEvent = nullptr;
};

} // namespace tovi
