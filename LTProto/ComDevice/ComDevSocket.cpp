#include "LTProto/ComDevice/ComDevSocket.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSSocketPeer.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tovi
{
namespace
{

constexpr char SERVER_MARK = '@';
constexpr size_t ADDRESS_LEN_MAX = 31;
constexpr u16 LISTEN_QUEUE_LEN = 2;
constexpr u32 RECEIVE_SIZE_MAX = 65535;
constexpr u32 SEND_SIZE_MAX = 65535;
constexpr u32 CLIENT_WRITE_TIMEOUT_MSEC = 5000;
constexpr double CLIENT_GUARD_SECONDS = 60.0;
constexpr u32 ACCEPT_RETRY_PAUSE_MSEC = 10;

} // namespace

ComDevSocket::ComDevSocket(Tools::LogTracer *logTracer, Clock clock) : ComDevice(logTracer), m_clock(clock) {}

ComDevSocket::~ComDevSocket()
{
    CloseAll();
    WaitableGroupClean(true);
}

void ComDevSocket::CloseAll()
{
    Close();
    if (!platform::socket_isOpen(m_serverSocket))
        return;
    WaitableGroupUnlink(m_serverSocket);
    platform::socket_close(m_serverSocket);
}

Tools::DateTime ComDevSocket::SystemClock()
{
    return Tools::DateTime(true);
}

bool ComDevSocket::Set(const char *channel, int port)
{
    CloseAll();
    const int effectivePort = port == 0 ? CLIENT_PORT_DEFAULT : port;
    if (channel == nullptr || *channel == '\0')
        return SetServer(nullptr, effectivePort);
    return *channel == SERVER_MARK ? SetServer(channel + 1, effectivePort) : SetClient(channel, effectivePort);
}

bool ComDevSocket::SetClient(const char *host, int port)
{
    m_port = static_cast<u32>(port);
    if (platform::socket_openAsTCPClient(&m_socket, host, m_port) != eSocketError::none)
        return false;
    PeerPrepare();
    m_host = host;
    return true;
}

bool ComDevSocket::Reconnect(bool anew)
{
    if (m_host.empty() || IsConnected())
        return IsConnected();
    if (anew)
    {
        platform::socket_close(m_connecting);
        platform::socket_connectBegin(&m_connecting, m_host.c_str(), m_port);
    }
    return platform::socket_connectEnd(m_connecting) && PeerTake(std::exchange(m_connecting, {}));
}

void ComDevSocket::PeerPrepare()
{
    platform::socket_setWriteTimeoutMSec(m_socket, CLIENT_WRITE_TIMEOUT_MSEC);
    platform::socket_setNoDelay(m_socket);
    platform::socket_watchPeer(m_socket);
}

// Without a group the owner looks for itself; with one, a peer that cannot join it would never be heard.
bool ComDevSocket::PeerTake(const OSSocket &peer)
{
    m_socket = peer;
    PeerPrepare();
    if (WaitableGroupIsNull() || WaitableGroupLink(m_socket))
        return true;
    platform::socket_close(m_socket);
    return false;
}

bool ComDevSocket::SetServer(const char *address, int port)
{
    if (address != nullptr && std::strlen(address) > ADDRESS_LEN_MAX)
        return false;
    const eSocketBindMode mode = address != nullptr ? eSocketBindMode::aSpecifiIP : eSocketBindMode::anyInterface;
    m_port = static_cast<u32>(port);
    m_host.clear();
    if (platform::socket_openAsTCPServer(&m_serverSocket, port, mode, address) != eSocketError::none)
        return false;
    platform::socket_claimPort(m_serverSocket); // two bridges on one port would share its clients out
    return platform::socket_listen(m_serverSocket, LISTEN_QUEUE_LEN);
}

bool ComDevSocket::WaitableGroup(OSWaitableGrp &group, u32 idClient, u32 idServer)
{
    bool added = false;
    if (IsConnected())
        added = group.addSocket(m_socket, idClient);
    else if (m_host.empty() && platform::socket_isOpen(m_serverSocket))
        added = group.addSocket(m_serverSocket, idServer);
    if (!added)
    {
        WaitableGroupClean(true);
        return false;
    }
    return ComDevice::WaitableGroup(group, idClient, idServer);
}

// A client is safe from being replaced for 60 s; a clock that was set back ends its guard.
bool ComDevSocket::ClientMayBeReplaced() const
{
    return Tools::TimeoutExpired(m_lastConnect, Tools::DateTime(CLIENT_GUARD_SECONDS), m_clock());
}

// Without a descriptor the waiting client must go, or the listener would stay ready and the loop would spin.
int ComDevSocket::AcceptFailed()
{
    const bool outOfDescriptors = errno == EMFILE || errno == ENFILE;
    if ((outOfDescriptors || errno == ENOBUFS || errno == ENOMEM) && !m_reserve.refuse(m_serverSocket))
        platform::sleepMSec(ACCEPT_RETRY_PAUSE_MSEC);
    if (outOfDescriptors)
        Trace("New socket connection refused: no descriptor left");
    return RECEIVE_NOT_A_SERVER;
}

int ComDevSocket::ReceiveServer()
{
    if (!m_host.empty())
        return RECEIVE_NOT_A_SERVER;
    OSSocket accepted;
    if (!platform::socket_accept(m_serverSocket, &accepted))
        return AcceptFailed();
    if (!IsConnected() || PeerHasClosed())
    {
        Close();
        Trace("New socket connection. Previous is CLOSED.");
    }
    else if (ClientMayBeReplaced())
    {
        Close();
        Trace("New socket connection. Previous is REPLACED.");
    }
    else
    {
        platform::socket_close(accepted);
        Trace("Now socket is DISCARDED");
        return 0;
    }
    m_lastConnect = m_clock();
    return PeerTake(accepted) ? SERVER_CLIENT_TAKEN : 0;
}

int ComDevSocket::Receive(u32 size, void *buffer)
{
    // The letter l behind the number is part of the text.
    Trace("ComDevSocket::Receive(size_t size %ul)", size);
    if (size > RECEIVE_SIZE_MAX)
        return RECEIVE_SIZE_TOO_LARGE;
    // Reading no bytes gives 0, which would look like a closed peer.
    if (!IsConnected() || size == 0)
        return 0;
    const int n = platform::socket_readNoWait(m_socket, buffer, static_cast<u16>(size));
    if (n == 0)
    {
        Close();
        return RECEIVE_PEER_CLOSED;
    }
    return n < 0 ? 0 : n;
}

void ComDevSocket::AcknowledgeNow()
{
    if (IsConnected())
        platform::socket_acknowledgeNow(m_socket);
}

void ComDevSocket::ReceivePause(bool peer, bool newcomers)
{
    if (m_waitableGroup == nullptr)
        return;
    if (IsConnected() && peer != std::exchange(m_peerPaused, peer))
        m_waitableGroup->setSocketInterest(m_socket, !peer, false);
    if (platform::socket_isOpen(m_serverSocket) && newcomers != std::exchange(m_newcomersPaused, newcomers))
        m_waitableGroup->setSocketInterest(m_serverSocket, !newcomers, false);
}

bool ComDevSocket::PeerIsGone() const
{
    return IsConnected() && platform::socket_peerIsGone(m_socket);
}

bool ComDevSocket::Send(u32 size, void *buffer)
{
    if (!IsConnected())
        return false;
    if (size <= SEND_SIZE_MAX &&
        platform::socket_write(m_socket, buffer, static_cast<u16>(size)) == static_cast<int>(size))
        return true;
    Close();
    return false;
}

bool ComDevSocket::Close()
{
    platform::socket_close(m_connecting);
    if (!IsConnected())
        return false;
    WaitableGroupUnlink(m_socket);
    platform::socket_close(m_socket);
    m_peerPaused = false;
    return true;
}

} // namespace tovi
