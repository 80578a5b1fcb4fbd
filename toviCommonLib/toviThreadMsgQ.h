// Message queues between threads: the only channel between two threads of a program. A queue is a pair of 16-bit
// handles, one to read and one to write, and an event that every push fires. Any thread may push, pop, create, delete.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"
#include "toviCommonLib/toviHandleUID040210.h"

struct sHThreadMsgR
{
    tovi::UID040210 uid;
};
struct sHThreadMsgW
{
    tovi::UID040210 uid;
};
using HThreadMsgR = sHThreadMsgR;
using HThreadMsgW = sHThreadMsgW;

namespace tovi::thread
{

struct sMsg
{
    u16 what = 0; // chosen by the user
    u32 paramU32 = 0;
    u8 *buffer = nullptr; // copy of the payload or null; owned by whoever popped the message, until `deleteMsg`
    u32 bufferSize = 0;   // bytes
};

constexpr u32 MSGQ_MAX = 1024; // queues alive at once

// Called once by the library's start and end. Queues still open at the end are not drained.
bool internal_init();
void internal_deinit();

// False, and the handles untouched, when all queues are in use.
bool createMsgQ(sHThreadMsgR *outR, sHThreadMsgW *outW);

// Frees the queue and every message still in it; `hR` becomes invalid, `hW` is stale from then on. An unknown or stale
// `hR` changes nothing.
void deleteMsgQ(sHThreadMsgR &hR, sHThreadMsgW &hW);

// Appends one message with a copy of the payload and fires the queue's event. An unknown handle is ignored.
void pushMsg(const sHThreadMsgW &h, u16 what, u32 paramU32, const void *src = nullptr, u32 sizeInBytes = 0);

// As `pushMsg`, the payload being `src1` followed by `src2`. Without `src1` the message has no payload at all.
void pushMsg2Buffer(const sHThreadMsgW &h, u16 what, u32 paramU32, const void *src1, u32 size1, const void *src2,
                    u32 size2);

// Moves the oldest message into `*out`, to be given to `deleteMsg` once. False when the queue is empty or unknown.
// Popping never resets the queue's event: a consumer drains the queue at each wake-up.
bool popMsg(const sHThreadMsgR &h, sMsg *out);
void deleteMsg(const sMsg &msg);

// A copy of the queue's event; its descriptors stay the queue's. False for an unknown handle.
bool getMsgQEvent(const sHThreadMsgR &h, sOSEvent *out);

// A message as bytes, numbers most significant byte first: 0..1 what | 2..5 paramU32 | 6..9 bufferSize | 10.. payload
u32 calcSizeNeededToSerializeMsg(const sMsg &msg);

// Bytes written, or 0 when `sizeOfDst` is too small.
u32 serializeMsg(const sMsg &msg, u8 *dst, u32 sizeOfDst);

// Bytes consumed; `src` holds a whole serialized message, and `*buffer` points into it, or is null without payload.
u32 deserializMsg(const u8 *src, u16 *what, u32 *paramU32, u32 *bufferSize, const u8 **buffer);

} // namespace tovi::thread
