// tovi::ComDevice: the byte device under the client link. Knows nothing of packets.
// Used by the thread that owns it and its waitable group; nothing locks. Borrows the group and the tracer.
#pragma once

#include "LTProto/ComDevice/Crc16.h"
#include "LTProto/Tools/LogTracer.h"
#include "LTProto/Tools/MemoryBuffer.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

namespace tovi
{

enum class eDeviceType : u8
{
    Undefined = 0,
    UART = 1,
    Socket = 2
};

class ComDevice
{
  public:
    // Results of Receive and ReceiveServer other than a count.
    static constexpr int RECEIVE_NOT_A_SERVER = -1;
    static constexpr int RECEIVE_PEER_CLOSED = -2;
    static constexpr int RECEIVE_SIZE_TOO_LARGE = -3;
    static constexpr int SERVER_CLIENT_TAKEN = 1;

    explicit ComDevice(Tools::LogTracer *logTracer) : m_logTracer(logTracer) {}
    virtual ~ComDevice() = default;
    ComDevice(const ComDevice &) = delete;
    ComDevice &operator=(const ComDevice &) = delete;

    // Joins the group: data of the peer is reported with `id`, a waiting client with `idExtra`.
    virtual bool WaitableGroup(OSWaitableGrp &group, u32 id, u32 idExtra);

    // Adds the socket or port to the group with the device's id, and removes it. False without a group.
    virtual bool WaitableGroupLink(sOSSocket &socket);
    virtual bool WaitableGroupUnlink(sOSSocket &socket);
    virtual bool WaitableGroupLink(sOSSerialPort &comPort);
    virtual bool WaitableGroupUnlink(sOSSerialPort &comPort);

    // Forgets the group, and the id as well when asked; always true.
    virtual bool WaitableGroupClean(bool removeGroupId);
    virtual bool WaitableGroupIsNull() const { return m_waitableGroup == nullptr; }

    // Adds what is open to the group once more, under a new descriptor perhaps. False without a group.
    virtual bool WaitableGroupRelink() { return !WaitableGroupIsNull(); }

    // Opens the channel; what `str` and `value` mean is the device's. Without `str` a serial device opens its last one.
    virtual bool Set(const char *str, int value);

    // True when all bytes went out; on false the peer is gone.
    virtual bool Send(Tools::MemoryBuffer &mb) { return Send(mb.m_len, mb.m_ptr.get()); }
    virtual bool Send(u32 size, void *buffer);

    // Reads at most `size` bytes already received; never waits. The count, or a negative result.
    virtual int Receive(u32 size, void *buffer) = 0;

    // Takes a waiting client: SERVER_CLIENT_TAKEN, 0 when it was turned away, RECEIVE_NOT_A_SERVER on failure.
    virtual int ReceiveServer() { return RECEIVE_NOT_A_SERVER; }

    // What was received draws no answer: a peer that waits for the word that it has come gets it now.
    virtual void AcknowledgeNow() {}

    // Bytes of the peer, or waiting clients, are not reported until this is taken back; the end of the peer is.
    virtual void ReceivePause(bool /*peer*/, bool /*newcomers*/) {}

    // Connects again to the peer that was lost, where this end is the one that connects; never waits. `anew` gives up the
    // attempt in progress and begins another; without it the attempt is only looked at. True when the peer is there.
    virtual bool Reconnect(bool /*anew*/) { return false; }

    virtual bool Close() { return true; }
    virtual bool Reset() { return true; }

    // True when the peer vanished without a word; it is not closed by that.
    virtual bool PeerIsGone() const { return false; }

    // Whether there is a peer to talk to.
    virtual bool IsConnected() const { return true; }

    // Whether the peer has closed, though bytes that it sent before may still be there to be read.
    virtual bool PeerHasClosed() const { return false; }

    // For how many milliseconds bytes that were sent will still be on their way out; 0 when all have left.
    virtual u32 SendingMSec() const { return 0; }

    // The wait in milliseconds that the device proposes to its loop.
    virtual u32 WaitingTimeout() const { return m_waitingTimeout; }
    virtual u32 WaitingTimeout(u32 value) { return m_waitingTimeout = value; }

    static u16 Crc16(const u8 *data, u32 len) { return tovi::Crc16(data, len); }

    __attribute__((format(printf, 2, 3))) void Trace(const char *format, ...);

  protected:
    eDeviceType m_type = eDeviceType::Undefined;
    OSWaitableGrp *m_waitableGroup = nullptr; // null when registered nowhere
    u32 m_waitableGroupId = 0;
    u32 m_waitingTimeout = 0;
    Tools::LogTracer *m_logTracer; // may be null
};

} // namespace tovi
