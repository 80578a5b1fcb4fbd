#include "toviCommonLib/toviThreadMsgQ.h"

#include "toviCommonLib/OS/linux/linuxOSCriticalSection.h"
#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviFIFO.h"
#include "toviCommonLib/toviHandleBaseArray.h"

#include <cstring>

namespace tovi::thread
{
namespace
{

constexpr u32 SERIALIZED_HEADER_LEN = 2 + 4 + 4; // what, paramU32, bufferSize

// A slot. In use while it has a `fifo`; its lock lives as long as the slot, so a late push finds it valid.
struct sThreadMsgQ
{
    AllocatorPtr<FIFO<sMsg>> fifo; // guarded by `cs`, as is all below
    OSEvent osEvent;               // fired on each push
    OSCriticalSection cs;
    HThreadMsgR handle; // index and counter, kind bits 0
    u32 nextFree = 0;   // guarded by the global lock
};

using ToviThreadHandleArray = HandleArray<sThreadMsgQ, sHThreadMsgR>;

struct sGlob
{
    Allocator *allocator = nullptr;
    std::unique_ptr<ToviThreadHandleArray> handleArray;
    OSCriticalSection cs; // guards the free list; taken before a queue's own lock
};
sGlob glob;

sHThreadMsgR asReadHandle(const sHThreadMsgW &h)
{
    return h.uid.isInvalid() ? sHThreadMsgR{} : sHThreadMsgR{h.uid.asKind(UID040210::KIND_READ)};
}

sThreadMsgQ *slotOf(const sHThreadMsgR &h)
{
    return glob.handleArray ? glob.handleArray->at(h) : nullptr;
}

// To be asked with the slot's lock held: a free slot already carries the handle of its next use.
bool isQueueOf(const sThreadMsgQ &slot, const sHThreadMsgR &h)
{
    return slot.fifo && slot.handle.uid.isSameQueue(h.uid);
}

void append(const sHThreadMsgW &h, const sMsg &msg)
{
    const sHThreadMsgR read = asReadHandle(h);
    if (sThreadMsgQ *slot = slotOf(read))
    {
        const platform::CriticalSectionLock lock(slot->cs);
        if (isQueueOf(*slot, read))
        {
            slot->fifo->push(msg);
            platform::event_fire(slot->osEvent);
            return;
        }
    }
    deleteMsg(msg);
}

} // namespace

bool internal_init()
{
    glob.allocator = memory_getSysHeapAllocator();
    glob.handleArray = std::make_unique<ToviThreadHandleArray>(*glob.allocator, MSGQ_MAX);
    for (u32 i = 0; i < MSGQ_MAX; ++i)
    {
        sHThreadMsgR handle{UID040210(static_cast<u16>(UID040210::COUNTER_ONE | i))};
        glob.handleArray->at(handle)->handle = handle;
    }
    platform::criticalsection_init(&glob.cs);
    return true;
}

void internal_deinit()
{
    glob.handleArray.reset();
    platform::criticalsection_close(glob.cs);
}

bool createMsgQ(sHThreadMsgR *outR, sHThreadMsgW *outW)
{
    const platform::CriticalSectionLock globalLock(glob.cs);
    sThreadMsgQ *slot = glob.handleArray->alloc();
    if (slot == nullptr)
        return false;
    const platform::CriticalSectionLock lock(slot->cs);
    slot->fifo = allocatorNew<FIFO<sMsg>>(*glob.allocator, *glob.allocator);
    platform::event_open(&slot->osEvent);
    outR->uid = slot->handle.uid.asKind(UID040210::KIND_READ);
    outW->uid = slot->handle.uid.asKind(UID040210::KIND_WRITE);
    return true;
}

void deleteMsgQ(sHThreadMsgR &hR, sHThreadMsgW &)
{
    sThreadMsgQ *slot = slotOf(hR);
    if (slot == nullptr)
        return;
    const platform::CriticalSectionLock globalLock(glob.cs);
    const platform::CriticalSectionLock lock(slot->cs);
    if (!isQueueOf(*slot, hR))
        return;
    sMsg left;
    while (slot->fifo->pop(&left))
        deleteMsg(left);
    slot->fifo.reset();
    platform::event_close(slot->osEvent);
    hR.uid.setInvalid();
    slot->handle.uid = slot->handle.uid.nextUse();
    glob.handleArray->release(*slot);
}

void pushMsg(const sHThreadMsgW &h, u16 what, u32 paramU32, const void *src, u32 sizeInBytes)
{
    pushMsg2Buffer(h, what, paramU32, src, sizeInBytes, nullptr, 0);
}

void pushMsg2Buffer(const sHThreadMsgW &h, u16 what, u32 paramU32, const void *src1, u32 size1, const void *src2,
                    u32 size2)
{
    sMsg msg{what, paramU32, nullptr, 0};
    // Without a first part the second one is not sent either.
    if (src1 != nullptr && size1 != 0)
    {
        const u32 size2Used = src2 != nullptr ? size2 : 0;
        msg.bufferSize = size1 + size2Used;
        if (msg.bufferSize < size1)
            return; // 32 bits cannot hold the sum
        msg.buffer = static_cast<u8 *>(glob.allocator->alloc(msg.bufferSize, 4));
        if (msg.buffer == nullptr)
            return;
        std::memcpy(msg.buffer, src1, size1);
        if (size2Used != 0)
            std::memcpy(msg.buffer + size1, src2, size2Used);
    }
    append(h, msg);
}

bool popMsg(const sHThreadMsgR &h, sMsg *out)
{
    sThreadMsgQ *slot = slotOf(h);
    if (slot == nullptr)
        return false;
    const platform::CriticalSectionLock lock(slot->cs);
    return isQueueOf(*slot, h) && slot->fifo->pop(out);
}

void deleteMsg(const sMsg &msg)
{
    if (msg.bufferSize != 0 && msg.buffer != nullptr)
        glob.allocator->dealloc(msg.buffer);
}

bool getMsgQEvent(const sHThreadMsgR &h, sOSEvent *out)
{
    sThreadMsgQ *slot = slotOf(h);
    if (slot == nullptr)
        return false;
    const platform::CriticalSectionLock lock(slot->cs);
    if (!isQueueOf(*slot, h))
        return false;
    *out = slot->osEvent;
    return true;
}

u32 calcSizeNeededToSerializeMsg(const sMsg &msg)
{
    return msg.bufferSize + SERIALIZED_HEADER_LEN;
}

u32 serializeMsg(const sMsg &msg, u8 *dst, u32 sizeOfDst)
{
    const u32 size = calcSizeNeededToSerializeMsg(msg);
    if (sizeOfDst < size)
        return 0;
    utils::writeMsbLsbU16(dst, msg.what);
    utils::writeMsbLsbU32(dst + 2, msg.paramU32);
    utils::writeMsbLsbU32(dst + 6, msg.bufferSize);
    if (msg.bufferSize != 0)
        std::memcpy(dst + SERIALIZED_HEADER_LEN, msg.buffer, msg.bufferSize);
    return size;
}

u32 deserializMsg(const u8 *src, u16 *what, u32 *paramU32, u32 *bufferSize, const u8 **buffer)
{
    *what = utils::readMsbLsbU16(src);
    *paramU32 = utils::readMsbLsbU32(src + 2);
    *bufferSize = utils::readMsbLsbU32(src + 6);
    *buffer = *bufferSize != 0 ? src + SERIALIZED_HEADER_LEN : nullptr;
    return *bufferSize + SERIALIZED_HEADER_LEN;
}

} // namespace tovi::thread
