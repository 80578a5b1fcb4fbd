// MachineSide: the main thread's loop. It owns the wait over the machine link, the queue from the protocol thread and
// the wish to end, and turns messages of one side into messages of the other. Borrows tracer, link and queues.
#pragma once

#include "LTProto/Tools/LogTracer.h"
#include "LumoBridge/ToviConn.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

class MachineSide
{
  public:
    // `rConn` is connected; all arguments outlive the object.
    MachineSide(Tools::LogTracer &logTracer, ToviConn &rConn, const sHThreadMsgR &fromClient,
                const sHThreadMsgW &toClient);
    ~MachineSide();
    MachineSide(const MachineSide &) = delete;
    MachineSide &operator=(const MachineSide &) = delete;

    // False when the queue cannot be waited on.
    bool isReady() const { return m_ready; }

    // Relays until the operator types x, a termination signal comes, or the machine link ends.
    void run();

  private:
    void handleEvents(u8 count);
    bool operatorWantsEnd();

    void onClientQueue();
    void onClientMessage(const tovi::thread::sMsg &msg, LT_Proto::LTData &record);

    void onMachineSocket();
    void onMachineRecord(LT_Proto::LTData &record);
    void onMachineValue(const LT_Proto::LTData &record);
    void onMachineRequest(const LT_Proto::LTData &record);

    OSWaitableGrp m_wg;
    Tools::LogTracer &m_logTracer;
    ToviConn &m_rConn;
    const sHThreadMsgR &m_fromClient;
    const sHThreadMsgW &m_toClient;
    bool m_ready;
    bool m_running = true;
    bool m_clientHasMore = false; // the last turn left messages in the queue
    bool m_machineHasMore = true; // messages may stand in the link's buffer, of which the socket tells nothing
};
