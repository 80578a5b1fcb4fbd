// OSWaitableGrp: one thread's sleep until any of its sources is ready. A thin layer over one epoll set.
// Used by the thread that owns it; nothing locks. Borrows every source: removing one never closes it.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"
#include "toviCommonLib/OS/linux/linuxOSSerialPort.h"
#include "toviCommonLib/OS/linux/linuxOSSocket.h"
#include "toviCommonLib/toviMemory.h"
#include "toviCommonLib/toviThreadMsgQ.h"

#include <sys/epoll.h>

class OSWaitableGrp
{
  public:
    static constexpr u8 MAX_EVENTS_HANDLE_PER_CALL = 16;

    enum class eEventOrigin : u8
    {
        socket = 1,
        osevent = 2,
        serialPort = 3,
        msgQ = 4,
        deleted = 5 // the source was removed after the wait that reported it
    };

    OSWaitableGrp();
    ~OSWaitableGrp();
    OSWaitableGrp(const OSWaitableGrp &) = delete;
    OSWaitableGrp &operator=(const OSWaitableGrp &) = delete;

    // Forgets every source and closes the epoll set. True if there was at least one source.
    bool cleanAll();

    // Sockets and serial ports are level-triggered; events and queues are edge-triggered: a queue must be drained at
    // each report.
    // False when the system refuses the descriptor; the group is then as before.
    bool addSocket(const sOSSocket &sok, void *userParam);
    bool addSocket(const sOSSocket &sok, u32 userParam);
    bool addEvent(const sOSEvent &event, void *userParam);
    bool addEvent(const sOSEvent &event, u32 userParam);
    bool addSerialPort(const sOSSerialPort &port, void *userParam);
    bool addSerialPort(const sOSSerialPort &port, u32 userParam);
    bool addMsgQ(const sHThreadMsgR &queue, void *userParam);
    bool addMsgQ(const sHThreadMsgR &queue, u32 userParam);

    // Which way a socket or serial port that was added is waited for; after adding it is reading alone. Its end and its errors
    // are reported in any case. False for an unknown source.
    bool setSocketInterest(const sOSSocket &sok, bool reading, bool writing);
    bool setSerialPortInterest(const sOSSerialPort &port, bool reading);

    // Unknown sources are ignored. What is removed between two waits is not reported any more: see the getters.
    void removeSocket(const sOSSocket &sok);
    void removeEvent(const sOSEvent &event);
    void removeSerialPort(const sOSSerialPort &port);
    void removeMsgQ(const sHThreadMsgR &queue); // before the queue is deleted

    // Number of ready sources, at most 16; 0 on time-out, interruption or error. 0xFFFFFFFF waits without limit.
    u8 wait(u32 timeoutMSec);

    // Of the i-th ready source; `iEvent` is below the count of the last wait. A source removed since that wait reads as
    // `deleted`, with a user parameter of 0 and no source.
    eEventOrigin getEventOrigin(u8 iEvent) const;
    bool getEventIsEnd(u8 iEvent) const; // the peer closed, or the source failed; there may be bytes before that
    void *getEventUserParamAsPtr(u8 iEvent) const;
    u32 getEventUserParamAsU32(u8 iEvent) const;
    const sOSSocket *getEventSrcAsOSSocket(u8 iEvent) const;
    const sOSEvent *getEventSrcAsOSEvent(u8 iEvent) const;
    const sOSSerialPort *getEventSrcAsOSSerialPort(u8 iEvent) const;
    const HThreadMsgR *getEventSrcAsMsgQ(u8 iEvent) const;

  private:
    struct sIfMsgQ
    {
        HThreadMsgR hMsgQRead;
        OSEvent hEvent;
    };

    union uUserParam
    {
        void *asPtr;
        u32 asU32;
    };

    struct sRecord
    {
        epoll_event eventInfo{}; // its data pointer is this record
        sOSSocket socket;        // the member that `originType` names is valid
        sOSEvent osEvent;
        sOSSerialPort serialPort;
        sIfMsgQ msgQ;
        eEventOrigin originType = eEventOrigin::deleted;
        uUserParam userParam{nullptr};
        tovi::AllocatorPtr<sRecord> next;

        int descriptor() const;
    };

    sRecord *priv_addRecord(eEventOrigin origin, u32 eventMask);
    sRecord *priv_register(sRecord *record);
    sRecord *priv_addSocket(const sOSSocket &sok);
    sRecord *priv_addEvent(const sOSEvent &event);
    sRecord *priv_addSerialPort(const sOSSerialPort &port);
    sRecord *priv_addMsgQ(const sHThreadMsgR &queue);
    bool priv_setInterest(int descriptor, u32 eventMask);
    void priv_findAndRemove(int descriptor);
    void priv_onRemove(int descriptor);
    const sRecord *priv_ready(u8 iEvent) const;

    static bool priv_tag(sRecord *record, void *userParam);
    static bool priv_tag(sRecord *record, u32 userParam);

    tovi::AllocatorPtr<sRecord> base; // newest first
    int hfd;
    epoll_event events[MAX_EVENTS_HANDLE_PER_CALL] = {};
    u8 nEventsReady = 0;
};
