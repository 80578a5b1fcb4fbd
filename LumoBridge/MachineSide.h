// MachineSide: the main thread's loop. It owns the wait over the machine link, the queue from the protocol thread and
// the wish to end, and turns messages of one side into messages of the other. Borrows tracer, link, queues and their loads.
#pragma once

#include "LTProto/Tools/LogTracer.h"
#include "LumoBridge/QueueLoad.h"
#include "LumoBridge/ToviConn.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

class MachineSide
{
  public:
    // One end of a queue between the threads. Both outlive the object.
    struct sFromClient
    {
        const sHThreadMsgR &queue;
        LT_Proto::QueueLoad &load;
    };
    struct sToClient
    {
        const sHThreadMsgW &queue;
        LT_Proto::QueueLoad &load;
    };

    // `rConn` is connected; all arguments outlive the object.
    MachineSide(Tools::LogTracer &logTracer, ToviConn &rConn, sFromClient fromClient, sToClient toClient);
    ~MachineSide();
    MachineSide(const MachineSide &) = delete;
    MachineSide &operator=(const MachineSide &) = delete;

    // False when a source cannot be waited on.
    bool isReady() const { return m_ready; }

    // Relays until the operator types x, a termination signal comes, or the machine link ends.
    void run();

    // After `run`, and after the protocol thread has ended: what it acknowledged goes to the machine, for at most 2 s. What is
    // left is traced as a number. After the end of the machine link nothing is sent.
    void finish();

  private:
    void setInterest();
    void noteEvents(u8 count);
    void pollKeyboard();
    void traceUnsent();

    bool mayReadMachine() { return m_machineEnds || m_finishing || !m_toClient.load.MustStop(); }
    bool maySendToMachine() const { return !m_rConn.IsDead() && !m_rConn.HasTail(); }

    void sendToMachine();
    void onClientMessage(const tovi::thread::sMsg &msg);
    void flushTail();
    void noteFileTold();
    void watchStall();
    void watchPeer();

    void readMachine();
    void onMachineRecord(LT_Proto::LTData &record);
    void onMachineValue(const LT_Proto::LTData &record);
    void onMachineRequest(const LT_Proto::LTData &record);
    void postRecord(const LT_Proto::LTData &record);

    OSWaitableGrp m_wg;
    Tools::LogTracer &m_logTracer;
    ToviConn &m_rConn;
    sFromClient m_fromClient;
    sToClient m_toClient;
    bool m_ready;
    bool m_running = true;
    bool m_finishing = false;
    bool m_clientHasMore = false; // messages may stand in the queue
    bool m_machineHasMore =
        true; // messages may stand in the link's buffer, of which the socket tells nothing, or in the socket
    bool m_machineEnds = false; // the system reported the end of the machine's stream: it is read up to there
    bool m_waitsForReading = true;
    bool m_waitsForWriting = false;
    u64 m_tailSinceMSec = 0; // since when the message waits that the machine has not taken whole
    bool m_stallTold = false;
    std::string m_fileOnItsWay; // the file that the message tells of which was sent last; empty when its end is known
    u64 m_peerCheckAtMSec = 0;
};
