// LT_Proto::Protocol: the client side of the bridge. Runs the engine of the client link on a thread of its own and
// relays what it delivers to the main thread, and back. The main thread calls Init, Start, Stop and nothing between.
#pragma once

#include "LTProto/LTProto/LTProto.h"
#include "LumoBridge/QueueLoad.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"
#include "toviCommonLib/toviThread.h"

#include <atomic>

namespace LT_Proto
{

class Protocol
{
  public:
    // User values of the group's sources.
    static constexpr u32 EVENT_FROM_PROTOCOL = 18;        // bytes of the client, or it closed
    static constexpr u32 EVENT_FROM_PROTOCOL_SERVER = 19; // a client waits to be accepted
    static constexpr u32 EVENT_FROM_MQ = 34;              // the main thread sent something
    static constexpr u32 EVENT_ROOM_TO_MAIN = 35;         // the main thread has caught up

    // All are borrowed and must outlive the object. The tracer may be null; thread and engine share it. The loads are those of
    // the queues from and to the main thread.
    Protocol(Tools::LogTracer *logTracer, QueueLoad &fromMain, QueueLoad &toMain,
             LTProtocol::LTProto::Clock clock = platform::getTimeNowMSec);
    ~Protocol();
    Protocol(const Protocol &) = delete;
    Protocol &operator=(const Protocol &) = delete;

    // Opens the client link; `payload` is its largest payload, replaced when outside 1 to 65535 by 4000 (UART) or 50000
    // (socket). 0 on success; 1 for a wrong type or a device that cannot be had; 2 for a queue that cannot be waited on.
    int Init(const sHThreadMsgR &read, const sHThreadMsgW &write, eComType type, const char *device, u32 payload);

    // As above on a device that is already open.
    int Init(const sHThreadMsgR &read, const sHThreadMsgW &write, eComType type,
             std::unique_ptr<tovi::ComDevice> openDevice, u32 payload);

    // Starts the thread; false without a successful Init, or when the system gives no thread.
    bool Start();

    // Ends the thread and waits for it, at most the waiting time-out and one write time-out; false when it was not
    // running. A stop before the thread's first step counts as well.
    bool Stop();

    // The steps of the thread's loop, for an owner that takes them itself instead of calling Start: a source of that user
    // value is ready; what the link does unasked may be due; the client link may have been silent for long enough.
    void HandleEvent(u32 userParam);
    void OwnStep();
    void IdleStep();

    // Looks every half second whether the client vanished without a word.
    void PeerCheck();

    u16 PayloadSize() const { return m_comProtocol.PayloadSize(); }

  private:
    int JoinQueues(const sHThreadMsgR &read, const sHThreadMsgW &write);
    static i16 ThreadStart(void *self);
    void Process();

    // Tells the main thread when `up` is news; true when it was.
    bool ConnectionState(bool up);
    void ConnectionCheck();
    void OnEventFromProtocolServer();
    void OnEventFromProtocol();
    void DataBufferRelay(const Tools::MemoryBuffer &buffer);

    void MqReceive();
    void MqHandle(const tovi::thread::sMsg &msg);
    void VariableDataReceive(const tovi::thread::sMsg &msg);
    void CommandReceive(eMqCommand command);
    bool SwitchSet(bool &flag, bool on);

    void CommandSend(eMqCommand command);
    void MqSend(eMqMessage what, u32 param, const void *bytes = nullptr, u32 size = 0);
    void LogStateSend();
    void TraceStateSend();
    void LogOnFileStateSend();
    bool TracerIsOn() const;

    __attribute__((format(printf, 2, 3))) void LogPrint(const char *format, ...);
    void LogChange();

    OSWaitableGrp m_wg;                       // protocol thread
    Tools::LogTracer *m_logTracer;            // read-only; locks itself; not owned
    QueueLoad &m_fromMain;                    // both threads
    QueueLoad &m_toMain;                      // both threads
    LTProtocol::LTProto m_comProtocol;        // protocol thread after Start
    bool m_traceEnable = false;               // protocol thread
    bool m_logEnable = false;                 // protocol thread; gates LogPrint
    tovi::HThread m_hThread = nullptr;        // main thread; set while there is a thread to wait for
    std::atomic<bool> m_threadRunning{false}; // set by Init, cleared by Stop (main thread), read once per cycle
    sHThreadMsgR m_mqRead;                    // set by Init, then read-only
    sHThreadMsgW m_mqWrite;                   // set by Init, then read-only
    u64 m_peerCheckAtMSec = 0;                // protocol thread: when to look next
    bool m_mqHasMore = false;                 // protocol thread: the last turn left messages in m_mqRead
    bool m_isConnected = false;               // protocol thread: the link state last told to the main thread
};

} // namespace LT_Proto
