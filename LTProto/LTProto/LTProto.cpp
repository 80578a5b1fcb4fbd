// Set-up, roles and connection life of the engine, and its trace switches.
#include "LTProto/LTProto/LTProto.h"

#include "LTProto/ComDevice/ComDevSocket.h"
#include "LTProto/ComDevice/ComDevUart.h"
#include "toviCommonLib/OS/linux/linuxOSFS.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <string>

namespace LTProtocol
{
namespace
{

constexpr char SERVER_MARK = '@';
constexpr u32 RECONNECT_MSEC = 750; // the thread looks every 250 ms: at most 1 s between attempts
constexpr u64 LATE_FILE_MSEC = 60000;
constexpr u32 RECEIVE_RESERVE = 10; // what the receive buffer holds beside the largest payload

// A port as decimal text; what does not fit an int stays outside the range of ports.
int parsePort(const std::string &text)
{
    return static_cast<int>(std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), INT_MIN, INT_MAX));
}

struct HostAndPort
{
    std::string host;
    int port = 0; // 0: the device's default
};

// "host:port" or "host".
HostAndPort splitAddress(const std::string &text)
{
    const size_t colon = text.find(':');
    if (colon == std::string::npos)
        return {text};
    return {text.substr(0, colon), parsePort(text.substr(colon + 1))};
}

HostAndPort listeningAddress(const std::string &text)
{
    if (!text.empty() && text.front() == SERVER_MARK)
        return splitAddress(text);
    return {"", parsePort(text)};
}

} // namespace

LTProto::~LTProto()
{
    Deinit();
}

bool LTProto::Init(OSWaitableGrp &wg, u32 idClient, u32 idServer, eComType comType, const char *device, u16 payloadSize)
{
    const char *deviceText = device != nullptr ? device : "";
    Trace("Init on device %s", deviceText);
    return Init(wg, idClient, idServer, comType, DeviceOpen(comType, deviceText), payloadSize);
}

bool LTProto::Init(OSWaitableGrp &wg, u32 idClient, u32 idServer, eComType comType,
                   std::unique_ptr<tovi::ComDevice> openDevice, u16 payloadSize)
{
    if (payloadSize != 0)
        m_payloadSize = payloadSize;
    if (openDevice == nullptr || !openDevice->WaitableGroup(wg, idClient, idServer))
    {
        Trace("LTProto::Init Error");
        return false;
    }
    m_comType = comType;
    m_comDevice = std::move(openDevice);
    m_rcvLen = static_cast<size_t>(m_payloadSize) + RECEIVE_RESERVE;
    m_rcvBuffer = std::make_unique<u8[]>(m_rcvLen);
    m_rcvNextPos = m_rcvBuffer.get();
    IdleRestart();
    FileFolderCreate();
    return true;
}

// The open device, or null.
std::unique_ptr<tovi::ComDevice> LTProto::DeviceOpen(eComType comType, const char *device)
{
    HostAndPort address;
    switch (comType)
    {
    case eComType::SOCKET_MAIN: address = listeningAddress(device); break;
    case eComType::SOCKET_SUBSCRIBER:
        address = splitAddress(device);
        // Either would make the device listen.
        if (address.host.empty() || address.host.front() == SERVER_MARK)
            return nullptr;
        break;
    case eComType::UART_MAIN:
    case eComType::UART_SUBSCRIBER: return UartOpen(comType, device);
    default: return nullptr;
    }
    auto socket = std::make_unique<tovi::ComDevSocket>(m_logTracer);
    if (!socket->Set(address.host.c_str(), address.port))
        return nullptr;
    return socket;
}

std::unique_ptr<tovi::ComDevice> LTProto::UartOpen(eComType comType, const char *device)
{
    auto uart = std::make_unique<tovi::ComDevUart>(m_logTracer);
    const bool opened = uart->Set(device, tovi::ComDevUart::SPEED_DEFAULT);
    Trace("Init on UART %s device %s ret=%s\n", comType == eComType::UART_MAIN ? "Main" : "Subs", device,
          opened ? "true" : "false");
    if (!opened)
        return nullptr;
    return uart;
}

// Received files need the folder; everything else works without it.
void LTProto::FileFolderCreate()
{
    const std::string folder = RcvFile::Folder();
    if (!platform::FS_DirectoryCreate(reinterpret_cast<const u8 *>(folder.c_str())))
        Trace("Folder %s cannot be created", folder.c_str());
    m_folderIsAnothers = m_folderLock.take(folder.c_str()) == platform::FolderLock::eResult::ANOTHERS;
    if (m_folderIsAnothers)
        Trace("Folder %s is another bridge's: files of the client are refused", folder.c_str());
    m_fileReceivePath.Set(folder + "/");
    m_fileReceiveListIndexName.Set(folder + "/" + FILE_INDEX_NAME);
}

bool LTProto::Deinit()
{
    ClientDisconnect();
    ReceiveFileAbort();
    if (m_comDevice)
        m_comDevice->Close();
    m_rcvBuffer.reset();
    m_rcvNextPos = nullptr;
    m_rcvLen = 0;
    m_rcvPos = 0;
    return true;
}

eReceiveResult LTProto::OnReceiveServer()
{
    const bool hadClient = DeviceHasPeer();
    const bool taken = m_comDevice->ReceiveServer() == tovi::ComDevice::SERVER_CLIENT_TAKEN;
    // The newcomer, or whoever comes when it could not be taken on, finds nothing of its predecessor; what waited for any
    // client it gets.
    if (hadClient && (taken || !DeviceHasPeer()))
        ClientDisconnect();
    if (!taken)
        return eReceiveResult::InternalProcessed;
    ReceiveFileAbort();
    ReceiveBufferReset();
    return eReceiveResult::ClientConnect;
}

bool LTProto::ClientDisconnect()
{
    m_sendQueuePacket.Clear();
    // What was not sent to its end is deleted from disk.
    for (FileToSend &file : m_sendQueueFile)
    {
        SentFileDelete(file);
        TicketRemove(file.m_ticketId);
    }
    m_sendQueueFile.clear();
    LateFilesMark();
    m_sentBlock.Reset();
    // The next ticket's number stays: numbers keep rising across connections.
    m_ticketList.Clear();
    m_resending.settle();
    m_sndBuffer.reset();
    m_sndBufferLen = 0;
    m_sndBufferLenMax = 0;
    return true;
}

// The machine was asked for these files and has yet to answer. The next client must not get what this one asked for.
void LTProto::LateFilesMark()
{
    const u64 nowMSec = m_clock();
    std::erase_if(m_lateFiles, [nowMSec](const auto &entry) { return entry.second <= nowMSec; });
    for (const auto &[age, ticket] : m_ticketList)
        if (ticket.m_ticketType == eTicketType::FROM_PROTOCOL && ticket.m_dataType == eDataType::FILE_ID)
            m_lateFiles[static_cast<u16>(ticket.m_dataValue)] = nowMSec + LATE_FILE_MSEC;
}

eReceiveResult LTProto::OnCycle()
{
    if (Reconnect())
        return eReceiveResult::ClientConnect;
    // What it waited for was a reception: a client that acknowledges, or is to, is not waited for here.
    const bool sent = IsSocket() && m_fileReceive && CheckPacketToSend(true, false);
    return sent ? eReceiveResult::PacketSended : eReceiveResult::Unknown;
}

// True when a subscriber got its main station back. It finds nothing of the connection before.
bool LTProto::Reconnect()
{
    if (m_comType != eComType::SOCKET_SUBSCRIBER || DeviceHasPeer())
        return false;
    const bool anew = m_clock() >= m_reconnectAtMSec;
    if (anew)
        m_reconnectAtMSec = m_clock() + RECONNECT_MSEC;
    if (!m_comDevice->Reconnect(anew))
        return false;
    Trace("Connected again");
    ReceiveFileAbort();
    ReceiveBufferReset();
    return true;
}

void LTProto::Trace(const char *format, ...)
{
    if (m_logTracer == nullptr)
        return;
    va_list args;
    va_start(args, format);
    m_logTracer->TraceVariableList(format, args);
    va_end(args);
}

bool LTProto::TraceIsOn() const
{
    return TraceOnConsole() || TraceOnDisk();
}

bool LTProto::TraceOnConsole() const
{
    return m_logTracer != nullptr && m_logTracer->m_traceOnConsole;
}

bool LTProto::TraceOnConsole(bool on)
{
    if (m_logTracer != nullptr)
        m_logTracer->m_traceOnConsole = on;
    return TraceOnConsole();
}

bool LTProto::TraceOnConsoleChange()
{
    return TraceOnConsole(!TraceOnConsole());
}

bool LTProto::TraceOnDisk() const
{
    return m_logTracer != nullptr && m_logTracer->m_traceOnDisk;
}

bool LTProto::TraceOnDisk(bool on)
{
    if (m_logTracer != nullptr)
        m_logTracer->m_traceOnDisk = on;
    return TraceOnDisk();
}

bool LTProto::TraceOnDiskChange()
{
    return TraceOnDisk(!TraceOnDisk());
}

} // namespace LTProtocol
