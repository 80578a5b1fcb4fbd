// LTProtocol::LTProto: the packet engine of the client link. Strictly one packet at a time: it sends only when the peer
// has shown that it is ready, and answers requests later, under the number of a ticket.
// Used by the protocol thread alone, so nothing locks. Owns its device and buffers; borrows the tracer (may be null).
#pragma once

#include "LTProto/ComDevice/ComDevice.h"
#include "LTProto/LTProto/FileMark.h"
#include "LTProto/LTProto/FileToSend.h"
#include "LTProto/LTProto/RcvFileList.h"
#include "LTProto/LTProto/Resending.h"
#include "LTProto/LTProto/SendQueue.h"
#include "LTProto/LTProto/SentBlock.h"
#include "LTProto/LTProto/TicketList.h"
#include "LTProto/LTProto/WireFormat.h"
#include "LTProto/Tools/LogTracer.h"
#include "LTProto/Tools/StringUtf8.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSFolderLock.h"

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace LTProtocol
{

// What the engine tells its thread after an event.
enum class eReceiveResult : u8
{
    Unknown = 0,
    InternalProcessed = 1, // nothing to do for the caller
    FileReceive = 2,       // payload: file id (2) | full name
    FileRequest = 3,       // payload: file id (2)
    DataRequest = 4,
    VarRequest = 5, // payload: variable id (4)
    DataBuffer = 6, // payload: id (4) | data type (1) | value
    ClientConnect = 7,
    ClientDisconnect = 8,
    ClientDiscarded = 9,
    ReceiveInProgress = 10,
    PacketSended = 11
};

class LTProto
{
  public:
    static constexpr u32 TICKETS_MAX = 4096;      // open at once
    static constexpr size_t QUEUE_FILES_MAX = 64; // waiting to be sent

    // Milliseconds of a clock that is never set back.
    using Clock = u64 (*)();

    explicit LTProto(Clock clock = platform::getTimeNowMSec) : m_clock(clock) {}
    ~LTProto();
    LTProto(const LTProto &) = delete;
    LTProto &operator=(const LTProto &) = delete;

    // Opens the device that link kind and text name, and joins the group with both ids (peer, waiting client).
    //   SOCKET_MAIN        listening port (empty: 8283), or "@address:port" for one address
    //   SOCKET_SUBSCRIBER  "host:port" to connect to; without a host it fails
    //   UART_MAIN, UART_SUBSCRIBER  serial device, opened at 115200 baud
    // `payloadSize` is the largest payload in bytes, 0 for the default 50000. False when the device cannot be had; the
    // engine must not be used then.
    bool Init(OSWaitableGrp &wg, u32 idClient, u32 idServer, eComType comType, const char *device, u16 payloadSize);

    // As above on a device that is already open.
    bool Init(OSWaitableGrp &wg, u32 idClient, u32 idServer, eComType comType,
              std::unique_ptr<tovi::ComDevice> openDevice, u16 payloadSize);

    // Ends the connection and closes the device; true.
    bool Deinit();

    bool IsMain() const { return m_comType == eComType::SOCKET_MAIN || m_comType == eComType::UART_MAIN; }
    bool IsSubscriber() const
    {
        return m_comType == eComType::SOCKET_SUBSCRIBER || m_comType == eComType::UART_SUBSCRIBER;
    }
    bool IsSocket() const { return m_comType == eComType::SOCKET_MAIN || m_comType == eComType::SOCKET_SUBSCRIBER; }
    bool IsSerial() const { return m_comType == eComType::UART_MAIN || m_comType == eComType::UART_SUBSCRIBER; }
    u16 PayloadSize() const { return m_payloadSize; }

    // Set by the owner before Init, read-only after it; not owned.
    void LogTracer(Tools::LogTracer *logTracer) { m_logTracer = logTracer; }

    // Whether a client is known to be there: told by the thread, read by WaitingTimeout.
    void IsConnected(bool connected) { m_isConnected = connected; }

    // Whether the device has a peer to talk to.
    bool DeviceHasPeer() const { return m_comDevice != nullptr && m_comDevice->IsConnected(); }

    // Whether the peer has closed, though bytes that it sent before may still be unread. OnReceive reads up to its end.
    bool PeerHasClosed() const { return m_comDevice != nullptr && m_comDevice->PeerHasClosed(); }

    // ---- Events, in the order of the thread's loop.

    // The device is readable: gathers bytes and handles one packet. `payload` is what the result's comment says.
    eReceiveResult OnReceive(Tools::MemoryBuffer &payload);

    // While `paused` no packet is begun, and nobody is taken on: whoever sends waits. What has begun is read on: a packet that is
    // half here, and a file. A serial line is not polled meanwhile, and its silence does not count.
    void ReceivePause(bool paused);

    // A client waits on the listening socket: ClientConnect when it was taken on, else InternalProcessed.
    eReceiveResult OnReceiveServer();

    // The idle step. A serial main station polls and returns ClientDisconnect, unless bytes are still on their way out; a
    // serial line that was lost is opened again.
    eReceiveResult OnEventTimeout();

    // What a socket link does unasked, once in each cycle of the thread's loop. ClientConnect when a subscriber that lost
    // its main station is connected again; PacketSended when a packet left that had waited for a file reception whose
    // time is over; else Unknown.
    eReceiveResult OnCycle();

    // The silence in milliseconds before the idle step.
    u32 WaitingTimeout() const;

    // Milliseconds left until the idle step is due, 0 when it is: WaitingTimeout() after the last byte received and after
    // the last byte sent has left the line; 1 s after a serial line was lost or could not be opened.
    u32 IdleIn() const;

    // Whether a serial main station's client has left its polls unanswered for 3 s.
    bool ClientIsSilent() const;

    // The peer is gone: drops every queued packet and ticket; true. Ticket numbers go on rising.
    bool ClientDisconnect();

    // When the peer vanished without a word, closes the device and does what follows when a peer closes; true then.
    bool PeerDropIfGone();

    // ---- Packets.

    // Builds and writes one packet. False when the payload is above 65529 bytes, there is no memory, or the write failed;
    // after a failed write the connection is over and every list is empty.
    bool ProtocolSend(eCommandType type, const void *data, u32 len);
    bool CommandSend(eCommandCode code, u16 errCode); // `errCode` goes with NACK alone
    bool RequestSend(const Tools::MemoryBuffer &payload);
    bool DataBlockSend(const Tools::MemoryBuffer &payload);

    // Handles one good packet; `payload` is the packet's, and on return what the caller is to act on.
    eReceiveResult ProtocolReceive(u8 type, Tools::MemoryBuffer &payload);
    void ReceiveBufferReset();

    // ---- Tickets and the send queue.

    // Opens a ticket under `ticketId`, or under the next number when that is TICKET_NONE. Returns its number, or
    // TICKET_NONE for type NONE, for a data type without tickets. When TICKETS_MAX are open the oldest that no file transfer
    // uses gives way.
    TicketNr TicketEnqueue(eTicketType ticketType, eDataType dataType, u32 value, TicketNr ticketId);
    TicketNr TicketSearch(eTicketType ticketType, eDataType dataType, u32 value) const; // the oldest, or TICKET_NONE
    bool TicketRemove(TicketNr ticketId);
    bool TicketSend(TicketNr ticketId); // tells the client its ticket
    bool NullSend(TicketNr ticketId);   // tells the client that the ticket carries nothing
    bool DataSend(TicketNr ticketId, const Tools::MemoryBuffer &data);

    // Appends a packet and, on a socket link, tries to send at once: the result is that of the attempt. A packet that is
    // too long, or for which no spontaneous value can make room, is refused: false, and nothing is queued.
    bool SendQueuePacket(const PacketToSend &packet);

    // Sends what is due; true when a packet went out. With `checkRetry` nothing is sent while the last packet may still
    // be answered with NACK.
    bool CheckPacketToSend(bool checkRetry, bool allowFile);

    // ---- Values and requests. False when the type cannot travel or the packet was refused.

    bool DataEnqueue(TicketNr ticketId, eDataType dataType, u32 dataValue, u8 decPos,
                     const Tools::MemoryBuffer &buffer);
    bool DataEnqueue(eDataType kind, u32 id, eDataType dataType, u32 dataValue, u8 decPos,
                     const Tools::MemoryBuffer &buffer);

    // Answers the client's open request for that item, or sends the value spontaneously. For the ticketed buffer the
    // first 4 bytes of `buffer` are the ticket number; they are dropped.
    bool DataEnqueueOnTicket(eDataType kind, u32 id, eDataType dataType, u32 dataValue, u8 decPos,
                             Tools::MemoryBuffer &buffer);

    // Asks the client for a variable, a file or a ticket.
    bool RequestEnqueue(eDataType dataType, u32 dataValue);

    // ---- Files.

    // The machine's file for the client, under the client's ticket when it asked for it: `name` is its full path, empty
    // when there is none; the client then gets an empty file. False when it was not queued; a ticket that it was for is
    // closed then. What comes within 60 s for a client that asked and was lost is deleted, once for each number.
    bool FileSend(u16 fileId, u8 errCode, const Tools::MemoryBuffer &name);

    // Appends a file to the queue; false when QUEUE_FILES_MAX wait.
    bool FileSend(TicketNr ticketId, u16 fileId, const Tools::MemoryBuffer &name);
    bool FileSend(TicketNr ticketId, u16 fileId, const Tools::StringUtf8 &name);

    // A file of the client that is whole.
    struct ReceivedFile
    {
        u32 fileId;
        std::string name; // full
    };

    // Reads the index of received files, deletes what it does not know and what is not whole, and writes it anew. Once,
    // before any packet. Returns the files that the machine was not told of.
    std::vector<ReceivedFile> ReceiveFilesRestore();

    // True while a file comes in and its last block is not older than 10 s.
    bool ReceiveFileIsRunning() const;

    // Gives the incoming file up and deletes it; true when there was one.
    bool ReceiveFileAbort();

    // ---- Numbers, most significant byte first. False, and nothing written, when `size` is too small.

    bool ToBuffer(u32 value, u8 *dst, u32 size) const;
    bool ToBuffer(u16 value, u8 *dst, u32 size) const;
    bool TicketToBuffer(TicketNr ticketId, u8 *dst, u32 size) const { return ToBuffer(ticketId, dst, size); }
    void NumberToBufferMsbLsb(u32 value, u8 *dst, u32 len) const;

    // ---- Tracing. The switches are the tracer's; each returns its value after the call, false without a tracer.

    __attribute__((format(printf, 2, 3))) void Trace(const char *format, ...);
    bool TraceOnConsole() const;
    bool TraceOnConsole(bool on);
    bool TraceOnConsoleChange();
    bool TraceOnDisk() const;
    bool TraceOnDisk(bool on);
    bool TraceOnDiskChange();

    // One trace line of a packet; `maxBytes` 0 shows all of it.
    void PacketDump(const char *label, const u8 *data, u32 len, u32 maxBytes);

  private:
    using FileQueue = std::list<FileToSend>;
    static constexpr char FILE_INDEX_NAME[] = "index.dat";
    static constexpr char FILE_INDEX_NEW_NAME[] = "index.dat.new";
    static constexpr char FILE_INDEX_BAD_NAME[] = "index.bad";

    // What a DATA packet of the client carries. `data` points into the packet's payload.
    struct Item
    {
        eDataType kind;
        u32 id;
        eDataType dataType;
        const u8 *data;
        u32 len;
    };

    std::unique_ptr<tovi::ComDevice> UartOpen(eComType comType, const char *device);
    std::unique_ptr<tovi::ComDevice> DeviceOpen(eComType comType, const char *device);
    void FileFolderCreate();

    bool PacketSend(eCommandType type, const void *head, u32 headLen, const void *body, u32 bodyLen);
    u8 *SendBufferOfSize(size_t size);
    bool SendBufferWrite();
    bool TraceIsOn() const;

    void PeerClosed();
    eReceiveResult Gather(Tools::MemoryBuffer &payload);
    void ReceiveBufferClear(size_t kept);
    void StartMarkFind(int &count);
    eReceiveResult PacketCheck(u32 len, Tools::MemoryBuffer &payload);
    eReceiveResult CommandReceive(const Tools::MemoryBuffer &payload, TicketNr abortedTicket);
    eReceiveResult PeerReady();
    eReceiveResult NackReceive(u16 errCode, TicketNr abortedTicket);

    bool Reconnect();
    void LateFilesMark();

    TicketNr TicketNextNr();
    bool TicketMakeRoom();
    void TicketGiveWay(TicketNr ticketId);
    bool TransferUses(TicketNr ticketId) const;
    bool QueuePush(PacketToSend &&packet);
    bool QueueMakeRoom(u32 len);
    void DropTell(u32 dropped);
    bool QueuedSend();
    void IdleRestart();
    bool DeviceReopen();
    bool Enqueue(PacketToSend &&packet);

    eReceiveResult RequestReceive(Tools::MemoryBuffer &payload);
    eReceiveResult FileRequestReceive(Tools::MemoryBuffer &payload);
    eReceiveResult VariableRequestReceive(Tools::MemoryBuffer &payload);
    eReceiveResult TicketRequestReceive(const Tools::MemoryBuffer &payload);
    eReceiveResult DataReceive(Tools::MemoryBuffer &payload);
    eReceiveResult AnswerReceive(Tools::MemoryBuffer &payload);
    eReceiveResult ItemReceive(const Item &item, Tools::MemoryBuffer &payload);
    eReceiveResult ValueReceive(const Item &item, Tools::MemoryBuffer &payload);
    eReceiveResult TicketedBufferReceive(const Item &item, Tools::MemoryBuffer &payload);
    eReceiveResult TicketAnswerReceive(u32 ticketId);
    eReceiveResult AckAnd(eReceiveResult result);
    TicketNr TicketOfBufferAnswer(Tools::MemoryBuffer &buffer);

    bool FileBlockSend(u16 blockLen);
    bool FileCannotBeSentOn();
    bool FileToSendIsEnded(FileQueue::iterator file);
    void FileToSendRemove(FileQueue::iterator file);
    void FileSendGiveUp();
    bool LateFileTake(u16 fileId);
    bool SentFileDelete(FileToSend &file);
    bool IsOwnFile(const std::string &name) const;
    bool BlockSendAgain(u32 nr);
    bool BlockRejected();
    bool FirstBlockAskedAgain(u16 granted) const;
    void NegotiationAnswerReceive(const u8 *data, u32 len);

    eReceiveResult BlockReceive(const u8 *block, u32 blockLen, Tools::MemoryBuffer &payload);
    u32 NegotiatedFile(const u8 *data, u32 len, TicketNr &ticketId) const;
    int DataBlockWrite(u32 blockNr, const u8 *data, u32 len);
    u32 DataBlockReceiveNegotiation(const u8 *data, u32 len);
    void FileRequestAnswered(u32 fileId);
    eReceiveResult DataBlockReceive(u32 blockNr, const u8 *data, u32 len, Tools::MemoryBuffer &payload);
    void ReceiveFileSetTimeout();
    bool GrantIsLast() const;

    Tools::StringUtf8 ReceiveFileNameGenerate(u32 key);
    bool ReceiveFileIndexSave();
    u16 ReceiveFileIndexLoad();
    bool ReceiveFileListHasRoom();
    bool ReceiveFileIndexScanFilSystem();
    std::set<u32> MarkedFiles(eFileMark mark) const;
    void PartialFilesRemove();
    std::vector<ReceivedFile> UntoldFiles();
    u16 ReceiveFileSendOnMqAll() const;

    eComType m_comType = eComType::UNDEFINED;
    std::unique_ptr<tovi::ComDevice> m_comDevice;
    Tools::LogTracer *m_logTracer = nullptr;

    std::unique_ptr<u8[]> m_rcvBuffer;
    u8 *m_rcvNextPos = nullptr; // where the next read lands
    size_t m_rcvLen = 0;        // capacity
    size_t m_rcvPos = 0;        // bytes held
    u64 m_rcvLastMSec = 0;      // of m_clock: when the last byte came

    std::unique_ptr<u8[]> m_sndBuffer; // the last packet stays in it, to be sent again after a NACK
    size_t m_sndBufferLen = 0;
    size_t m_sndBufferLenMax = 0;
    Resending m_resending;  // of it
    bool m_hasSent = false; // since bytes were last received

    TicketNr m_ticketNext = 0;
    TicketList m_ticketList; // oldest first
    SendQueue m_sendQueuePacket;

    u16 m_payloadSize = 50000;
    u16 m_packetTraceBytesLen = 15; // bytes of a received packet that its trace shows
    bool m_isConnected = false;

    Clock m_clock;
    u64 m_idleFromMSec = 0;        // when the last byte came or left; the next idle step counts from here
    u64 m_silentFromMSec = 0;      // valid with m_pollUnanswered: when the client was last active
    bool m_pollUnanswered = false; // a poll went out and no byte has come since
    bool m_receivePaused = false;  // no packet is begun
    u32 m_valuesDropped = 0;       // and not yet told of
    u64 m_dropTellAtMSec = 0;
    u64 m_reconnectAtMSec = 0; // when a subscriber without its main station begins its next attempt

    FileQueue m_sendQueueFile;               // the head is on its way
    std::map<u16, u64> m_lateFiles;          // files that a lost client asked for; until when (m_clock) they are late
    SentBlock m_sentBlock;                   // of the head, or the last one of a file that has left
    std::optional<FileToSend> m_fileReceive; // the file that comes in
    u64 m_fileReceiveNextPacketTimeout = 0;  // of m_clock
    RcvFileList m_fileReceiveList;
    size_t m_fileReceiveListRefreshAt = 1024; // entries
    bool m_fileIndexDamaged = false;
    platform::FolderLock m_folderLock;
    bool m_folderIsAnothers = false;     // nothing in it is touched
    Tools::StringUtf8 m_fileReceivePath; // folder of received files, with a trailing slash
    Tools::StringUtf8 m_fileReceiveListIndexName;
};

} // namespace LTProtocol
