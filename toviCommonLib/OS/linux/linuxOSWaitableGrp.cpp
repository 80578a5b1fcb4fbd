#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

#include <unistd.h>

namespace
{

constexpr u32 MASK_COMMON = EPOLLIN | EPOLLPRI | EPOLLERR | EPOLLHUP; // 0x1B, as it is for a serial port
constexpr u32 MASK_SOCKET = MASK_COMMON | EPOLLRDHUP;                 // 0x201B
constexpr u32 MASK_READING = EPOLLIN | EPOLLPRI;
constexpr u32 MASK_END = EPOLLERR | EPOLLHUP | EPOLLRDHUP;
constexpr u32 MASK_EVENT = MASK_COMMON | EPOLLET; // 0x8000001B

// Frees the first record of a list. Its link is taken out first: it lives in the record.
template <class TRecord>
void removeHead(tovi::AllocatorPtr<TRecord> &head)
{
    tovi::AllocatorPtr<TRecord> rest = std::move(head->next);
    head = std::move(rest);
}

} // namespace

int OSWaitableGrp::sRecord::descriptor() const
{
    switch (originType)
    {
    case eEventOrigin::socket: return socket.socketID;
    case eEventOrigin::osevent: return osEvent.evfd;
    case eEventOrigin::msgQ: return msgQ.hEvent.evfd;
    case eEventOrigin::serialPort: return serialPort.fd;
    case eEventOrigin::deleted: break;
    }
    return 0;
}

OSWaitableGrp::OSWaitableGrp() : hfd(epoll_create1(EPOLL_CLOEXEC)) {}

OSWaitableGrp::~OSWaitableGrp()
{
    cleanAll();
}

bool OSWaitableGrp::cleanAll()
{
    const bool hadRecords = base != nullptr;
    while (base)
        removeHead(base);
    nEventsReady = 0;
    if (hfd >= 0)
        close(hfd);
    hfd = -1;
    return hadRecords;
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_addRecord(eEventOrigin origin, u32 eventMask)
{
    tovi::AllocatorPtr<sRecord> record = tovi::allocatorNew<sRecord>(*tovi::memory_getSysHeapAllocator());
    record->eventInfo.events = eventMask;
    record->eventInfo.data.ptr = record.get();
    record->originType = origin;
    record->next = std::move(base);
    base = std::move(record);
    return base.get();
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_register(sRecord *record)
{
    if (epoll_ctl(hfd, EPOLL_CTL_ADD, record->descriptor(), &record->eventInfo) == 0)
        return record;
    // The record just added stands at the head, so it is the one that goes even if its descriptor was there before.
    priv_findAndRemove(record->descriptor());
    return nullptr;
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_addSocket(const sOSSocket &sok)
{
    sRecord *record = priv_addRecord(eEventOrigin::socket, MASK_SOCKET);
    record->socket = sok;
    return priv_register(record);
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_addEvent(const sOSEvent &event)
{
    sRecord *record = priv_addRecord(eEventOrigin::osevent, MASK_EVENT);
    record->osEvent = event;
    return priv_register(record);
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_addSerialPort(const sOSSerialPort &port)
{
    sRecord *record = priv_addRecord(eEventOrigin::serialPort, MASK_COMMON);
    record->serialPort = port;
    return priv_register(record);
}

OSWaitableGrp::sRecord *OSWaitableGrp::priv_addMsgQ(const sHThreadMsgR &queue)
{
    OSEvent event;
    if (!tovi::thread::getMsgQEvent(queue, &event))
        return nullptr;
    sRecord *record = priv_addRecord(eEventOrigin::msgQ, MASK_EVENT);
    record->msgQ = {queue, event};
    return priv_register(record);
}

bool OSWaitableGrp::priv_tag(sRecord *record, void *userParam)
{
    if (record != nullptr)
        record->userParam.asPtr = userParam;
    return record != nullptr;
}

bool OSWaitableGrp::priv_tag(sRecord *record, u32 userParam)
{
    if (record != nullptr)
        record->userParam.asU32 = userParam;
    return record != nullptr;
}

bool OSWaitableGrp::addSocket(const sOSSocket &sok, void *userParam)
{
    return priv_tag(priv_addSocket(sok), userParam);
}

bool OSWaitableGrp::addSocket(const sOSSocket &sok, u32 userParam)
{
    return priv_tag(priv_addSocket(sok), userParam);
}

bool OSWaitableGrp::addEvent(const sOSEvent &event, void *userParam)
{
    return priv_tag(priv_addEvent(event), userParam);
}

bool OSWaitableGrp::addEvent(const sOSEvent &event, u32 userParam)
{
    return priv_tag(priv_addEvent(event), userParam);
}

bool OSWaitableGrp::addSerialPort(const sOSSerialPort &port, void *userParam)
{
    return priv_tag(priv_addSerialPort(port), userParam);
}

bool OSWaitableGrp::addSerialPort(const sOSSerialPort &port, u32 userParam)
{
    return priv_tag(priv_addSerialPort(port), userParam);
}

bool OSWaitableGrp::addMsgQ(const sHThreadMsgR &queue, void *userParam)
{
    return priv_tag(priv_addMsgQ(queue), userParam);
}

bool OSWaitableGrp::addMsgQ(const sHThreadMsgR &queue, u32 userParam)
{
    return priv_tag(priv_addMsgQ(queue), userParam);
}

bool OSWaitableGrp::priv_setInterest(int descriptor, u32 eventMask)
{
    for (sRecord *record = base.get(); record != nullptr; record = record->next.get())
    {
        if (record->descriptor() != descriptor)
            continue;
        record->eventInfo.events = eventMask;
        return epoll_ctl(hfd, EPOLL_CTL_MOD, descriptor, &record->eventInfo) == 0;
    }
    return false;
}

bool OSWaitableGrp::setSocketInterest(const sOSSocket &sok, bool reading, bool writing)
{
    const u32 mask = reading ? MASK_SOCKET : MASK_SOCKET & ~MASK_READING;
    return priv_setInterest(sok.socketID, writing ? mask | EPOLLOUT : mask);
}

bool OSWaitableGrp::setSerialPortInterest(const sOSSerialPort &port, bool reading)
{
    return priv_setInterest(port.fd, reading ? MASK_COMMON : MASK_COMMON & ~MASK_READING);
}

void OSWaitableGrp::priv_findAndRemove(int descriptor)
{
    for (tovi::AllocatorPtr<sRecord> *link = &base; *link; link = &(*link)->next)
    {
        if ((*link)->descriptor() != descriptor)
            continue;
        // What a handler removes, the rest of the batch must not see.
        for (u8 i = 0; i < nEventsReady; ++i)
        {
            if (events[i].data.ptr == link->get())
                events[i].data.ptr = nullptr;
        }
        removeHead(*link);
        return;
    }
}

void OSWaitableGrp::priv_onRemove(int descriptor)
{
    priv_findAndRemove(descriptor);
    epoll_event none{};
    epoll_ctl(hfd, EPOLL_CTL_DEL, descriptor, &none);
}

void OSWaitableGrp::removeSocket(const sOSSocket &sok)
{
    priv_onRemove(sok.socketID);
}

void OSWaitableGrp::removeEvent(const sOSEvent &event)
{
    priv_onRemove(event.evfd);
}

void OSWaitableGrp::removeSerialPort(const sOSSerialPort &port)
{
    priv_onRemove(port.fd);
}

void OSWaitableGrp::removeMsgQ(const sHThreadMsgR &queue)
{
    for (const sRecord *record = base.get(); record != nullptr; record = record->next.get())
    {
        if (record->originType == eEventOrigin::msgQ && record->msgQ.hMsgQRead.uid.isSameQueue(queue.uid))
        {
            priv_onRemove(record->descriptor());
            return;
        }
    }
}

u8 OSWaitableGrp::wait(u32 timeoutMSec)
{
    nEventsReady = 0;
    const int n = epoll_wait(hfd, events, MAX_EVENTS_HANDLE_PER_CALL, static_cast<int>(timeoutMSec));
    if (n < 1)
        return 0;
    nEventsReady = static_cast<u8>(n);
    return nEventsReady;
}

const OSWaitableGrp::sRecord *OSWaitableGrp::priv_ready(u8 iEvent) const
{
    return static_cast<const sRecord *>(events[iEvent].data.ptr);
}

OSWaitableGrp::eEventOrigin OSWaitableGrp::getEventOrigin(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? record->originType : eEventOrigin::deleted;
}

bool OSWaitableGrp::getEventIsEnd(u8 iEvent) const
{
    return priv_ready(iEvent) != nullptr && (events[iEvent].events & MASK_END) != 0;
}

void *OSWaitableGrp::getEventUserParamAsPtr(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? record->userParam.asPtr : nullptr;
}

u32 OSWaitableGrp::getEventUserParamAsU32(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? record->userParam.asU32 : 0;
}

const sOSSocket *OSWaitableGrp::getEventSrcAsOSSocket(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? &record->socket : nullptr;
}

const sOSEvent *OSWaitableGrp::getEventSrcAsOSEvent(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? &record->osEvent : nullptr;
}

const sOSSerialPort *OSWaitableGrp::getEventSrcAsOSSerialPort(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? &record->serialPort : nullptr;
}

const HThreadMsgR *OSWaitableGrp::getEventSrcAsMsgQ(u8 iEvent) const
{
    const sRecord *record = priv_ready(iEvent);
    return record != nullptr ? &record->msgQ.hMsgQRead : nullptr;
}
