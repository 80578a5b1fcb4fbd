// tovi::ComDevSocket: the client link over TCP, as a server for one client at a time or as the client of a server.
#pragma once

#include "LTProto/ComDevice/ComDevice.h"
#include "LTProto/Tools/DateTime.h"

#include <string>

namespace tovi
{

// TCP port of the client link when none is given.
constexpr u16 CLIENT_PORT_DEFAULT = 8283;

class ComDevSocket : public ComDevice
{
  public:
    // Gives the time now.
    using Clock = Tools::DateTime (*)();

    explicit ComDevSocket(Tools::LogTracer *logTracer, Clock clock = SystemClock);
    ~ComDevSocket() override;

    // Null or empty `channel`: listens on every interface; "@" and an address: on that address; any other: connects to
    // that host. `port` 0 is 8283. What was open is closed first. False when the address is too long, the port out of
    // range, or the system refuses.
    bool Set(const char *channel, int port) override;
    bool WaitableGroup(OSWaitableGrp &group, u32 idClient, u32 idServer) override;
    using ComDevice::Send;

    // `size` is at most 65535. On false the peer was unlinked and closed.
    bool Send(u32 size, void *buffer) override;

    // The count; 0 when nothing is there or asked for, and when nobody is connected; RECEIVE_PEER_CLOSED when the peer closed
    // (it is then unlinked and closed); RECEIVE_SIZE_TOO_LARGE when `size` is 65536 or more.
    int Receive(u32 size, void *buffer) override;
    void AcknowledgeNow() override;
    void ReceivePause(bool peer, bool newcomers) override;

    // A newcomer takes the place of a client that has closed, replaces one that is connected for more than 60 s and is
    // turned away by any other.
    int ReceiveServer() override;
    bool Reconnect(bool anew) override;

    // False when no peer was connected. A listening socket stays open.
    bool Close() override;
    bool PeerIsGone() const override;
    bool IsConnected() const override { return platform::socket_isOpen(m_socket); }
    bool PeerHasClosed() const override { return IsConnected() && platform::socket_peerHasClosed(m_socket); }

  private:
    static Tools::DateTime SystemClock();
    void CloseAll();
    bool SetClient(const char *host, int port);
    bool SetServer(const char *address, int port);
    void PeerPrepare();
    bool PeerTake(const OSSocket &peer);
    bool ClientMayBeReplaced() const;
    int AcceptFailed();

    OSSocket m_socket;                    // the peer
    OSSocket m_connecting;                // in the client role: to be the peer when it is connected
    OSSocket m_serverSocket;              // listening, in the server role
    Tools::DateTime m_lastConnect{false}; // when the peer was taken on
    std::string m_host;                   // empty in the server role: this tells the roles apart
    u32 m_port = 0;
    bool m_peerPaused = false;
    bool m_newcomersPaused = false;
    Clock m_clock;
    platform::DescriptorReserve m_reserve;
};

} // namespace tovi
